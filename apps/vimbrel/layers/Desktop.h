// What is on the desktop: outputs and windows.
#pragma once

#include <winuser.h>

#include <optional>
#include <string>
#include <vector>

#include "scene/Scene.h"

namespace studio {

struct DesktopWindow {
    HWND handle = nullptr;
    int width = 0;
    int height = 0;
    bool minimised = false;
    std::string title;  // UTF-8, as the class
    std::string window_class;
};

inline constexpr char no_screen[] =
    "there is no screen to show: DISPLAY names no X server that answers";

// Topmost first. Empty without a server.
std::vector<DesktopWindow> ListWindows();

// By number; else the topmost with that very title or class, else the topmost whose title contains
// the text.
std::optional<DesktopWindow> FindWindow(const WindowDescription& wanted);

// What all outputs show together, and the primary one. Null without a server.
std::optional<Rect> DesktopArea();
std::optional<Rect> PrimaryArea();

// As in "1920x1080 at 0,0".
std::string AreaText(const Rect& area);

// The commands "screens" and "windows". False if there is no server.
bool PrintScreens();
bool PrintWindows();

}  // namespace studio
