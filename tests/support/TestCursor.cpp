#include "tests/support/TestCursor.h"

#include <gtest/gtest.h>
#include <xcb/render.h>

#include <cstdlib>
#include <memory>

namespace Vimbrel::test {

namespace {

xcb_render_pictformat_t FormatWithAlpha(xcb_connection_t* connection) {
    const std::unique_ptr<xcb_render_query_pict_formats_reply_t, decltype(&std::free)> formats(
        xcb_render_query_pict_formats_reply(connection, xcb_render_query_pict_formats(connection),
                                            nullptr),
        std::free);
    if (!formats) return 0;
    for (auto it = xcb_render_query_pict_formats_formats_iterator(formats.get()); it.rem > 0;
         xcb_render_pictforminfo_next(&it)) {
        const auto& direct = it.data->direct;
        if (it.data->depth == 32 && direct.alpha_mask == 0xFF && direct.alpha_shift == 24 &&
            direct.red_shift == 16)
            return it.data->id;
    }
    return 0;
}

}  // namespace

void SetPointerShape(int width, int height, int hot_x, int hot_y,
                     const std::vector<std::uint32_t>& pixels) {
    xcb_connection_t* const c = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const xcb_render_pictformat_t format = FormatWithAlpha(c);
    EXPECT_NE(format, 0u);
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    const xcb_gcontext_t context = xcb_generate_id(c);
    const xcb_render_picture_t picture = xcb_generate_id(c);
    const xcb_cursor_t cursor = xcb_generate_id(c);
    xcb_create_pixmap(c, 32, pixmap, root, static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height));
    xcb_create_gc(c, context, pixmap, 0, nullptr);
    xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, static_cast<std::uint16_t>(width),
                  static_cast<std::uint16_t>(height), 0, 0, 0, 32,
                  static_cast<std::uint32_t>(pixels.size() * 4),
                  reinterpret_cast<const std::uint8_t*>(pixels.data()));
    xcb_render_create_picture(c, picture, pixmap, format, 0, nullptr);
    xcb_render_create_cursor(c, cursor, picture, static_cast<std::uint16_t>(hot_x),
                             static_cast<std::uint16_t>(hot_y));
    xcb_change_window_attributes(c, root, XCB_CW_CURSOR, &cursor);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    // The server tells shapes of programs that still run only, so the program's end of this one
    // waits for the next.
    static xcb_connection_t* owner = nullptr;
    if (owner) xcb_disconnect(owner);
    owner = c;
}

}  // namespace Vimbrel::test
