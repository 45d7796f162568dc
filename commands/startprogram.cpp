#include "startprogram.h"

#include "app.h"
#include "appcommands.h"
#include "application.h"
#include "principal.h"
#include "runningcopy.h"

#include <QTimer>

int StartProgram(int& argc, char** argv, const StartOptions& options)
{
    QApplication::setApplicationName(QStringLiteral("Tallyvane"));
    // One running copy per data folder: a later start asks it to come forward and ends here, before it
    // opens anything, the display included.
    const auto folder = App::DataFolder();
    RunningCopy copy(folder ? folder->NativePath() : QString());
    const auto claimed = options.claim ? copy.Claim() : RunningCopy::Claimed::Owned;
    if (claimed == RunningCopy::Claimed::HandedOver)
        return options.laterStartStatus;
    Application application(argc, argv);
    if (options.configure)
        options.configure();
    // A holder that cannot be asked never leaves a start without a window: the user chooses.
    if (claimed == RunningCopy::Claimed::Unreachable && !copy.OpenAnyway())
        return options.laterStartStatus;
    // Listening before the window is made shortens the moment in which a later start finds no one.
    if (options.comeForward)
        copy.Serve(options.comeForward);
    else
        copy.Serve([] { RunningCopy::BringForward(Principal::Live()); });
    App app;
    ApplicationAddMenuHandlers();
    MakeDefaultView();
    // The opening runs inside the event loop, so a failure there can end it with Quit.
    QTimer::singleShot(0, [&options] {
        const bool opened = RunGuarded(&Principal::Start, false);
        if (options.started)
            options.started(opened);
    });
    return application.exec();
}
