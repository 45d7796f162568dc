#include "keyboard.h"

#include <QGuiApplication>
#include <optional>

namespace {
std::optional<bool> g_eventShift;
bool g_contextual = false;
} // namespace

bool Keyboard::ShiftKey()
{
    if (g_eventShift)
        return *g_eventShift;
    return QGuiApplication::queryKeyboardModifiers().testFlag(Qt::ShiftModifier);
}

void Keyboard::setEventShift(bool down)
{
    g_eventShift = down;
}
void Keyboard::clearEventShift()
{
    g_eventShift.reset();
}

bool IsContextualClick()
{
    return g_contextual;
}
void setContextualClick(bool on)
{
    g_contextual = on;
}
