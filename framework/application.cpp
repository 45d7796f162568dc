#include "application.h"

#include "corehooks.h"
#include "desktop.h"
#include "dialogs.h"
#include "exceptions.h"

#include <QDesktopServices>

namespace {
bool g_quit = false;
int g_status = 0;
bool g_recordOnly = false;
} // namespace

Application::Application(int& argc, char** argv)
    : QApplication(argc, argv)
{
    InstallCoreHandlers();
}

void Application::InstallCoreHandlers()
{
    setUnhandledExceptionReporter(&Application::ReportUnhandled);
    InstallCoreDialogs();
    setExternalOpener([](const QUrl& url) { QDesktopServices::openUrl(url); });
}

void Application::InstallCoreDialogs()
{
    Core::setMsgBoxHook(&MsgBox);
    Core::setQuitHook(&Quit);
}

bool Application::notify(QObject* receiver, QEvent* event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
        ReportUnhandled(e);
    } catch (...) {
        ReportUnknown();
    }
    return false;
}

void Application::ReportUnhandled(const std::exception& e)
{
    MsgBox(UnhandledExceptionText(e));
}

void Application::ReportUnknown()
{
    MsgBox(QStringLiteral("An unknown exception was not handled."));
}

void Quit(int status)
{
    g_quit = true;
    g_status = status;
    if (!g_recordOnly)
        QCoreApplication::exit(status);
}

bool QuitRequested()
{
    return g_quit;
}
int QuitStatus()
{
    return g_status;
}
void ResetQuit()
{
    g_quit = false;
    g_status = 0;
}

void setQuitRecordsOnly(bool on)
{
    g_recordOnly = on;
}
