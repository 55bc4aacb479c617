// What the test portal shows and how it answers; one per process.
#pragma once

#include <pipewire/pipewire.h>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>
#include <vector>

namespace test_portal {

struct Area {
    int x, y, width, height;
};

struct Portal {
    sd_bus* bus = nullptr;
    pw_main_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    pw_stream* stream = nullptr;
    spa_hook hook{};

    std::string answer = "grant";
    std::uint32_t version = 4;
    std::uint32_t cursor_modes = 7;
    std::string token_given;
    std::string asked;  // the options of the last SelectSources
    int starts = 0;
    std::uint32_t compositor_node = 0;  // of the stream that a compositor sends; 0 for none
    int tokens = 0;
    bool has_damage = true;
    std::string session;
    std::string caller;
    std::string request;  // of the Start that waits for its answer

    int width = 64;
    int height = 48;
    bool red_first = false;
    bool pooled = false;  // the buffers' memory is PipeWire's
    int buffers = 4;
    std::vector<std::uint32_t> canvas = std::vector<std::uint32_t>(64 * 48);
    std::vector<Area> damage;
    Area crop{0, 0, 0, 0};
    std::uint64_t sequence = 0;
    bool streaming = false;
    bool first = true;  // the stream's first picture is still to be sent, as compositors do
    int sends = 0;      // buffers that are still to be sent
    bool picture = true;

    std::uint32_t cursor_id = 0;
    int cursor_x = 0, cursor_y = 0, hot_x = 0, hot_y = 0;
    int shape_side = 0;
    std::uint32_t shape_color = 0;
    bool runs = false;  // sends frames by itself, at each tick of the timer
    spa_source* timer = nullptr;
};

extern Portal portal;

void Reply(const std::string& line);

// The stream, which is painted here.
void OfferFormat(bool update);
void MakeStream();
void DropStream();
// Sends what is due, and after the last one replies.
void TrySends(void*, std::uint64_t);

// The desktop's portal on the bus. Handing out a stream's node answers a Start that waits.
bool Publish();
void Answer();
void AnswerStart();
void EmitClosed();

// Asks a real compositor for the stream, whose node it later answers with. False without one.
bool CastCompositor();
// In the picture of that stream.
bool MovePointer(double x, double y);

}  // namespace test_portal
