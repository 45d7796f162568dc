#include "app.h"
#include "appcommands.h"
#include "application.h"
#include "principal.h"

#include <QTimer>

int main(int argc, char** argv)
{
    Application application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tallyvane"));
    QApplication::setApplicationVersion(QStringLiteral(TALLYVANE_VERSION));
    App app;
    ApplicationAddMenuHandlers();
    MakeDefaultView();
    // The opening runs inside the event loop, so a failure there can end it with Quit.
    QTimer::singleShot(0, [] {
        try {
            Principal::Start();
        } catch (const std::exception& e) {
            Application::ReportUnhandled(e);
        }
    });
    application.exec();
    return 0;
}
