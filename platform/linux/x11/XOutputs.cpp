#include "platform/linux/x11/XOutputs.h"

#include <xcb/randr.h>

#include <algorithm>

#include "com/Utf8.h"
#include "platform/linux/x11/XConnection.h"
#include "platform/linux/x11/XReply.h"

namespace Vimbrel {

namespace {

// The desktop appears turned counter-clockwise on an output of "rotate 90"; its picture has to be
// turned clockwise to be upright.
DXGI_MODE_ROTATION Rotation(std::uint16_t rotation) {
    if (rotation & XCB_RANDR_ROTATION_ROTATE_90) return DXGI_MODE_ROTATION_ROTATE90;
    if (rotation & XCB_RANDR_ROTATION_ROTATE_180) return DXGI_MODE_ROTATION_ROTATE180;
    if (rotation & XCB_RANDR_ROTATION_ROTATE_270) return DXGI_MODE_ROTATION_ROTATE270;
    return DXGI_MODE_ROTATION_IDENTITY;
}

XOutput WholeScreen(const XConnection& connection) {
    XOutput output;
    output.name = L"screen";
    // As it is now, not as it was when the connection was made.
    const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
        connection.Get(), xcb_get_geometry(connection.Get(), connection.Root()), nullptr));
    if (geometry) output.place = {0, 0, geometry->width, geometry->height};
    output.attached = geometry != nullptr;
    output.primary = true;
    return output;
}

void ReadPlace(xcb_connection_t* c, xcb_randr_crtc_t crtc, xcb_timestamp_t time, XOutput& output) {
    const XReply<xcb_randr_get_crtc_info_reply_t> info(
        xcb_randr_get_crtc_info_reply(c, xcb_randr_get_crtc_info(c, crtc, time), nullptr));
    if (!info || info->width == 0 || info->height == 0) return;
    output.place = {info->x, info->y, info->x + info->width, info->y + info->height};
    output.rotation = Rotation(info->rotation);
    output.attached = true;
}

}  // namespace

std::vector<XOutput> ListOutputs(const XConnection& connection) {
    std::vector<XOutput> outputs;
    xcb_connection_t* const c = connection.Get();
    if (connection.HasRandr()) {
        const auto resources_cookie = xcb_randr_get_screen_resources_current(c, connection.Root());
        const auto primary_cookie = xcb_randr_get_output_primary(c, connection.Root());
        const XReply<xcb_randr_get_screen_resources_current_reply_t> resources(
            xcb_randr_get_screen_resources_current_reply(c, resources_cookie, nullptr));
        const XReply<xcb_randr_get_output_primary_reply_t> primary(
            xcb_randr_get_output_primary_reply(c, primary_cookie, nullptr));
        if (!resources) return outputs;
        const xcb_randr_output_t* ids =
            xcb_randr_get_screen_resources_current_outputs(resources.get());
        const int count = xcb_randr_get_screen_resources_current_outputs_length(resources.get());
        for (int i = 0; i < count; ++i) {
            const XReply<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
                c, xcb_randr_get_output_info(c, ids[i], resources->config_timestamp), nullptr));
            if (!info ||
                (info->connection != XCB_RANDR_CONNECTION_CONNECTED && info->crtc == XCB_NONE))
                continue;
            XOutput output;
            output.id = ids[i];
            output.name = FromUtf8(
                {reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                 static_cast<std::size_t>(xcb_randr_get_output_info_name_length(info.get()))});
            output.width_mm = info->mm_width;
            if (info->crtc != XCB_NONE)
                ReadPlace(c, info->crtc, resources->config_timestamp, output);
            output.primary = output.attached && primary && primary->output == output.id;
            // Turned outputs tell their unturned size.
            if (output.rotation == DXGI_MODE_ROTATION_ROTATE90 ||
                output.rotation == DXGI_MODE_ROTATION_ROTATE270) {
                output.width_mm = info->mm_height;
            }
            outputs.push_back(output);
        }
    }
    const auto attached = [](const XOutput& output) { return output.attached; };
    if (std::none_of(outputs.begin(), outputs.end(), attached)) {
        if (connection.Lost()) return {};
        outputs.push_back(WholeScreen(connection));
    }
    const auto is_primary = [](const XOutput& output) { return output.primary; };
    if (std::none_of(outputs.begin(), outputs.end(), is_primary)) {
        const auto first = std::find_if(outputs.begin(), outputs.end(), attached);
        if (first != outputs.end()) first->primary = true;
    }
    return outputs;
}

}  // namespace Vimbrel
