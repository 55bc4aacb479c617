// A real compositor in the painter's place.
#include <cstdlib>

#include "tests/support/portal/TestPortal.h"

namespace test_portal {

static int OnCompositorStream(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_read(message, "u", &portal.compositor_node);
    AnswerStart();
    return 0;
}

// The session by which its pointer is moved, and the stream that the places are counted in.
static std::string remote_session;
static std::string remote_stream;
constexpr char remote_service[] = "org.gnome.Mutter.RemoteDesktop";
constexpr char remote_session_name[] = "org.gnome.Mutter.RemoteDesktop.Session";

bool MovePointer(double x, double y) {
    return sd_bus_call_method(portal.bus, remote_service, remote_session.c_str(),
                              remote_session_name, "NotifyPointerMotionAbsolute", nullptr, nullptr,
                              "sdd", remote_stream.c_str(), x, y) >= 0;
}

// Of the only monitor of a mutter, by its own interface.
bool CastCompositor() {
    constexpr char service[] = "org.gnome.Mutter.ScreenCast";
    sd_bus_message* remote = nullptr;
    const char* remote_path = nullptr;
    char* remote_id = nullptr;
    if (sd_bus_call_method(portal.bus, remote_service, "/org/gnome/Mutter/RemoteDesktop",
                           remote_service, "CreateSession", nullptr, &remote, "") < 0 ||
        sd_bus_message_read(remote, "o", &remote_path) < 0 ||
        sd_bus_get_property_string(portal.bus, remote_service, remote_path, remote_session_name,
                                   "SessionId", nullptr, &remote_id) < 0)
        return false;
    remote_session = remote_path;
    sd_bus_message_unref(remote);
    sd_bus_message* session = nullptr;
    sd_bus_message* stream = nullptr;
    const char* path = nullptr;
    if (sd_bus_call_method(portal.bus, service, "/org/gnome/Mutter/ScreenCast", service,
                           "CreateSession", nullptr, &session, "a{sv}", 1,
                           "remote-desktop-session-id", "s", remote_id) < 0 ||
        sd_bus_message_read(session, "o", &path) < 0)
        return false;
    constexpr std::uint32_t cursor_apart = 2;
    const char* stream_path = nullptr;
    const bool cast =
        sd_bus_call_method(portal.bus, service, path, "org.gnome.Mutter.ScreenCast.Session",
                           "RecordMonitor", nullptr, &stream, "sa{sv}", "", 1, "cursor-mode", "u",
                           cursor_apart) >= 0 &&
        sd_bus_message_read(stream, "o", &stream_path) >= 0 &&
        sd_bus_match_signal(portal.bus, nullptr, nullptr, stream_path,
                            "org.gnome.Mutter.ScreenCast.Stream", "PipeWireStreamAdded",
                            OnCompositorStream, nullptr) >= 0 &&
        sd_bus_call_method(portal.bus, remote_service, remote_session.c_str(), remote_session_name,
                           "Start", nullptr, nullptr, "") >= 0;
    if (cast) remote_stream = stream_path;
    std::free(remote_id);
    sd_bus_message_unref(session);
    sd_bus_message_unref(stream);
    return cast;
}

}  // namespace test_portal
