#pragma once

#include <functional>

// What tells apart the runs that start the program as its entry does: the entry itself, the start-up
// benchmark and the test helper that runs the program in a process of its own.
struct StartOptions
{
    // The data folder is claimed before anything else is made; when a running copy owns it, that copy
    // is asked forward and the start ends with laterStartStatus, as it does when the user quits rather
    // than open beside a copy that cannot be asked.
    bool claim = true;
    int laterStartStatus = 0;
    // Once the application object exists, before App and any question: the program's identity, or a
    // test's hooks.
    std::function<void()> configure;
    // What a later start's request does; by default the live main window comes forward.
    std::function<void()> comeForward;
    // Inside the event loop, after the opening; opened tells whether the window opened.
    std::function<void(bool opened)> started;
};

// The program's start-up: the claim on the data folder, the application object, App, the menus and bars,
// the answer to later starts, then the opening inside the event loop, which runs until Quit. Returns the
// event loop's status, or laterStartStatus.
int StartProgram(int& argc, char** argv, const StartOptions& options = {});
