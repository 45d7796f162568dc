#pragma once

#include <QPointer>

// The one live window of a class, made on first use and gone again once the window is deleted,
// whichever way that happens. A window class W derives from LiveWindow<W> and gives it a private
// static `W* Make()` (with `friend class LiveWindow<W>;`) that returns a new window ready for use.
template <typename W> class LiveWindow
{
public:
    // The live window, made when there is none. A Make that throws leaves no window live.
    static W* Instance()
    {
        if (!s_live)
            s_live = W::Make();
        return s_live;
    }
    static bool Exists() { return !s_live.isNull(); }
    // The live window, or null; never makes one.
    static W* Live() { return s_live.data(); }
    // Ends the live window, if any.
    static void Release() { delete s_live.data(); }
    // The window stops being the live one at once, though it goes later: the next Instance makes another.
    static void Forget(const W* window)
    {
        if (s_live == window)
            s_live = nullptr;
    }

private:
    static inline QPointer<W> s_live;
};
