// A desktop portal that grants (or refuses) a screen which it paints itself, as lines on its
// standard input say. Each line is answered by one: "ok", words that were asked for, or "no".
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "tests/support/portal/TestPortal.h"

namespace test_portal {

Portal portal;

void Reply(const std::string& line) { std::cout << line << std::endl; }

namespace {

constexpr long usual_interval_ns = 2'000'000;

void SetInterval(long ns) {
    timespec interval{0, ns};
    pw_loop_update_timer(pw_main_loop_get_loop(portal.loop), portal.timer, &interval, &interval,
                         false);
}

void Obey(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    const auto area = [&] {
        Area read{};
        words >> read.x >> read.y >> read.width >> read.height;
        return read;
    };
    if (command == "answer") {
        words >> portal.answer;
        Answer();
    } else if (command == "version") {
        words >> portal.version;
    } else if (command == "cursors") {
        words >> portal.cursor_modes;
    } else if (command == "size" || command == "resize") {
        words >> portal.width >> portal.height;
        portal.canvas.assign(static_cast<std::size_t>(portal.width * portal.height), 0);
        if (command == "resize") OfferFormat(true);
    } else if (command == "rgb") {
        portal.red_first = true;
    } else if (command == "pooled") {
        portal.pooled = true;
    } else if (command == "buffers") {
        words >> portal.buffers;
    } else if (command == "nodamage") {
        portal.has_damage = false;
    } else if (command == "crop") {
        portal.crop = area();
    } else if (command == "sequence") {
        words >> portal.sequence;
    } else if (command == "paint") {
        const Area where = area();
        std::uint32_t color = 0;
        words >> std::hex >> color;
        for (int y = where.y; y < where.y + where.height; ++y) {
            for (int x = where.x; x < where.x + where.width; ++x)
                portal.canvas[static_cast<std::size_t>(y * portal.width + x)] = color;
        }
    } else if (command == "damage") {
        portal.damage.clear();
        for (Area one = area(); words; one = area()) portal.damage.push_back(one);
    } else if (command == "cursor") {
        words >> portal.cursor_id >> portal.cursor_x >> portal.cursor_y;
    } else if (command == "shape") {
        words >> portal.shape_side >> portal.hot_x >> portal.hot_y >> std::hex >>
            portal.shape_color;
    } else if (command == "send" || command == "cursoronly") {
        portal.picture = command == "send";
        portal.sends = 1;
        TrySends(nullptr, 0);
        return;
    } else if (command == "run") {
        unsigned rate = 0;
        words >> rate;
        portal.runs = rate > 0;
        portal.picture = true;
        SetInterval(rate ? 1'000'000'000 / rate : usual_interval_ns);
    } else if (command == "pointer") {
        double x = 0;
        double y = 0;
        words >> x >> y;
        if (!MovePointer(x, y)) command = "no";
    } else if (command == "closed") {
        EmitClosed();
    } else if (command == "stop") {
        DropStream();
    } else if (command == "asked") {
        Reply(portal.asked + "starts=" + std::to_string(portal.starts));
        return;
    } else if (command == "node") {
        Reply(std::to_string(pw_stream_get_node_id(portal.stream)));
        return;
    } else if (command == "session") {
        Reply(portal.session.empty() ? "none" : "open");
        return;
    } else {
        Reply("no");
        return;
    }
    Reply(command == "no" ? "no" : "ok");
}

void OnInput(void*, int descriptor, std::uint32_t) {
    static std::string pending;
    char bytes[4096];
    const ssize_t count = read(descriptor, bytes, sizeof bytes);
    if (count <= 0) {
        pw_main_loop_quit(portal.loop);
        return;
    }
    pending.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = pending.find('\n')) != std::string::npos;
         pending.erase(0, end + 1))
        Obey(pending.substr(0, end));
    sd_bus_flush(portal.bus);
}

void OnBus(void*, int, std::uint32_t) {
    while (sd_bus_process(portal.bus, nullptr) > 0) {
    }
    sd_bus_flush(portal.bus);
}

}  // namespace

}  // namespace test_portal

int main(int argc, char** argv) {
    using namespace test_portal;
    pw_init(&argc, &argv);
    portal.loop = pw_main_loop_new(nullptr);
    pw_loop* const loop = pw_main_loop_get_loop(portal.loop);
    portal.context = pw_context_new(loop, nullptr, 0);
    portal.core = pw_context_connect(portal.context, nullptr, 0);
    if (!portal.core || !Publish()) return 1;
    pw_loop_add_io(loop, sd_bus_get_fd(portal.bus), SPA_IO_IN, false, OnBus, nullptr);
    pw_loop_add_io(loop, STDIN_FILENO, SPA_IO_IN, false, OnInput, nullptr);
    portal.timer = pw_loop_add_timer(loop, TrySends, nullptr);
    SetInterval(usual_interval_ns);
    Reply("ready");
    pw_main_loop_run(portal.loop);
    return 0;
}
