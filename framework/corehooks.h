#pragma once

#include <QString>
#include <functional>

// The program's message and its end, for the window-free code. The widgets part installs the real
// ones at start-up (Application::InstallCoreDialogs), as it installs the last-resort handler.
namespace Core {
// The one-button message; with nothing installed it goes to standard error.
void MsgBox(const QString& text);
// Ends the application with the given status; with nothing installed it ends the event loop.
void Quit(int status);
void setMsgBoxHook(std::function<void(const QString&)> hook);
void setQuitHook(std::function<void(int)> hook);
} // namespace Core
