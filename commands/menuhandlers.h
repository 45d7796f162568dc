#pragma once

#include <QString>
#include <functional>

class QAction;

// Menu items reach their handlers by name, so a handler can be bound under a name no item carries.
class MenuHandlers
{
public:
    // index is the item's Index, -1 when it has none.
    using Handler = std::function<void(int index)>;

    static void Add(const QString& name, Handler handler);
    static bool Has(const QString& name);
    // Runs the handler bound to the item's name; false when there is none.
    static bool Run(const QString& name, int index = -1);
    static void Clear();
};

// Runs the handler of the item's objectName; used by every item of the menu bar.
void RunMenuItem(QAction* item);
