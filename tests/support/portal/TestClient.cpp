// A Wayland program that fills its screen with four colours and has a yellow pointer, until it is
// killed.
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "xdg-shell-client.h"
// Compiled as a part of this, because the project's language is C++ only.
#include "xdg-shell-code.h"

namespace {

constexpr int pointer_side = 8;

struct Client {
    wl_compositor* compositor = nullptr;
    wl_shm* shm = nullptr;
    xdg_wm_base* shell = nullptr;
    wl_seat* seat = nullptr;
    wl_pointer* pointer = nullptr;
    wl_surface* surface = nullptr;
    wl_surface* pointer_surface = nullptr;
    wl_buffer* buffer = nullptr;  // of the surface
    std::uint32_t enter_serial = 0;
    int width = 0;
    int height = 0;
} client;

// Stays for as long as the program runs. `color` gives the pixel at a place.
template <class Color>
void Show(wl_surface* surface, int width, int height, Color color) {
    const int size = width * height * 4;
    const int file = memfd_create("test-client", MFD_CLOEXEC);
    if (ftruncate(file, size) != 0) std::abort();
    auto* const pixels = static_cast<std::uint32_t*>(
        mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    if (pixels == MAP_FAILED) std::abort();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) pixels[y * width + x] = color(x, y);
    }
    wl_shm_pool* const pool = wl_shm_create_pool(client.shm, file, size);
    wl_buffer* const buffer =
        wl_shm_pool_create_buffer(pool, 0, width, height, width * 4, WL_SHM_FORMAT_XRGB8888);
    if (surface == client.surface) client.buffer = buffer;
    wl_surface_attach(surface, buffer, 0, 0);
    wl_surface_damage(surface, 0, 0, width, height);
    wl_surface_commit(surface);
}

void OnGlobal(void*, wl_registry* registry, std::uint32_t name, const char* interface,
              std::uint32_t) {
    const auto bind = [&](auto*& object, const wl_interface& wanted) {
        if (std::strcmp(interface, wanted.name) != 0) return;
        using Object = std::remove_reference_t<decltype(object)>;
        object = static_cast<Object>(wl_registry_bind(registry, name, &wanted, 1));
    };
    bind(client.compositor, wl_compositor_interface);
    bind(client.shm, wl_shm_interface);
    bind(client.shell, xdg_wm_base_interface);
    bind(client.seat, wl_seat_interface);
}

void OnConfigure(void*, xdg_surface* shell_surface, std::uint32_t serial) {
    xdg_surface_ack_configure(shell_surface, serial);
    const int width = std::max(client.width, 1);
    const int height = std::max(client.height, 1);
    Show(client.surface, width, height, [=](int x, int y) {
        return x < width / 2 ? (y < height / 2 ? 0xC02010U : 0x10C020U)
                             : (y < height / 2 ? 0x2010C0U : 0x808080U);
    });
}

void ShowPointer() {
    // Its hot spot is its second pixel in both directions.
    wl_pointer_set_cursor(client.pointer, client.enter_serial, client.pointer_surface, 1, 1);
    Show(client.pointer_surface, pointer_side, pointer_side, [](int, int) { return 0xFFFF00U; });
}

void OnEnter(void*, wl_pointer*, std::uint32_t serial, wl_surface*, wl_fixed_t, wl_fixed_t) {
    client.enter_serial = serial;
    ShowPointer();
}

void OnCapabilities(void*, wl_seat* seat, std::uint32_t capabilities) {
    if ((capabilities & WL_SEAT_CAPABILITY_POINTER) == 0 || client.pointer) return;
    client.pointer = wl_seat_get_pointer(seat);
    static const wl_pointer_listener listener = [] {
        wl_pointer_listener made{};
        made.enter = OnEnter;
        made.leave = [](void*, wl_pointer*, std::uint32_t, wl_surface*) {};
        made.motion = [](void*, wl_pointer*, std::uint32_t, wl_fixed_t, wl_fixed_t) {};
        return made;
    }();
    wl_pointer_add_listener(client.pointer, &listener, nullptr);
}

}  // namespace

int main() {
    wl_display* const display = wl_display_connect(nullptr);
    if (!display) return 1;
    static const wl_registry_listener registry_listener{OnGlobal,
                                                        [](void*, wl_registry*, std::uint32_t) {}};
    static const xdg_wm_base_listener shell_listener{
        [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }};
    static const xdg_surface_listener surface_listener{OnConfigure};
    static const xdg_toplevel_listener toplevel_listener = [] {
        xdg_toplevel_listener made{};
        made.configure = [](void*, xdg_toplevel*, std::int32_t width, std::int32_t height,
                            wl_array*) {
            client.width = width;
            client.height = height;
        };
        made.close = [](void*, xdg_toplevel*) { std::exit(0); };
        return made;
    }();
    static const wl_seat_listener seat_listener{OnCapabilities,
                                                [](void*, wl_seat*, const char*) {}};
    wl_registry_add_listener(wl_display_get_registry(display), &registry_listener, nullptr);
    wl_display_roundtrip(display);
    if (!client.compositor || !client.shm || !client.shell) return 1;
    xdg_wm_base_add_listener(client.shell, &shell_listener, nullptr);
    client.surface = wl_compositor_create_surface(client.compositor);
    client.pointer_surface = wl_compositor_create_surface(client.compositor);
    if (client.seat) wl_seat_add_listener(client.seat, &seat_listener, nullptr);
    xdg_surface* const shell_surface = xdg_wm_base_get_xdg_surface(client.shell, client.surface);
    xdg_surface_add_listener(shell_surface, &surface_listener, nullptr);
    xdg_toplevel* const toplevel = xdg_surface_get_toplevel(shell_surface);
    xdg_toplevel_add_listener(toplevel, &toplevel_listener, nullptr);
    xdg_toplevel_set_fullscreen(toplevel, nullptr);
    wl_surface_commit(client.surface);
    // A compositor drops a frame that finds no free buffer: all is sent again and again.
    pollfd readable{wl_display_get_fd(display), POLLIN, 0};
    while (wl_display_dispatch_pending(display) >= 0 && wl_display_flush(display) >= 0) {
        if (poll(&readable, 1, 100) > 0) {
            if (wl_display_dispatch(display) < 0) return 1;
        } else if (client.buffer) {
            wl_surface_attach(client.surface, client.buffer, 0, 0);
            wl_surface_damage(client.surface, 0, 0, client.width, client.height);
            wl_surface_commit(client.surface);
            if (client.enter_serial) ShowPointer();
        }
    }
    return 1;
}
