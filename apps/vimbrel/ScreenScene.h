// The scene of the commands that need no document: the screen, or a part of it, with its sound.
#pragma once

#include <optional>
#include <string>

#include "layers/ScreenPermission.h"
#include "scene/Scene.h"

namespace studio {

struct ScreenOptions {
    std::string window;  // a title or a part of it; "choose" on Wayland; empty for the screen
    std::string region;  // "X,Y,WIDTH,HEIGHT" of the desktop; empty for the primary output
    int fps = 30;
    bool sound = true;
};

// The canvas has the size of what is shown, without the last column or row if that is odd. A device
// of sound that there is not is left out, and told on the terminal. Null with `error` set. On
// Wayland the user is asked, and `permission` is to live as long as the scene runs.
std::optional<Scene> MakeScreenScene(const ScreenOptions& options, ScreenPermission& permission,
                                     std::string& error);

// "vimbrel-2026-11-22-153000.mp4", by the local time; in the current folder, and not there yet.
std::string DatedFileName();

}  // namespace studio
