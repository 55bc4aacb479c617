// A desktop portal that grants (or refuses) a screen which it paints itself, as lines on its
// standard input say. Each line is answered by one: "ok", words that were asked for, or "no".
#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char object_path[] = "/org/freedesktop/portal/desktop";
constexpr char cast_name[] = "org.freedesktop.portal.ScreenCast";
constexpr char session_name[] = "org.freedesktop.portal.Session";

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
    std::uint64_t period_ns = 0;  // of frames by themselves
};

Portal portal;

void Reply(const std::string& line) { std::cout << line << std::endl; }

// ---- PipeWire ----

void OfferFormat(bool update) {
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    const spa_rectangle size = SPA_RECTANGLE(static_cast<std::uint32_t>(portal.width),
                                             static_cast<std::uint32_t>(portal.height));
    const spa_fraction rate = SPA_FRACTION(0, 1);
    const spa_pod* params[] = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_Id(portal.red_first ? SPA_VIDEO_FORMAT_RGBx : SPA_VIDEO_FORMAT_BGRx),
        SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
        SPA_POD_Fraction(&rate)))};
    if (update) {
        pw_stream_update_params(portal.stream, params, 1);
    } else {
        pw_stream_connect(
            portal.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
            static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS),
            params, 1);
    }
}

void OnParam(void*, std::uint32_t id, const spa_pod* param) {
    if (!param || id != SPA_PARAM_Format) return;
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    std::vector<const spa_pod*> params;
    const auto meta = [&](std::uint32_t type, std::size_t size) {
        params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(size)))));
    };
    params.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
        SPA_PARAM_BUFFERS_size, SPA_POD_Int(portal.width * portal.height * 4),
        SPA_PARAM_BUFFERS_stride, SPA_POD_Int(portal.width * 4), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd))));
    meta(SPA_META_Header, sizeof(spa_meta_header));
    meta(SPA_META_VideoCrop, sizeof(spa_meta_region));
    if (portal.has_damage) meta(SPA_META_VideoDamage, sizeof(spa_meta_region) * 4);
    // As large as that of compositors, which a reader must be ready for.
    meta(SPA_META_Cursor, sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + 384 * 384 * 4);
    pw_stream_update_params(portal.stream, params.data(),
                            static_cast<std::uint32_t>(params.size()));
}

void SetRegion(spa_region& region, const Area& area) {
    region.position = {area.x, area.y};
    region.size = {static_cast<std::uint32_t>(area.width), static_cast<std::uint32_t>(area.height)};
}

void FillCursor(spa_meta_cursor& cursor) {
    cursor.id = portal.cursor_id;
    cursor.flags = 0;
    cursor.position = {portal.cursor_x, portal.cursor_y};
    cursor.hotspot = {portal.hot_x, portal.hot_y};
    cursor.bitmap_offset = 0;
    if (portal.shape_side == 0) return;
    const auto side = static_cast<std::uint32_t>(portal.shape_side);
    cursor.bitmap_offset = sizeof(spa_meta_cursor);
    auto* const bitmap = SPA_PTROFF(&cursor, cursor.bitmap_offset, spa_meta_bitmap);
    bitmap->format = SPA_VIDEO_FORMAT_RGBA;
    bitmap->size = {side, side};
    bitmap->stride = static_cast<std::int32_t>(side * 4);
    bitmap->offset = sizeof(spa_meta_bitmap);
    auto* const pixels = SPA_PTROFF(bitmap, bitmap->offset, std::uint32_t);
    for (std::uint32_t i = 0; i < side * side; ++i) pixels[i] = portal.shape_color;
    // Once per change, as compositors do.
    portal.shape_side = 0;
}

std::int64_t Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

// The canvas is 0xRRGGBB; the last byte is rubbish, which nobody may show.
void FillPixels(std::uint32_t* pixels) {
    for (std::size_t i = 0; i < portal.canvas.size(); ++i) {
        const std::uint32_t color = portal.canvas[i];
        pixels[i] =
            (portal.red_first ? (color >> 16 & 0xFF) | (color & 0xFF00) | (color & 0xFF) << 16
                              : color) |
            0x37000000;
    }
}

