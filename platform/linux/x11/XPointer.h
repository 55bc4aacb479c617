// The mouse pointer: where it is and what it looks like.
#pragma once

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/linux/x11/XConnection.h"

namespace Vimbrel {

struct XPointerPlace {
    bool on_screen = false;  // of the connection, and not on another
    int x = 0;               // of the hot spot, from the root's corner
    int y = 0;

    bool operator==(const XPointerPlace&) const = default;
};

xcb_query_pointer_cookie_t AskPointerPlace(const XConnection& connection);
XPointerPlace WaitPointerPlace(const XConnection& connection, xcb_query_pointer_cookie_t cookie);

// Whether a Ctrl key is held.
bool IsControlHeld(const XConnection& connection);

struct XPointerShape {
    int width = 0;
    int height = 0;
    int hot_x = 0;
    int hot_y = 0;
    // Some pixel can be seen; programs hide the pointer by a shape without one.
    bool visible = false;
    // Bytes blue, green, red, alpha; not premultiplied, rows without gaps.
    std::vector<std::uint8_t> pixels;
};

// Of one premultiplied byte; 0 where nothing can be seen.
inline std::uint8_t Unpremultiply(std::uint32_t color, std::uint32_t alpha) {
    return static_cast<std::uint8_t>(
        alpha == 0 ? 0 : std::min(255U, (color * 255 + alpha / 2) / alpha));
}

// False, with the shape unchanged, if the server does not tell it. The memory of `shape` is used
// again.
bool ReadPointerShape(const XConnection& connection, XPointerShape& shape);

}  // namespace Vimbrel
