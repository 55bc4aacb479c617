// The user's permission to show the screen or a window, where the desktop asks for it.
#pragma once

#include <string>

#include "vimbrel/ScreenAccess.h"

namespace studio {

// The screen's grant is kept in a file, so that the desktop asks once and not at every start.
class ScreenPermission {
public:
    using Kind = Vimbrel::ScreenAccess::Kind;

    // Waits for the user. True at once where nobody is asked. `place` is the layer's, for messages.
    bool Ask(Kind kind, bool cursor, const std::string& place, std::string& error);
    // The chosen window.
    HWND Window() const { return access.Window(); }
    // Of the picture that is shown; 0 where nobody is asked.
    int Width() const { return access.Width(); }
    int Height() const { return access.Height(); }
    // The user or the desktop has taken it back.
    bool IsEnded() const { return access.IsLost(); }

private:
    Vimbrel::ScreenAccess access;
};

// Whether this is a desktop that asks.
bool IsPermissionNeeded();

}  // namespace studio