bool Send() {
    if (!portal.streaming) return false;
    pw_buffer* const buffer = pw_stream_dequeue_buffer(portal.stream);
    if (!buffer) return false;
    spa_buffer& content = *buffer->buffer;
    spa_data& data = content.datas[0];
    const std::size_t bytes = portal.canvas.size() * 4;
    if (!data.data || data.maxsize < bytes) {
        pw_stream_queue_buffer(portal.stream, buffer);
        return false;
    }
    data.chunk->offset = 0;
    data.chunk->stride = portal.width * 4;
    data.chunk->size = portal.picture ? static_cast<std::uint32_t>(bytes) : 0;
    data.chunk->flags = portal.picture ? 0 : SPA_CHUNK_FLAG_CORRUPTED;
    if (portal.picture) FillPixels(static_cast<std::uint32_t*>(data.data));
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&content, SPA_META_Header, sizeof(spa_meta_header)))) {
        header->flags = 0;
        header->seq = portal.sequence;
        if (portal.sequence) ++portal.sequence;
        header->pts = Now();
    }
    if (auto* crop = static_cast<spa_meta_region*>(
            spa_buffer_find_meta_data(&content, SPA_META_VideoCrop, sizeof(spa_meta_region))))
        SetRegion(crop->region, portal.crop);
    if (spa_meta* const meta = spa_buffer_find_meta(&content, SPA_META_VideoDamage)) {
        std::size_t i = 0;
        spa_meta_region* region = nullptr;
        spa_meta_for_each(region, meta) {
            SetRegion(region->region,
                      i < portal.damage.size() ? portal.damage[i] : Area{0, 0, 0, 0});
            ++i;
        }
    }
    if (auto* cursor = static_cast<spa_meta_cursor*>(
            spa_buffer_find_meta_data(&content, SPA_META_Cursor, sizeof(spa_meta_cursor))))
        FillCursor(*cursor);
    pw_stream_queue_buffer(portal.stream, buffer);
    return true;
}

void TrySends(void*, std::uint64_t) {
    if (portal.first) {
        const bool picture = std::exchange(portal.picture, true);
        portal.first = !Send();
        portal.picture = picture;
        if (portal.first) return;
    }
    if (portal.period_ns) {
        Send();
        return;
    }
    while (portal.sends > 0 && Send()) {
        if (--portal.sends == 0) Reply("ok");
    }
}

// Buffers that were queued while the stream was not running would wait for ever.
void OnState(void*, pw_stream_state, pw_stream_state state, const char*);

void MakeStream() {
    static const pw_stream_events events = [] {
        pw_stream_events made{};
        made.version = PW_VERSION_STREAM_EVENTS;
        made.state_changed = OnState;
        made.param_changed = OnParam;
        return made;
    }();
    portal.first = true;
    portal.stream = pw_stream_new(portal.core, "test-portal",
                                  pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source",
                                                    PW_KEY_NODE_NAME, "test-portal", nullptr));
    pw_stream_add_listener(portal.stream, &portal.hook, &events, nullptr);
    OfferFormat(false);
}

void DropStream() {
    if (!portal.stream) return;
    spa_hook_remove(&portal.hook);
    pw_stream_destroy(portal.stream);
    portal.stream = nullptr;
    portal.streaming = false;
}

// ---- D-Bus ----

std::string PathOf(sd_bus_message* message, const char* kind, const std::string& token) {
    std::string sender(sd_bus_message_get_sender(message) + 1);
    for (char& c : sender) c = c == '.' ? '_' : c;
    return std::string(object_path) + "/" + kind + "/" + sender + "/" + token;
}

