#pragma once

#include "app.h"
#include "application.h"
#include "dialogs.h"
#include "exceptions.h"
#include "listboxui.h"
#include "principal.h"
#include "testhome.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTest>
#include <functional>
#include <memory>
#include <unistd.h>

// One run of the program inside the test process: App, the main window, and its closing.
class Program
{
public:
    Program()
    {
        ResetQuit();
        setQuitRecordsOnly(true);
        DialogHooks::clear();
        DialogHooks::setRecording(true);
        // A dialog the test forgot to answer fails the test there and then, naming the dialog.
        DialogHooks::setUnansweredHandler([](const QString& dialog) {
            QTest::qFail(qPrintable(QStringLiteral("unanswered: ") + dialog), __FILE__, __LINE__);
        });
        // The program's start-up gives the core its last-resort handler; addresses stay away from the desktop.
        setUnhandledExceptionReporter(&Application::ReportUnhandled);
        Application::InstallCoreDialogs();
        m_app = std::make_unique<App>();
    }
    ~Program() { quit(); }

    bool start() { return Principal::Start(); }
    Principal* window() const { return Principal::Instance(); }
    App* app() const { return m_app.get(); }

    // Closes the main window the way the user does, which runs the shutdown.
    void quit()
    {
        if (Principal::Exists())
            Principal::Instance()->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        m_app.reset();
        // Every window goes with the main one; one left over would live on, unseen, until the process ends.
        for (const QWidget* left : QApplication::topLevelWidgets())
            QTest::qFail(qPrintable(QStringLiteral("left over: ") + left->objectName()), __FILE__, __LINE__);
    }

private:
    std::unique_ptr<App> m_app;
};

// The base of the GUI test classes: a fresh home per test, the program started in it, and the database
// file read through a connection of its own. Every test takes the messages it expects.
class ProgramTest : public QObject
{
protected:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<Program> m_program;
    Principal* w = nullptr;

    QString q(const QString& s) const { return Sql(m_home->database()).query(s); }
    // A fresh home, and the program started in it after `before` (the menus, where a test needs them).
    void startProgram(const std::function<void()>& before = {})
    {
        m_home = std::make_unique<TestHome>();
        m_program = std::make_unique<Program>();
        if (before)
            before();
        QVERIFY(m_program->start());
        w = m_program->window();
    }
    void endProgram()
    {
        QCOMPARE(DialogHooks::takeMessages(), QStringList());
        m_program.reset();
        m_home.reset();
        w = nullptr;
    }
};

// For the helpers that run the program in a process of their own: a line on stdout at once, so that the test
// reading it knows what has been done even if it kills the process next. A line that cannot be written ends it.
inline void say(const QString& line)
{
    const QByteArray b = line.toUtf8() + '\n';
    if (::write(1, b.constData(), size_t(b.size())) != b.size())
        _exit(3);
}
