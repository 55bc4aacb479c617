#include "platform/linux/x11/XConnection.h"

#include <poll.h>
#include <sys/socket.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "base/ThreadSafety.h"
#include "pixel/PixelOperations.h"
#include "platform/linux/x11/XOutputs.h"
#include "platform/linux/x11/XReply.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;

constexpr int normal_dpi = 96;

const char* ConnectionError(int error) {
    switch (error) {
        case XCB_CONN_ERROR:
            return "no server answers";
        case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
            return "an extension is missing";
        case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
            return "no memory";
        case XCB_CONN_CLOSED_PARSE_ERR:
            return "the display name is not understood";
        case XCB_CONN_CLOSED_INVALID_SCREEN:
            return "the server has no such screen";
        default:
            return "the connection is closed";
    }
}

bool IsPresent(xcb_connection_t* connection, xcb_extension_t& extension,
               std::uint8_t* first_event) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection, &extension);
    if (!data || !data->present) return false;
    if (first_event) *first_event = data->first_event;
    return true;
}

// An extension's version must be negotiated before any other request of it.
template <class Cookie, class Reply>
bool Agree(xcb_connection_t* connection, Cookie cookie,
           Reply* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**)) {
    xcb_generic_error_t* error = nullptr;
    const XReply<Reply> reply(wait(connection, cookie, &error));
    return XConnection::Succeeded(error, "version of an extension") && reply;
}

// A descriptor cannot be handed to a server on another machine; to try would end the connection.
bool IsLocal(xcb_connection_t* connection) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    return getsockname(xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&address),
                       &size) == 0 &&
           address.ss_family == AF_UNIX;
}

std::string DisplayName() {
    const char* name = std::getenv("DISPLAY");
    return name ? name : "";
}

}  // namespace

std::shared_ptr<XConnection> XConnection::Open() try {
    InitializePixelOperations();
    int screen = 0;
    const std::string name = DisplayName();
    std::shared_ptr<XConnection> connection(
        new XConnection(xcb_connect(name.empty() ? nullptr : name.c_str(), &screen)));
    if (const int error = xcb_connection_has_error(connection->Get())) {
        APPLOG_FORMAT(LOG_LEVEL_TRACE, "X11 - display \"%s\": %s", name.c_str(),
                      ConnectionError(error));
        return nullptr;
    }
    if (!connection->FindScreen(screen)) return nullptr;
    connection->FindExtensions();
    connection->FindAtoms();
    if (connection->Lost()) return nullptr;
    return connection;
} catch (const std::bad_alloc&) {
    return nullptr;
}

std::shared_ptr<XConnection> XConnection::Shared() try {
    static struct {
        Mutex lock;
        std::shared_ptr<XConnection> connection GUARDED_BY(lock);
        std::string name GUARDED_BY(lock);
    } shared;
    const MutexLock guard(shared.lock);
    const std::string name = DisplayName();
    if (!shared.connection || shared.connection->Lost() || name != shared.name) {
        shared.connection = Open();
        shared.name = name;
    }
    return shared.connection;
} catch (const std::bad_alloc&) {
    return nullptr;
}

XConnection::~XConnection() { xcb_disconnect(connection_); }

bool XConnection::Lost() const {
    if (xcb_connection_has_error(connection_)) return true;
    pollfd descriptor{xcb_get_file_descriptor(connection_), 0, 0};
    return poll(&descriptor, 1, 0) == 1 && (descriptor.revents & (POLLHUP | POLLERR)) != 0;
}

bool XConnection::FindScreen(int number) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (; screens.rem > 0 && number > 0; --number) xcb_screen_next(&screens);
    if (screens.rem > 0) screen_ = screens.data;
    return screen_ != nullptr;
}

