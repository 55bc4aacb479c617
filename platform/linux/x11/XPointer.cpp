#include "platform/linux/x11/XPointer.h"

#include <xcb/xfixes.h>

#include <new>

#include "platform/linux/x11/XReply.h"

namespace Vimbrel {

xcb_query_pointer_cookie_t AskPointerPlace(const XConnection& connection) {
    return xcb_query_pointer(connection.Get(), connection.Root());
}

XPointerPlace WaitPointerPlace(const XConnection& connection, xcb_query_pointer_cookie_t cookie) {
    const XReply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(connection.Get(), cookie, nullptr));
    if (!reply) return {};
    return {reply->same_screen != 0, reply->root_x, reply->root_y};
}

bool IsControlHeld(const XConnection& connection) {
    const XReply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(connection.Get(), AskPointerPlace(connection), nullptr));
    return reply && (reply->mask & XCB_MOD_MASK_CONTROL) != 0;
}

bool ReadPointerShape(const XConnection& connection, XPointerShape& shape) try {
    if (!connection.HasFixes()) return false;
    xcb_generic_error_t* error = nullptr;
    const XReply<xcb_xfixes_get_cursor_image_reply_t> reply(xcb_xfixes_get_cursor_image_reply(
        connection.Get(), xcb_xfixes_get_cursor_image(connection.Get()), &error));
    if (!XConnection::Succeeded(error, "read the pointer") || !reply) return false;
    const std::uint32_t* image = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
    const int count = xcb_xfixes_get_cursor_image_cursor_image_length(reply.get());
    if (count < reply->width * reply->height) return false;
    shape.width = reply->width;
    shape.height = reply->height;
    shape.hot_x = reply->xhot;
    shape.hot_y = reply->yhot;
    shape.visible = false;
    shape.pixels.resize(static_cast<std::size_t>(shape.width) *
                        static_cast<std::size_t>(shape.height) * 4);
    for (std::size_t i = 0; i < shape.pixels.size() / 4; ++i) {
        const std::uint32_t alpha = image[i] >> 24;
        shape.visible |= alpha != 0;
        std::uint8_t* pixel = shape.pixels.data() + i * 4;
        pixel[0] = Unpremultiply(image[i] & 0xFF, alpha);
        pixel[1] = Unpremultiply(image[i] >> 8 & 0xFF, alpha);
        pixel[2] = Unpremultiply(image[i] >> 16 & 0xFF, alpha);
        pixel[3] = static_cast<std::uint8_t>(alpha);
    }
    return true;
} catch (const std::bad_alloc&) {
    // The sizes are those of pixels that were not read.
    shape = {};
    return false;
}

}  // namespace Vimbrel
