#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <vector>

#include "tests/support/TestWindow.h"

namespace Vimbrel::test {

namespace {

void Sync(xcb_connection_t* connection) {
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

xcb_screen_t* Screen(xcb_connection_t* connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

}  // namespace

struct TestWindow::Native {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    xcb_window_t window = 0;

    ~Native() { xcb_disconnect(connection); }

    // The server paints the background itself, whenever a part of the window comes to light.
    void SetPattern(const TestWindow& owner) {
        const xcb_pixmap_t pixmap = xcb_generate_id(connection);
        const xcb_gcontext_t context = xcb_generate_id(connection);
        const std::uint8_t depth = Screen(connection)->root_depth;
        xcb_create_pixmap(connection, depth, pixmap, window,
                          static_cast<std::uint16_t>(owner.Width()),
                          static_cast<std::uint16_t>(owner.Height()));
        xcb_create_gc(connection, context, pixmap, 0, nullptr);
        std::vector<std::uint32_t> row(static_cast<std::size_t>(owner.Width()));
        for (int y = 0; y < owner.Height(); ++y) {
            // With rubbish in the byte that is no colour, as programs leave it there.
            for (int x = 0; x < owner.Width(); ++x)
                row[static_cast<std::size_t>(x)] = owner.Expected(x, y) | 0x5A000000;
            xcb_put_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context,
                          static_cast<std::uint16_t>(owner.Width()), 1, 0,
                          static_cast<std::int16_t>(y), 0, depth,
                          static_cast<std::uint32_t>(row.size() * 4),
                          reinterpret_cast<const std::uint8_t*>(row.data()));
        }
        xcb_change_window_attributes(connection, window, XCB_CW_BACK_PIXMAP, &pixmap);
        xcb_clear_area(connection, 0, window, 0, 0, 0, 0);
        xcb_free_gc(connection, context);
        xcb_free_pixmap(connection, pixmap);
        Sync(connection);
    }

    void Configure(std::uint16_t mask, std::initializer_list<std::uint32_t> values) {
        xcb_configure_window(connection, window, mask, values.begin());
        Sync(connection);
    }
};

TestWindow::TestWindow(int x, int y, int window_width, int window_height, std::uint32_t window_seed,
                       const std::string& title)
    : native(std::make_unique<Native>()),
      width(window_width),
      height(window_height),
      seed(window_seed) {
    if (xcb_connection_has_error(native->connection)) {
        ADD_FAILURE() << "no server for the test's window";
        return;
    }
    const xcb_screen_t* screen = Screen(native->connection);
    native->window = xcb_generate_id(native->connection);
    const std::uint32_t override_redirect = 1;
    xcb_create_window(native->connection, XCB_COPY_FROM_PARENT, native->window, screen->root,
                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                      &override_redirect);
    xcb_change_property(native->connection, XCB_PROP_MODE_REPLACE, native->window, XCB_ATOM_WM_NAME,
                        XCB_ATOM_STRING, 8, static_cast<std::uint32_t>(title.size()), title.data());
    const char classes[] = "instance\0TestClass";
    xcb_change_property(native->connection, XCB_PROP_MODE_REPLACE, native->window,
                        XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof classes, classes);
    native->SetPattern(*this);
    xcb_map_window(native->connection, native->window);
    Sync(native->connection);
}

TestWindow::~TestWindow() = default;

HWND TestWindow::Handle() const {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(native->window));
}

void TestWindow::Resize(int new_width, int new_height) {
    width = new_width;
    height = new_height;
    native->Configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                      {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)});
    native->SetPattern(*this);
}

void TestWindow::Raise() {
    native->Configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE});
}

void TestWindow::Minimise() {
    xcb_unmap_window(native->connection, native->window);
    Sync(native->connection);
}

void TestWindow::Close() {
    xcb_destroy_window(native->connection, native->window);
    Sync(native->connection);
}

void MovePointer(int x, int y) {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    xcb_warp_pointer(connection, XCB_NONE, Screen(connection)->root, 0, 0, 0, 0,
                     static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    Sync(connection);
    xcb_disconnect(connection);
}

}  // namespace Vimbrel::test
