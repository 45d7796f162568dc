#include "application.h"

#include "dialogs.h"
#include "exceptions.h"

#include <QRegularExpression>
#include <typeinfo>

namespace {
bool g_quit = false;
int g_status = 0;
bool g_recordOnly = false;
} // namespace

Application::Application(int& argc, char** argv)
    : QApplication(argc, argv)
{
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
    QString text;
    if (const auto* re = dynamic_cast<const RuntimeException*>(&e))
        text = re->Message();
    else
        text = QString::fromUtf8(e.what());
    MsgBox(QStringLiteral("An exception of class %1 was not handled.\n%2")
               .arg(QString::fromUtf8(typeid(e).name()).remove(QRegularExpression(QStringLiteral("^[0-9]+"))), text));
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
