#include "platform/linux/screen/ScreenChoice.h"

#include <cstdlib>
#include <new>
#include <string_view>

#include "base/ThreadSafety.h"
#include "platform/linux/portal/CastPortal.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_INFO;
using HalvorixAppLog::LOG_LEVEL_TRACE;
using HalvorixAppLog::LOG_LEVEL_WARN;

struct Choice {
    Mutex mutex;
    ScreenSystem forced GUARDED_BY(mutex) = ScreenSystem::Automatic;
    ScreenSystem made GUARDED_BY(mutex) = ScreenSystem::Automatic;  // Automatic: not yet
};

Choice& TheChoice() {
    static Choice choice;
    return choice;
}

std::string_view Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

ScreenSystem ByEnvironment() {
    const std::string_view wanted = Variable("VIMBREL_SCREEN");
    if (wanted == "x11") return ScreenSystem::X11;
    if (wanted == "wayland") return ScreenSystem::Wayland;
    if (!wanted.empty())
        APPLOG_STREAM(LOG_LEVEL_WARN, "Screen - VIMBREL_SCREEN is neither x11 nor wayland");
    if (Variable("WAYLAND_DISPLAY").empty() && Variable("XDG_SESSION_TYPE") != "wayland")
        return ScreenSystem::X11;
    if (CastPortal::IsThere()) return ScreenSystem::Wayland;
    APPLOG_STREAM(LOG_LEVEL_WARN,
                  "Screen - this is a Wayland session, and no desktop portal casts its screen");
    return ScreenSystem::X11;
}

}  // namespace

void SetScreenSystem(ScreenSystem system) {
    Choice& choice = TheChoice();
    const MutexLock guard(choice.mutex);
    choice.forced = system;
    choice.made = ScreenSystem::Automatic;
}

ScreenSystem CurrentScreenSystem() {
    Choice& choice = TheChoice();
    const MutexLock guard(choice.mutex);
    if (choice.made != ScreenSystem::Automatic) return choice.made;
    try {
        choice.made = choice.forced == ScreenSystem::Automatic ? ByEnvironment() : choice.forced;
        // The usual case is no news.
        APPLOG_STREAM(choice.made == ScreenSystem::Wayland ? LOG_LEVEL_INFO : LOG_LEVEL_TRACE,
                      "Screen - captured from "
                          << (choice.made == ScreenSystem::Wayland ? "Wayland by the desktop portal"
                                                                   : "X11"));
    } catch (const std::bad_alloc&) {
        // What could not be chosen is chosen another time; what could not be logged stands.
        if (choice.made == ScreenSystem::Automatic) return ScreenSystem::X11;
    }
    return choice.made;
}

}  // namespace Vimbrel
