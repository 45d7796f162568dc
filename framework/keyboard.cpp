#include "keyboard.h"

#include <QGuiApplication>

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

Keyboard::EventShiftScope::EventShiftScope(bool down)
    : m_outer(g_eventShift)
{
    g_eventShift = down;
}

Keyboard::EventShiftScope::~EventShiftScope()
{
    g_eventShift = m_outer;
}

bool IsContextualClick()
{
    return g_contextual;
}
void setContextualClick(bool on)
{
    g_contextual = on;
}