// The options of a call as words, as in "types=1".
std::vector<std::string> ReadOptions(sd_bus_message* message) {
    std::vector<std::string> options;
    sd_bus_message_enter_container(message, 'a', "{sv}");
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        const char* contents = nullptr;
        char type = 0;
        sd_bus_message_read(message, "s", &key);
        sd_bus_message_peek_type(message, &type, &contents);
        std::string value;
        if (*contents == 's') {
            const char* text = nullptr;
            sd_bus_message_read(message, "v", "s", &text);
            value = text;
        } else if (*contents == 'u' || *contents == 'b') {
            std::uint32_t number = 0;
            sd_bus_message_read(message, "v", contents, &number);
            value = std::to_string(number);
        } else {
            sd_bus_message_skip(message, "v");
        }
        options.push_back(std::string(key) + "=" + value);
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    return options;
}

std::string Find(const std::vector<std::string>& options, const std::string& key) {
    for (const std::string& option : options) {
        if (option.rfind(key + "=", 0) == 0) return option.substr(key.size() + 1);
    }
    return "";
}

sd_bus_message* NewResponse(const std::string& path, std::uint32_t code) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(portal.bus, &signal, path.c_str(), "org.freedesktop.portal.Request",
                              "Response");
    sd_bus_message_set_destination(signal, portal.caller.c_str());
    sd_bus_message_append(signal, "u", code);
    sd_bus_message_open_container(signal, 'a', "{sv}");
    return signal;
}

void SendResponse(sd_bus_message* signal) {
    sd_bus_message_close_container(signal);
    sd_bus_send(portal.bus, signal, nullptr);
    sd_bus_message_unref(signal);
}

// The answer comes before the reply of the call, which callers must be ready for.
int CreateSession(sd_bus_message* message, void*, sd_bus_error*) {
    const auto options = ReadOptions(message);
    portal.caller = sd_bus_message_get_sender(message);
    portal.session = PathOf(message, "session", Find(options, "session_handle_token"));
    const std::string path = PathOf(message, "request", Find(options, "handle_token"));
    sd_bus_message* const response = NewResponse(path, 0);
    sd_bus_message_append(response, "{sv}", "session_handle", "s", portal.session.c_str());
    SendResponse(response);
    return sd_bus_reply_method_return(message, "o", path.c_str());
}

int SelectSources(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_skip(message, "o");
    const auto options = ReadOptions(message);
    portal.asked.clear();
    for (const char* key : {"types", "cursor_mode", "persist_mode", "restore_token"})
        portal.asked += std::string(key) + "=" + Find(options, key) + " ";
    const std::string path = PathOf(message, "request", Find(options, "handle_token"));
    SendResponse(NewResponse(path, 0));
    return sd_bus_reply_method_return(message, "o", path.c_str());
}

void AnswerStart() {
    if (portal.request.empty()) return;
    const std::string path = portal.request;
    if (portal.answer == "refuse" || portal.answer == "end") {
        SendResponse(NewResponse(path, portal.answer == "refuse" ? 1 : 2));
    } else if ((portal.answer == "grant" && portal.stream) || portal.compositor_node) {
        sd_bus_message* const response = NewResponse(path, 0);
        sd_bus_message_append(
            response, "{sv}", "streams", "a(ua{sv})", 1,
            portal.compositor_node ? portal.compositor_node : pw_stream_get_node_id(portal.stream),
            0);
        if (portal.version >= 4) {
            portal.token_given = "token" + std::to_string(++portal.tokens);
            sd_bus_message_append(response, "{sv}", "restore_token", "s",
                                  portal.token_given.c_str());
        }
        SendResponse(response);
    } else {
        return;
    }
    portal.request.clear();
}

// ---- A real compositor in the painter's place ----

