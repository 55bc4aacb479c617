// Which windowing system screens are captured from, and the user's permission where it takes one.
// Linux only.
#pragma once

#include <windef.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vimbrel/Export.h"

namespace Vimbrel {

enum class ScreenSystem {
    // The environment decides: VIMBREL_SCREEN (x11 or wayland), else WAYLAND_DISPLAY or
    // XDG_SESSION_TYPE=wayland if a desktop portal is found, else X11.
    Automatic,
    X11,
    Wayland,  // by the desktop portal, and nothing else if there is none
};

// Takes the place of the environment for the sources, listings and requests after the call. Any
// thread.
VIMBREL_API void SetScreenSystem(ScreenSystem system);
// X11 or Wayland. The automatic choice is made once per process and logged; it takes two seconds at
// most.
VIMBREL_API ScreenSystem CurrentScreenSystem();

// On Wayland the user chooses in a dialog what is shown. While an object with a granted request
// lives, the desktop goes on showing its sign, and sources can be closed and opened without a
// further dialog. Without one, opening a source on the desktop asks for as long as it is open.
//
// Not for several threads at a time.
class VIMBREL_API ScreenAccess {
public:
    enum class Kind { Desktop, Window };
    enum class Result {
        Granted,
        NotNeeded,  // X11 asks nobody
        Refused,    // by the user
        GivenUp,    // by `stillWanted`
        Failed,     // no portal, or no picture; the log has the reason
    };
    struct Request {
        Kind kind = Kind::Desktop;
        // Of an earlier grant; the desktop then may not ask. Empty for none. A token is good for
        // one request: store the new one after each grant.
        std::string token;
        // Have the pointer drawn by the desktop where it cannot be told apart from the picture.
        bool cursor = true;
        // Called at least every 100 ms while the user thinks, for which there is no limit; false
        // gives up. May be empty.
        std::function<bool()> stillWanted;
    };

    ScreenAccess();
    ~ScreenAccess();
    ScreenAccess(const ScreenAccess&) = delete;
    ScreenAccess& operator=(const ScreenAccess&) = delete;

    // Waits for the user. The desktop that is shown already is not asked for again. A result other
    // than Granted leaves what was granted before.
    Result Ask(const Request& request);
    // Gives back what was granted.
    void Release();

    // For the next request; empty if the desktop keeps no grants.
    const std::string& Token() const { return token; }
    // For Settings::window: the chosen window. Null for the desktop.
    HWND Window() const;
    // Of the picture at the moment, whose corner is the desktop's origin. 0 without a grant.
    std::int32_t Width() const;
    std::int32_t Height() const;
    // The user or the desktop has ended it: only a new request brings a picture again.
    bool IsLost() const;

private:
    struct State;
    std::unique_ptr<State> state;
    std::string token;
};

}  // namespace Vimbrel
