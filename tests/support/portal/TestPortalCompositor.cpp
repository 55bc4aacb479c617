// A real compositor in the painter's place.
#include "tests/support/portal/TestPortal.h"

namespace test_portal {

static int OnCompositorStream(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_read(message, "u", &portal.compositor_node);
    AnswerStart();
    return 0;
}

// Of the only monitor of a mutter, by its own interface.
bool CastCompositor() {
    constexpr char service[] = "org.gnome.Mutter.ScreenCast";
    sd_bus_message* session = nullptr;
    sd_bus_message* stream = nullptr;
    const char* path = nullptr;
    if (sd_bus_call_method(portal.bus, service, "/org/gnome/Mutter/ScreenCast", service,
                           "CreateSession", nullptr, &session, "a{sv}", 0) < 0 ||
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
        sd_bus_call_method(portal.bus, service, path, "org.gnome.Mutter.ScreenCast.Session",
                           "Start", nullptr, nullptr, "") >= 0;
    sd_bus_message_unref(session);
    sd_bus_message_unref(stream);
    return cast;
}

}  // namespace test_portal
