#include "contextualmenu.h"

#include "application.h"
#include "dialogs.h"

#include <QCursor>

ContextualMenu::ContextualMenu(QWidget* parent)
    : QMenu(parent)
{
    connect(this, &QMenu::triggered, this, [this](QAction* action) {
        if (Action)
            RunGuarded([&] { Action(action->data().toString()); });
    });
}

void ContextualMenu::DeleteAllRows()
{
    clear();
}

void ContextualMenu::AddRow(const QString& text)
{
    // Titles are shown as typed: an ampersand is not a shortcut mark here.
    QAction* a = addAction(QString(text).replace(QLatin1Char('&'), QLatin1String("&&")));
    a->setData(text);
    a->setIconVisibleInMenu(false);
}

QStringList ContextualMenu::rows() const
{
    QStringList out;
    for (const QAction* a : actions())
        out << a->data().toString();
    return out;
}

void ContextualMenu::Open()
{
    if (auto answer = DialogHooks::takeAnswer(Dialog::ContextualMenu)) {
        if (!answer->isValid())
            return;
        for (QAction* a : actions()) {
            if (a->data().toString() == answer->toString()) {
                a->trigger();
                return;
            }
        }
        return;
    }
    popup(QCursor::pos());
}
