#pragma once

#include <optional>

// State of the input event being handled, as handlers ask for it.
namespace Keyboard {
bool ShiftKey();

// Held by a control while it dispatches a key event, so that ShiftKey answers for that event; a
// dispatch nested in another gives the outer one its state back when it ends.
class EventShiftScope
{
public:
    explicit EventShiftScope(bool down);
    ~EventShiftScope();
    EventShiftScope(const EventShiftScope&) = delete;
    EventShiftScope& operator=(const EventShiftScope&) = delete;

private:
    std::optional<bool> m_outer;
};
} // namespace Keyboard

// True while a cell click that asks for a contextual menu is being dispatched.
bool IsContextualClick();
void setContextualClick(bool on);
