#pragma once

#include <QApplication>
#include <exception>

// The process's application object: the last-resort handler for exceptions that nothing
// catches. It shows the message and lets the event loop go on.
class Application : public QApplication
{
public:
    // Installs the handlers below for the window-free code, as InstallCoreHandlers does.
    Application(int& argc, char** argv);
    bool notify(QObject* receiver, QEvent* event) override;

    static void ReportUnhandled(const std::exception& e);
    static void ReportUnknown();
    // Gives the window-free code this last-resort handler and the desktop's opener of addresses.
    static void InstallCoreHandlers();
};

// Runs a handler that Qt calls and ends what it throws at the last-resort handler there and then: an
// exception does not unwind Qt's own frames cleanly, and what they hold would be lost.
template <typename F> void RunGuarded(F&& handler)
{
    try {
        handler();
    } catch (const std::exception& e) {
        Application::ReportUnhandled(e);
    } catch (...) {
        Application::ReportUnknown();
    }
}

// The same for a handler whose result Qt goes on with: its result, or `interrupted` when it raised.
template <typename R, typename F> R RunGuarded(F&& handler, R interrupted)
{
    R result = interrupted;
    RunGuarded([&] { result = handler(); });
    return result;
}

// A slot for Qt's signals that runs the object's handler under RunGuarded.
template <typename T> auto Guarded(T* object, void (T::*handler)())
{
    return [object, handler] { RunGuarded([object, handler] { (object->*handler)(); }); };
}

// Ends the application with the given status once control is back in the event loop.
void Quit(int status);
bool QuitRequested();
int QuitStatus();
// For tests that start the program more than once in one process: Quit only records, since a real
// exit would also end every later nested event loop of the process.
void ResetQuit();
void setQuitRecordsOnly(bool on);
