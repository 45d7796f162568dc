#include "menubar1.h"

#include "menuhandlers.h"
#include "principal.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTextCursor>
#include <QTextEdit>

namespace {
// The Edit commands on the three kinds of text field; name is the item's name.
template <typename TextEdit> bool editText(TextEdit* e, const QString& name)
{
    if (name == QLatin1String("EditUndo"))
        e->undo();
    else if (name == QLatin1String("EditCut"))
        e->cut();
    else if (name == QLatin1String("EditCopy"))
        e->copy();
    else if (name == QLatin1String("EditPaste"))
        e->paste();
    else if (name == QLatin1String("EditSelectAll"))
        e->selectAll();
    else
        return false;
    return true;
}

bool isTextField(QWidget* w)
{
    return qobject_cast<QLineEdit*>(w) || qobject_cast<QTextEdit*>(w) || qobject_cast<QPlainTextEdit*>(w);
}
} // namespace

MenuBar1* MenuBar1::Instance()
{
    static QPointer<MenuBar1> live;
    if (!live)
        live = new MenuBar1();
    return live;
}

MenuBar1::MenuBar1()
{
    setObjectName(QStringLiteral("MenuBar1"));

    FileMenu = menu(QStringLiteral("FileMenu"), QStringLiteral("File"));
    kArquivokSobre = item(FileMenu, QStringLiteral("kArquivokSobre"), QStringLiteral("About"));
    kArquivokSobre->setMenuRole(QAction::AboutRole);
    FilekNovoContato
        = item(FileMenu, QStringLiteral("FilekNovoContato"), QStringLiteral("New Customer"), QStringLiteral("Ctrl+N"));
    FilekNovoProjeto
        = item(FileMenu, QStringLiteral("FilekNovoProjeto"), QStringLiteral("New Project"), QStringLiteral("Ctrl+P"));
    kArquivokMail = item(FileMenu, QStringLiteral("kArquivokMail"), QStringLiteral("E-Mail"), QStringLiteral("Ctrl+M"));
    FileAddressBook = item(FileMenu, QStringLiteral("FileAddressBook"), QStringLiteral("Address Book"));
    FileAddressBook->setData(10); // its Index, handed to the handler
    FileBackup = item(FileMenu, QStringLiteral("FileBackup"), QStringLiteral("Backup"));
    FileQuit = item(FileMenu, QStringLiteral("FileQuit"), QStringLiteral("Exit"), QStringLiteral("Ctrl+Q"));
    FileQuit->setMenuRole(QAction::QuitRole);

    EditMenu = menu(QStringLiteral("EditMenu"), QStringLiteral("Edit"));
    EditUndo = item(EditMenu, QStringLiteral("EditUndo"), QStringLiteral("Undo"), QStringLiteral("Ctrl+Z"));
    UntitledMenu1 = item(EditMenu, QStringLiteral("UntitledMenu1"), QStringLiteral("-"));
    EditCut = item(EditMenu, QStringLiteral("EditCut"), QStringLiteral("Cut"), QStringLiteral("Ctrl+X"));
    EditCopy = item(EditMenu, QStringLiteral("EditCopy"), QStringLiteral("Copy"), QStringLiteral("Ctrl+C"));
    EditPaste = item(EditMenu, QStringLiteral("EditPaste"), QStringLiteral("Paste"), QStringLiteral("Ctrl+V"));
    EditClear = item(EditMenu, QStringLiteral("EditClear"), QStringLiteral("&Delete"), QStringLiteral("Ctrl+D"));
    UntitledMenu0 = item(EditMenu, QStringLiteral("UntitledMenu0"), QStringLiteral("-"));
    EditSelectAll
        = item(EditMenu, QStringLiteral("EditSelectAll"), QStringLiteral("Select All"), QStringLiteral("Ctrl+A"));
    MenuPrefs = item(EditMenu, QStringLiteral("MenuPrefs"), QStringLiteral("Preferences"));
    MenuPrefs->setMenuRole(QAction::PreferencesRole);

    VisualizarMenu = menu(QStringLiteral("VisualizarMenu"), QStringLiteral("View"));
    kVisualizarkProjetos = item(VisualizarMenu, QStringLiteral("kVisualizarkProjetos"), QStringLiteral("Projects"));
    kVisualizarkContatos = item(VisualizarMenu, QStringLiteral("kVisualizarkContatos"), QStringLiteral("Customers"));
    kVisualizarkEtiquetas = item(VisualizarMenu, QStringLiteral("kVisualizarkEtiquetas"), QStringLiteral("Labels"));

    for (QAction* a : {EditUndo, EditCut, EditCopy, EditPaste, EditClear, EditSelectAll}) {
        disconnect(a, &QAction::triggered, nullptr, nullptr);
        connect(a, &QAction::triggered, this, [this, a] { editItem(a); });
    }
    // The quit item has no handler: it closes the main window, whose closing ends the program.
    disconnect(FileQuit, &QAction::triggered, nullptr, nullptr);
    connect(FileQuit, &QAction::triggered, this, [] {
        if (Principal::Exists())
            Principal::Instance()->close();
    });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { updateEditItems(now); });
    connect(EditMenu, &QMenu::aboutToShow, this, [this] { updateEditItems(QApplication::focusWidget()); });
    updateEditItems(QApplication::focusWidget());
}

QMenu* MenuBar1::menu(const QString& name, const QString& text)
{
    QMenu* m = addMenu(text);
    m->setObjectName(name);
    m->menuAction()->setObjectName(name);
    return m;
}

QAction* MenuBar1::item(QMenu* menu, const QString& name, const QString& text, const QString& shortcut)
{
    // A "-" caption makes the item a separator line.
    const bool separator = text == QLatin1String("-");
    QAction* a = new QAction(separator ? QString() : text, menu);
    a->setObjectName(name);
    a->setSeparator(separator);
    a->setShortcut(QKeySequence(shortcut));
    // The menu bar belongs to the application: its keys work in every window that a modal one does not block.
    a->setShortcutContext(Qt::ApplicationShortcut);
    a->setMenuRole(QAction::NoRole);
    menu->addAction(a);
    connect(a, &QAction::triggered, a, [a] { RunMenuItem(a); });
    return a;
}

void MenuBar1::editItem(QAction* item)
{
    QWidget* focus = QApplication::focusWidget();
    const QString name = item->objectName();
    if (auto* e = qobject_cast<QLineEdit*>(focus)) {
        if (name == QLatin1String("EditClear"))
            e->del();
        else
            editText(e, name);
    } else if (auto* t = qobject_cast<QTextEdit*>(focus)) {
        if (name == QLatin1String("EditClear"))
            t->textCursor().removeSelectedText();
        else
            editText(t, name);
    } else if (auto* p = qobject_cast<QPlainTextEdit*>(focus)) {
        if (name == QLatin1String("EditClear"))
            p->textCursor().removeSelectedText();
        else
            editText(p, name);
    } else if (auto* v = qobject_cast<QAbstractItemView*>(focus); v && item == EditSelectAll) {
        v->selectAll();
    }
}

void MenuBar1::updateEditItems(QWidget* focus)
{
    // Without a text field in focus the Edit items are grey, so their keys reach the focused control.
    const bool text = isTextField(focus);
    for (QAction* a : {EditUndo, EditCut, EditCopy, EditPaste, EditClear})
        a->setEnabled(text);
    EditSelectAll->setEnabled(text || qobject_cast<QAbstractItemView*>(focus));
}
