#include "corehooks.h"

#include <QCoreApplication>

namespace {
std::function<void(const QString&)> g_msgBox;
std::function<void(int)> g_quit;
} // namespace

void Core::MsgBox(const QString& text)
{
    if (g_msgBox)
        g_msgBox(text);
    else
        qWarning("%s", qPrintable(text));
}

void Core::Quit(int status)
{
    if (g_quit)
        g_quit(status);
    else
        QCoreApplication::exit(status);
}

void Core::setMsgBoxHook(std::function<void(const QString&)> hook)
{
    g_msgBox = std::move(hook);
}

void Core::setQuitHook(std::function<void(int)> hook)
{
    g_quit = std::move(hook);
}