void XConnection::FindExtensions() {
    xcb_connection_t* const c = connection_;
    shared_memory_ = IsLocal(c) && IsPresent(c, xcb_shm_id, nullptr);
    if (shared_memory_) {
        const XReply<xcb_shm_query_version_reply_t> version(
            xcb_shm_query_version_reply(c, xcb_shm_query_version(c), nullptr));
        // Segments are handed over as file descriptors, which came with 1.2.
        shared_memory_ = version && (version->major_version > 1 ||
                                     (version->major_version == 1 && version->minor_version >= 2));
    }
    randr_ = IsPresent(c, xcb_randr_id, &randr_event_) &&
             Agree(c, xcb_randr_query_version(c, 1, 5), xcb_randr_query_version_reply);
    fixes_ = IsPresent(c, xcb_xfixes_id, &fixes_event_) &&
             Agree(c, xcb_xfixes_query_version(c, 5, 0), xcb_xfixes_query_version_reply);
    // Some servers without XFIXES end when they are asked about what builds on it.
    damage_ = fixes_ && IsPresent(c, xcb_damage_id, &damage_event_) &&
              Agree(c, xcb_damage_query_version(c, 1, 1), xcb_damage_query_version_reply);
    composite_ = IsPresent(c, xcb_composite_id, nullptr) &&
                 Agree(c, xcb_composite_query_version(c, 0, 4), xcb_composite_query_version_reply);
}

XPixelFormat XConnection::FormatOf(xcb_visualid_t visual, std::uint8_t depth) const {
    XPixelFormat format;
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    format.most_significant_first = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0;
         xcb_format_next(&formats)) {
        if (formats.data->depth != depth) continue;
        format.bits_per_pixel = formats.data->bits_per_pixel;
        format.row_bits = formats.data->scanline_pad;
    }
    for (auto depths = xcb_screen_allowed_depths_iterator(screen_); depths.rem > 0;
         xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
             xcb_visualtype_next(&visuals)) {
            if (visuals.data->visual_id != visual) continue;
            format.direct_color = visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR;
            format.red_mask = visuals.data->red_mask;
            format.green_mask = visuals.data->green_mask;
            format.blue_mask = visuals.data->blue_mask;
        }
    }
    format.has_alpha = depth == 32;
    return format;
}

int XConnection::SettingDpi() const {
    constexpr std::uint32_t words = 16384;
    const XReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection_,
                               xcb_get_property(connection_, 0, Root(), XCB_ATOM_RESOURCE_MANAGER,
                                                XCB_ATOM_STRING, 0, words),
                               nullptr));
    if (!reply) return 0;
    const std::string text(static_cast<const char*>(xcb_get_property_value(reply.get())),
                           static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    constexpr std::string_view name = "Xft.dpi:";
    const std::size_t found = text.find(name);
    if (found == std::string::npos || (found > 0 && text[found - 1] != '\n')) return 0;
    return static_cast<int>(std::strtod(text.c_str() + found + name.size(), nullptr));
}

int XConnection::Dpi() const try {
    const auto sensible = [](int dpi) { return dpi >= 24 && dpi <= 960; };
    if (const int dpi = SettingDpi(); sensible(dpi)) return dpi;
    for (const XOutput& output : ListOutputs(*this)) {
        if (!output.primary || !output.attached || output.width_mm == 0) continue;
        const int dpi = static_cast<int>(
            std::lround((output.place.right - output.place.left) * 25.4 / output.width_mm));
        if (sensible(dpi)) return dpi;
    }
    return normal_dpi;
} catch (const std::bad_alloc&) {
    return normal_dpi;
}

void XConnection::FindAtoms() {
    // Made if they are not there yet: whoever uses them later uses the same.
    const auto ask = [&](std::string_view name) {
        return xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()),
                               name.data());
    };
    const auto answer = [&](xcb_intern_atom_cookie_t cookie) {
        const XReply<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection_, cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    };
    const auto state = ask("WM_STATE");
    const auto extents = ask("_NET_FRAME_EXTENTS");
    const auto name = ask("_NET_WM_NAME");
    const auto list = ask("_NET_CLIENT_LIST_STACKING");
    atoms_ = {answer(state), answer(extents), answer(name), answer(list)};
}

bool XConnection::Succeeded(xcb_generic_error_t* error, const char* request) {
    if (!error) return true;
    APPLOG_FORMAT(LOG_LEVEL_TRACE, "X11 - %s: error %d, request %d.%d, resource 0x%x", request,
                  error->error_code, error->major_code, error->minor_code, error->resource_id);
    std::free(error);
    return false;
}

}  // namespace Vimbrel