int OnCompositorStream(sd_bus_message* message, void*, sd_bus_error*) {
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

void Answer() {
    if (portal.answer == "compositor" && !portal.request.empty()) {
        if (!CastCompositor()) {
            SendResponse(NewResponse(portal.request, 2));
            portal.request.clear();
        }
    } else if (portal.answer == "grant" && !portal.request.empty()) {
        DropStream();
        MakeStream();  // its node is known in OnState
    } else {
        AnswerStart();
    }
}

int Start(sd_bus_message* message, void*, sd_bus_error*) {
    sd_bus_message_skip(message, "os");
    portal.request = PathOf(message, "request", Find(ReadOptions(message), "handle_token"));
    ++portal.starts;
    const int sent = sd_bus_reply_method_return(message, "o", portal.request.c_str());
    Answer();
    return sent;
}

void OnState(void*, pw_stream_state, pw_stream_state state, const char*) {
    portal.streaming = state == PW_STREAM_STATE_STREAMING;
    portal.first = portal.first || portal.streaming;
    if (state == PW_STREAM_STATE_PAUSED) AnswerStart();
}

int OpenRemote(sd_bus_message* message, void*, sd_bus_error*) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/pipewire-0",
                  std::getenv("XDG_RUNTIME_DIR"));
    if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return -ECONNREFUSED;
    const int sent = sd_bus_reply_method_return(message, "h", descriptor);
    close(descriptor);
    return sent;
}

int Close(sd_bus_message* message, void*, sd_bus_error*) {
    if (portal.session == sd_bus_message_get_path(message)) portal.session.clear();
    return sd_bus_reply_method_return(message, "");
}

int NumberProperty(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply,
                   void*, sd_bus_error*) {
    const std::string property = name;
    const std::uint32_t value = property == "version"                ? portal.version
                                : property == "AvailableCursorModes" ? portal.cursor_modes
                                                                     : 3;
    return sd_bus_message_append(reply, "u", value);
}

const sd_bus_vtable cast_table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CreateSession", "a{sv}", "o", CreateSession, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SelectSources", "oa{sv}", "o", SelectSources, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Start", "osa{sv}", "o", Start, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("OpenPipeWireRemote", "oa{sv}", "h", OpenRemote, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_PROPERTY("version", "u", NumberProperty, 0, 0),
    SD_BUS_PROPERTY("AvailableCursorModes", "u", NumberProperty, 0, 0),
    SD_BUS_PROPERTY("AvailableSourceTypes", "u", NumberProperty, 0, 0),
    SD_BUS_VTABLE_END};

int OnAnyCall(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_message_is_method_call(message, nullptr, "Close") > 0
               ? Close(message, nullptr, nullptr)
               : 0;
}

// ---- Lines ----

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
        portal.period_ns = rate ? 1'000'000'000ULL / rate : 0;
        portal.picture = true;
    } else if (command == "closed") {
        sd_bus_emit_signal(portal.bus, portal.session.c_str(), session_name, "Closed", "a{sv}", 0);
    } else if (command == "stop") {
        DropStream();
    } else if (command == "asked") {
        Reply(portal.asked + "starts=" + std::to_string(portal.starts));
        return;
    } else if (command == "session") {
        Reply(portal.session.empty() ? "none" : "open");
        return;
    } else {
        Reply("no");
        return;
    }
    Reply("ok");
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

int main(int argc, char** argv) {
    pw_init(&argc, &argv);
    portal.loop = pw_main_loop_new(nullptr);
    pw_loop* const loop = pw_main_loop_get_loop(portal.loop);
    portal.context = pw_context_new(loop, nullptr, 0);
    portal.core = pw_context_connect(portal.context, nullptr, 0);
    if (!portal.core || sd_bus_open_user(&portal.bus) < 0) return 1;
    sd_bus_add_object_vtable(portal.bus, nullptr, object_path, cast_name, cast_table, nullptr);
    sd_bus_add_filter(portal.bus, nullptr, OnAnyCall, nullptr);
    if (sd_bus_request_name(portal.bus, "org.freedesktop.portal.Desktop", 0) < 0) return 1;
    pw_loop_add_io(loop, sd_bus_get_fd(portal.bus), SPA_IO_IN, false, OnBus, nullptr);
    pw_loop_add_io(loop, STDIN_FILENO, SPA_IO_IN, false, OnInput, nullptr);
    spa_source* const timer = pw_loop_add_timer(loop, TrySends, nullptr);
    timespec interval{0, 2'000'000};
    if (argc > 1) interval.tv_nsec = std::atol(argv[1]);
    pw_loop_update_timer(loop, timer, &interval, &interval, false);
    Reply("ready");
    pw_main_loop_run(portal.loop);
    return 0;
}
