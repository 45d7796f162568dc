#include "app.h"
#include "appcommands.h"
#include "application.h"
#include "principal.h"
#include "runningcopy.h"

#include <QDir>
#include <QIcon>
#include <QTimer>

// The icon an installed theme gives the program's id, else the sizes built into the program.
static QIcon applicationIcon()
{
    QIcon builtIn;
    for (const QFileInfo& size : QDir(QStringLiteral(":/appicon")).entryInfoList(QDir::Files))
        builtIn.addFile(size.filePath());
    return QIcon::fromTheme(QStringLiteral(TALLYVANE_APP_ID), builtIn);
}

int main(int argc, char** argv)
{
    QApplication::setApplicationName(QStringLiteral("Tallyvane"));
    // One running copy per data folder: a later start asks it to come forward and ends here, before it
    // opens anything, the display included.
    const auto folder = App::DataFolder();
    RunningCopy copy(folder ? folder->NativePath() : QString());
    if (!copy.Claim())
        return 0;
    Application application(argc, argv);
    QApplication::setApplicationVersion(QStringLiteral(TALLYVANE_VERSION));
    // The desktop file name ties the windows to the launcher; the icon shows in the task switcher.
    QApplication::setDesktopFileName(QStringLiteral(TALLYVANE_APP_ID));
    QApplication::setWindowIcon(applicationIcon());
    App app;
    ApplicationAddMenuHandlers();
    MakeDefaultView();
    copy.Serve([] { RunningCopy::BringForward(Principal::Exists() ? Principal::Instance() : nullptr); });
    // The opening runs inside the event loop, so a failure there can end it with Quit.
    QTimer::singleShot(0, [] { RunGuarded(&Principal::Start); });
    application.exec();
    return 0;
}
