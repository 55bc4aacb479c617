// Windows of the X server: places, states, names.
#pragma once

#include <windows.h>
#include <xcb/xcb.h>

#include <string>
#include <vector>

#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

inline xcb_window_t ToXWindow(HWND window) {
    return static_cast<xcb_window_t>(reinterpret_cast<std::uintptr_t>(window));
}
inline HWND ToHandle(xcb_window_t window) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window));
}

struct XWindowPlace {
    int x = 0;  // of the inner corner, from the root's corner
    int y = 0;
    int width = 0;
    int height = 0;
    int border = 0;
    std::uint8_t depth = 0;
    xcb_visualid_t visual = 0;
    bool viewable = false;  // it and all around it are mapped
};

// False if there is no such window.
bool ReadWindowPlace(const XConnection& connection, xcb_window_t window, XWindowPlace& place);

// Not viewable, or the window manager calls it minimised.
bool IsMinimised(const XConnection& connection, xcb_window_t window);

// The window that this one is a part of; 0 for one that a window manager manages or that lies on
// the root.
xcb_window_t ParentWindow(const XConnection& connection, xcb_window_t window);

// What the window manager has put around the inside.
RECT OuterPlace(const XConnection& connection, xcb_window_t window, const XWindowPlace& place);

std::wstring WindowTitle(const XConnection& connection, xcb_window_t window);
std::wstring WindowClass(const XConnection& connection, xcb_window_t window);

// See EnumWindows.
std::vector<xcb_window_t> ListWindows(const XConnection& connection);

}  // namespace Vimbrel
