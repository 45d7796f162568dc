// The program, started as its entry starts it, on the display platform the caller gives it (wayland or xcb), for
// desktop_integration.sh. No input reaches a headless compositor from outside, so the typing comes from here: mouse
// and key events handed to the window system's queue, the path a platform plugin's own input takes. Says on stdout
// what it has done, answers later starts, and closes the window the way the user does when "quit" comes on stdin.
#include "programfixture.h"
#include "runningcopy.h"
#include "startprogram.h"

#include <QGuiApplication>
#include <QPushButton>
#include <QSocketNotifier>
#include <QTest>
#include <QWindow>
#include <unistd.h>

namespace {
Principal* w = nullptr;

void type(QWindow* window, const QString& text, Qt::Key end)
{
    for (const QChar c : text)
        QTest::keyClick(window, c.toLatin1());
    QTest::keyClick(window, end);
}

// A new task typed into the task list: Add, the project, Tab, the task, Return.
void typeTask()
{
    QWindow* window = w->windowHandle();
    const QPoint add = w->bt_insereprojeto->mapTo(w, w->bt_insereprojeto->rect().center());
    QTest::mouseClick(window, Qt::LeftButton, {}, add);
    type(window, QStringLiteral("Tallyvane"), Qt::Key_Tab);
    type(window, QStringLiteral("Ship 1.0"), Qt::Key_Return);
}
} // namespace

int main(int argc, char** argv)
{
    StartOptions options;
    options.configure = [] { DialogHooks::setRecording(true); };
    options.comeForward = [] {
        RunningCopy::BringForward(w);
        say(QStringLiteral("forward"));
    };
    options.started = [](bool opened) {
        if (!opened) {
            QCoreApplication::exit(1);
            return;
        }
        w = Principal::Live();
        say(QStringLiteral("platform ") + QGuiApplication::platformName());
        say(QStringLiteral("exposed %1").arg(QTest::qWaitForWindowExposed(w)));
        typeTask();
        say(QStringLiteral("typed"));
        auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, qApp);
        QObject::connect(input, &QSocketNotifier::activated, [input] {
            char line[16] = {};
            if (::read(STDIN_FILENO, line, sizeof line - 1) <= 0 || qstrcmp(line, "quit\n") == 0) {
                input->setEnabled(false);
                say(QStringLiteral("messages ") + DialogHooks::takeMessages().join(QLatin1Char('|')));
                w->close();
            }
        });
    };
    const int status = StartProgram(argc, argv, options);
    say(QStringLiteral("closed %1").arg(status));
    return status;
}
