#include "platform/linux/x11/XWindows.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "com/Utf8.h"
#include "platform/linux/x11/XReply.h"

namespace Vimbrel {

namespace {

constexpr std::uint32_t property_words = 4096;
constexpr std::uint32_t state_iconic = 3;  // of WM_STATE

XReply<xcb_get_property_reply_t> Property(const XConnection& connection, xcb_window_t window,
                                          xcb_atom_t name) {
    if (name == XCB_ATOM_NONE) return nullptr;
    xcb_connection_t* const c = connection.Get();
    return XReply<xcb_get_property_reply_t>(xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, property_words),
        nullptr));
}

// The first 32-bit values of a property; how many there were, 0 if it has another format.
template <std::size_t count>
std::size_t ReadValues(const XConnection& connection, xcb_window_t window, xcb_atom_t name,
                       std::array<std::uint32_t, count>& values) {
    const auto reply = Property(connection, window, name);
    if (!reply || reply->format != 32) return 0;
    const std::size_t found =
        std::min(count, static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4);
    if (found > 0) std::memcpy(values.data(), xcb_get_property_value(reply.get()), found * 4);
    return found;
}

std::string Text(const XConnection& connection, xcb_window_t window, xcb_atom_t name) {
    const auto reply = Property(connection, window, name);
    if (!reply || reply->format != 8) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

// The encoding of texts from before UTF-8.
std::wstring FromLatin1(const std::string& text) {
    std::wstring wide;
    for (const char c : text) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    return wide;
}

bool IsInputOnly(const xcb_get_window_attributes_reply_t& attributes) {
    return attributes._class == XCB_WINDOW_CLASS_INPUT_ONLY;
}

}  // namespace

bool ReadWindowPlace(const XConnection& connection, xcb_window_t window, XWindowPlace& place) {
    xcb_connection_t* const c = connection.Get();
    const auto geometry_cookie = xcb_get_geometry(c, window);
    const auto attributes_cookie = xcb_get_window_attributes(c, window);
    const auto corner_cookie = xcb_translate_coordinates(c, window, connection.Root(), 0, 0);
    const XReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c, geometry_cookie, nullptr));
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, attributes_cookie, nullptr));
    const XReply<xcb_translate_coordinates_reply_t> corner(
        xcb_translate_coordinates_reply(c, corner_cookie, nullptr));
    if (!geometry || !attributes || !corner || IsInputOnly(*attributes)) return false;
    place.x = corner->dst_x;
    place.y = corner->dst_y;
    place.width = geometry->width;
    place.height = geometry->height;
    place.border = geometry->border_width;
    place.depth = geometry->depth;
    place.visual = attributes->visual;
    place.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    return true;
}

bool IsMinimised(const XConnection& connection, xcb_window_t window) {
    XWindowPlace place;
    if (!ReadWindowPlace(connection, window, place)) return false;
    if (!place.viewable) return true;
    std::array<std::uint32_t, 1> state{};
    return ReadValues(connection, window, connection.Names().window_state, state) > 0 &&
           state[0] == state_iconic;
}

xcb_window_t ParentWindow(const XConnection& connection, xcb_window_t window) {
    // What is around a managed window is the manager's frame.
    std::array<std::uint32_t, 1> state{};
    if (ReadValues(connection, window, connection.Names().window_state, state) > 0) return 0;
    xcb_connection_t* const c = connection.Get();
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
    return !tree || tree->parent == connection.Root() ? 0 : tree->parent;
}

RECT OuterPlace(const XConnection& connection, xcb_window_t window, const XWindowPlace& place) {
    RECT outer{place.x - place.border, place.y - place.border, place.x + place.width + place.border,
               place.y + place.height + place.border};
    std::array<std::uint32_t, 4> frame{};
    constexpr std::uint32_t sensible = 1024;
    if (ReadValues(connection, window, connection.Names().frame_extents, frame) < frame.size() ||
        *std::max_element(frame.begin(), frame.end()) > sensible)
        return outer;
    outer.left -= static_cast<LONG>(frame[0]);
    outer.right += static_cast<LONG>(frame[1]);
    outer.top -= static_cast<LONG>(frame[2]);
    outer.bottom += static_cast<LONG>(frame[3]);
    return outer;
}

std::wstring WindowTitle(const XConnection& connection, xcb_window_t window) {
    std::wstring title = FromUtf8(Text(connection, window, connection.Names().window_name));
    if (!title.empty()) return title;
    const auto reply = Property(connection, window, XCB_ATOM_WM_NAME);
    const std::string text = Text(connection, window, XCB_ATOM_WM_NAME);
    return reply && reply->type == XCB_ATOM_STRING ? FromLatin1(text) : FromUtf8(text);
}

std::wstring WindowClass(const XConnection& connection, xcb_window_t window) {
    // Two texts, each ended by a zero: the instance and the class.
    const std::string text = Text(connection, window, XCB_ATOM_WM_CLASS);
    const std::size_t end = text.find('\0');
    if (end == std::string::npos) return FromLatin1(text);
    return FromLatin1(text.substr(end + 1, text.find('\0', end + 1) - end - 1));
}

std::vector<xcb_window_t> ListWindows(const XConnection& connection) {
    std::array<xcb_window_t, 1024> managed{};
    const std::size_t count =
        ReadValues(connection, connection.Root(), connection.Names().window_list, managed);
    std::vector<xcb_window_t> windows(managed.begin(),
                                      managed.begin() + static_cast<std::ptrdiff_t>(count));
    if (windows.empty()) {
        xcb_connection_t* const c = connection.Get();
        const XReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(c, xcb_query_tree(c, connection.Root()), nullptr));
        if (!tree) return {};
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            XWindowPlace place;
            if (ReadWindowPlace(connection, children[i], place) && place.viewable)
                windows.push_back(children[i]);
        }
    }
    std::reverse(windows.begin(), windows.end());
    return windows;
}

}  // namespace Vimbrel
