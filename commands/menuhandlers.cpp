#include "menuhandlers.h"

#include "application.h"

#include <QAction>
#include <QHash>

namespace {
QHash<QString, MenuHandlers::Handler>& handlers()
{
    static QHash<QString, MenuHandlers::Handler> h;
    return h;
}
} // namespace

void MenuHandlers::Add(const QString& name, Handler handler)
{
    handlers().insert(name, std::move(handler));
}

bool MenuHandlers::Has(const QString& name)
{
    return handlers().contains(name);
}

bool MenuHandlers::Run(const QString& name, int index)
{
    const auto it = handlers().constFind(name);
    if (it == handlers().constEnd())
        return false;
    // A copy, so a handler may rebind names while it runs.
    const Handler h = *it;
    h(index);
    return true;
}

void MenuHandlers::Clear()
{
    handlers().clear();
}

void RunMenuItem(QAction* item)
{
    const QVariant index = item->data();
    RunGuarded([&] { MenuHandlers::Run(item->objectName(), index.isValid() ? index.toInt() : -1); });
}
