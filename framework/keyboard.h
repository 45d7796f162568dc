#pragma once

// State of the input event being handled, as handlers ask for it.
namespace Keyboard {
bool ShiftKey();
void setEventShift(bool down); // set by controls while they dispatch a key event
void clearEventShift();
} // namespace Keyboard

// True while a cell click that asks for a contextual menu is being dispatched.
bool IsContextualClick();
void setContextualClick(bool on);
