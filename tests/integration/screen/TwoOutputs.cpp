#include "tests/integration/screen/TwoOutputs.h"

#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <algorithm>

#include "platform/linux/x11/XReply.h"

namespace Vimbrel::test {

namespace {

constexpr char configuration[] = R"(
Section "ServerFlags"
  Option "AutoAddDevices" "false"
EndSection
Section "Device"
  Identifier "device"
  Driver "dummy"
  VideoRam 64000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5-1000
  VertRefresh 5-200
EndSection
Section "Screen"
  Identifier "screen"
  Device "device"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Modes "640x480"
    Virtual 1600 1200
  EndSubSection
EndSection
)";

std::vector<std::string> Command(const TempFolder& folder) {
    return {"Xorg",
            "-config",
            folder.Write("xorg.conf", std::string(configuration)).string(),
            "-noreset",
            "-nolisten",
            "tcp",
            "-logfile",
            (folder / "log").string()};
}

// One request on a connection of its own.
class RandrClient {
public:
    RandrClient()
        : connection(xcb_connect(nullptr, nullptr)),
          root(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root),
          resources(xcb_randr_get_screen_resources_current_reply(
              connection, xcb_randr_get_screen_resources_current(connection, root), nullptr)) {}
    ~RandrClient() { xcb_disconnect(connection); }
    RandrClient(const RandrClient&) = delete;
    RandrClient& operator=(const RandrClient&) = delete;

    void SetCrtc(std::uint32_t crtc, std::int16_t x, std::int16_t y, std::uint32_t mode,
                 const std::uint32_t* output) const {
        const XReply<xcb_randr_set_crtc_config_reply_t> reply(xcb_randr_set_crtc_config_reply(
            connection,
            xcb_randr_set_crtc_config(connection, crtc, XCB_CURRENT_TIME,
                                      resources->config_timestamp, x, y, mode,
                                      XCB_RANDR_ROTATION_ROTATE_0, output ? 1 : 0, output),
            nullptr));
        EXPECT_TRUE(reply && reply->status == XCB_RANDR_SET_CONFIG_SUCCESS);
    }

    xcb_connection_t* const connection;
    const xcb_window_t root;
    const XReply<xcb_randr_get_screen_resources_current_reply_t> resources;
};

}  // namespace

TwoOutputs::TwoOutputs() : server(Command(folder)) {
    Run("--newmode small 10 320 330 340 350 240 250 260 270");
    Run("--addmode DUMMY1 small");
    Run("--output DUMMY1 --mode small --right-of DUMMY0 --primary");
    const RandrClient client;
    const auto* crtcs = xcb_randr_get_screen_resources_current_crtcs(client.resources.get());
    for (int i = 0; i < client.resources->num_crtcs; ++i) {
        const XReply<xcb_randr_get_crtc_info_reply_t> info(xcb_randr_get_crtc_info_reply(
            client.connection, xcb_randr_get_crtc_info(client.connection, crtcs[i], 0), nullptr));
        if (!info || info->num_outputs == 0) continue;
        const auto output = xcb_randr_get_crtc_info_outputs(info.get())[0];
        places.push_back({crtcs[i], output, info->mode, info->x, info->y});
    }
    EXPECT_EQ(places.size(), 2u);
    std::sort(places.begin(), places.end(),
              [](const Place& a, const Place& b) { return a.x < b.x; });
}

void TwoOutputs::SwitchOff(std::size_t output) {
    RandrClient().SetCrtc(places.at(output).crtc, 0, 0, 0, nullptr);
}

void TwoOutputs::SwitchOn(std::size_t output) {
    const Place& place = places.at(output);
    RandrClient().SetCrtc(place.crtc, place.x, place.y, place.mode, &place.output);
}

}  // namespace Vimbrel::test
