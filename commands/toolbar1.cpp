#include "toolbar1.h"

#include "icons.h"

#include <QAction>
#include <QEvent>
#include <QPixmap>
#include <QToolButton>

Toolbar1::Toolbar1(QWidget* parent)
    : QToolBar(parent)
{
    setObjectName(QStringLiteral("Toolbar11"));
    setWindowTitle(QStringLiteral("Toolbar"));
    setIconSize(QSize(32, 32));
    setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    // It stands along the window's top, as the platform shows a window's toolbar.
    setMovable(false);
    setFloatable(false);
    setContextMenuPolicy(Qt::PreventContextMenu);
    tb_projetos = button(QStringLiteral("tb_projetos"), QStringLiteral("Projects"), icone_projetos32x32(),
        QStringLiteral("icone_projetos32x32"), QStringLiteral("Shows the task list, reloaded"));
    tb_clientes = button(QStringLiteral("tb_clientes"), QStringLiteral("Customers"), icone_clientes32x32(),
        QStringLiteral("icone_clientes32x32"), QStringLiteral("Shows the customer list, reloaded"));
    tb_label = button(QStringLiteral("tb_label"), QStringLiteral("Label"), icone_labels32x32(),
        QStringLiteral("icone_labels32x32"), QStringLiteral("Opens the label editor"));
    tb_mail = button(QStringLiteral("tb_mail"), QStringLiteral("E-Mail"), icone_mailing32x32(),
        QStringLiteral("icone_mailing32x32"), QStringLiteral("Sends the message to the selected customers"));
    tb_backup = button(QStringLiteral("tb_backup"), QStringLiteral("Backup"), icone_backup32x32(),
        QStringLiteral("icone_backup32x32"), QStringLiteral("Copies the database to a place of your choice"));
    // The button that a narrow window shows for the buttons it cannot fit; Qt leaves it without a name.
    if (auto* more = findChild<QToolButton*>(QStringLiteral("qt_toolbar_ext_button")))
        more->setAccessibleName(QStringLiteral("More toolbar buttons"));
}

QAction* Toolbar1::button(const QString& name, const QString& caption, const QImage& icon, const QString& pictureName,
    const QString& description)
{
    // QIcon hands a 2x screen the 64-pixel drawing rather than enlarging the 32-pixel picture.
    QIcon both(QPixmap::fromImage(icon));
    both.addPixmap(QPixmap::fromImage(drawingAt2x(pictureName)));
    auto* a = new QAction(both, caption, this);
    a->setObjectName(name);
    a->setEnabled(true);
    addAction(a);
    if (QWidget* w = widgetForAction(a)) {
        w->setObjectName(name);
        w->setMinimumWidth(72);
        w->setAccessibleDescription(description);
        w->installEventFilter(this);
    }
    return a;
}

bool Toolbar1::eventFilter(QObject* watched, QEvent* event)
{
    // The buttons' help tags are empty; a tool button would show its caption in their place.
    return event->type() == QEvent::ToolTip || QToolBar::eventFilter(watched, event);
}
