#include "platform/linux/portal/CastStream.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "platform/linux/portal/CastMetadata.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;

constexpr std::size_t buffer_limit = 64;  // of PipeWire
// How often a buffer that somebody reads is looked after once a newer one has come.
constexpr timespec giving_interval{0, 2'000'000};

// Whether anybody else holds it. If not, what they have read happened before.
bool IsShared(const std::shared_ptr<CastMemory>& memory) {
    // The count alone orders nothing, giving a reference up does.
    auto probe = memory;
    const bool shared = probe.use_count() > 2;
    probe.reset();
    return shared;
}

}  // namespace

// Listeners that the library links into its lists.
struct CastStream::Hooks {
    spa_hook stream{};
    spa_hook core{};
};

CastStream::CastStream(std::unique_ptr<CastPortal> portal, CastEvents& events)
    : portal_(std::move(portal)), events_(events), hooks_(std::make_unique<Hooks>()) {
    buffers_.reserve(buffer_limit);
}

CastStream::~CastStream() {
    if (!loop_) return;
    pw_loop* const loop = pw_thread_loop_get_loop(loop_);
    // The stream ends on the loop's thread, because without that thread PipeWire's data thread
    // would call the events itself. A call that is waited for gives up the lock meanwhile.
    const auto end = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* self) {
        auto& stream = *static_cast<CastStream*>(self);
        if (!stream.stream_) return 0;
        spa_hook_remove(&stream.hooks_->stream);
        pw_stream_destroy(stream.stream_);
        // Timers that fire until the loop stops find nothing to do.
        stream.lost_ = true;
        stream.buffers_.clear();
        return 0;
    };
    pw_thread_loop_lock(loop_);
    pw_loop_invoke(loop, end, 0, nullptr, 0, true, this);
    pw_thread_loop_unlock(loop_);
    // The rest ends after it, because the loop may be about to call the connection.
    pw_thread_loop_stop(loop_);
    if (reminder_) pw_loop_destroy_source(loop, reminder_);
    if (giver_) pw_loop_destroy_source(loop, giver_);
    if (bus_watch_) pw_loop_destroy_source(loop, bus_watch_);
    if (core_) {
        spa_hook_remove(&hooks_->core);
        pw_core_disconnect(core_);
    }
    if (context_) pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
}

bool CastStream::Start() {
    static std::once_flag once;
    std::call_once(once, [] { pw_init(nullptr, nullptr); });
    loop_ = pw_thread_loop_new("vimbrel-screen", nullptr);
    if (!loop_) return false;
    // Prepared before the thread runs, so that nothing is shared yet.
    return Connect() && pw_thread_loop_start(loop_) == 0;
}

bool CastStream::Connect() {
    static const pw_core_events core_events = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.error = OnCoreError;
        return events;
    }();
    static const pw_stream_events stream_events = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* self, pw_stream_state before, pw_stream_state state,
                                  const char* error) {
            OnStateChanged(self, before, state, error);
        };
        events.param_changed = OnParamChanged;
        events.add_buffer = OnAddBuffer;
        events.remove_buffer = OnRemoveBuffer;
        events.process = [](void* self) { static_cast<CastStream*>(self)->Process(); };
        return events;
    }();
    pw_loop* const loop = pw_thread_loop_get_loop(loop_);
    context_ = pw_context_new(loop, nullptr, 0);
    if (!context_) return false;
    // Takes the descriptor, also if it fails.
    core_ = pw_context_connect_fd(context_, portal_->TakeRemote(), nullptr, 0);
    if (!core_) return false;
    pw_core_add_listener(core_, &hooks_->core, &core_events, this);
    stream_ = pw_stream_new(core_, "vimbrel-screen",
                            pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                              "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr));
    if (!stream_) return false;
    pw_stream_add_listener(stream_, &hooks_->stream, &stream_events, this);
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    const spa_pod* offers[] = {OfferFormats(builder)};
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT);
    if (pw_stream_connect(stream_, PW_DIRECTION_INPUT, portal_->Node(), flags, offers, 1) < 0)
        return false;
    reminder_ = pw_loop_add_timer(loop, OnReminder, this);
    giver_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) { static_cast<CastStream*>(self)->GiveBack(); }, this);
    // What the bus connection has read already makes no descriptor readable.
    if (!portal_->Process()) return false;
    bus_watch_ = pw_loop_add_io(loop, portal_->Descriptor(), SPA_IO_IN | SPA_IO_HUP | SPA_IO_ERR,
                                false, OnBusReadable, this);
    return bus_watch_ && reminder_ && giver_;
}

void CastStream::Lose(const char* reason) {
    if (lost_) return;
    lost_ = true;
    APPLOG_STREAM(LOG_LEVEL_TRACE, "PipeWire - the screen's stream is lost: " << reason);
    events_.OnLost();
}

void CastStream::OnStateChanged(void* self, int, int state, const char* error) {
    auto& stream = *static_cast<CastStream*>(self);
    if (state == PW_STREAM_STATE_STREAMING) {
        stream.has_streamed_ = true;
        stream.Remind();
    } else if (state == PW_STREAM_STATE_ERROR) {
        stream.Lose(error ? error : "error");
    } else if (stream.reminding_) {
        stream.reminding_ = false;
        pw_stream_set_active(stream.stream_, true);
    } else if (stream.has_streamed_) {
        // Nothing here pauses the stream. When its producer dies, this is all that is seen.
        stream.Lose("its producer has stopped");
    }
}

// A producer sends its first picture as soon as it runs, and PipeWire drops it if this side does
// not run yet. Nothing else comes from a screen that is still, but a pause makes the producer begin
// again.
void CastStream::Remind() {
    timespec patience{0, 300'000'000};
    pw_loop_update_timer(pw_thread_loop_get_loop(loop_), reminder_, &patience, nullptr, false);
}

void CastStream::OnReminder(void* self, std::uint64_t) {
    auto& stream = *static_cast<CastStream*>(self);
    if (!stream.awaits_picture_ || stream.lost_) return;
    APPLOG_STREAM(LOG_LEVEL_TRACE, "PipeWire - no picture has come, the stream is begun again");
    stream.reminding_ = true;
    pw_stream_set_active(stream.stream_, false);
}

void CastStream::OnCoreError(void* self, std::uint32_t id, int, int, const char* message) {
    if (id == PW_ID_CORE) static_cast<CastStream*>(self)->Lose(message);
}

void CastStream::OnBusReadable(void* self, int, std::uint32_t) {
    auto& stream = *static_cast<CastStream*>(self);
    if (stream.portal_->Process()) return;
    // A descriptor that is at its end would wake the thread again and again.
    pw_loop_update_io(pw_thread_loop_get_loop(stream.loop_), stream.bus_watch_, 0);
    stream.Lose("the session was closed");
}

void CastStream::OnParamChanged(void* self, std::uint32_t id, const spa_pod* param) {
    if (param && id == SPA_PARAM_Format) static_cast<CastStream*>(self)->TakeFormat(param);
}

void CastStream::TakeFormat(const spa_pod* format) {
    spa_video_info_raw info{};
    if (spa_format_video_raw_parse(format, &info) < 0) return;
    awaits_picture_ = true;
    width_ = static_cast<int>(info.size.width);
    height_ = static_cast<int>(info.size.height);
    red_first_ = IsRedFirst(info.format);
    everything_changed_ = true;
    std::uint8_t memory[1024];
    spa_pod_builder builder;
    spa_pod_builder_init(&builder, memory, sizeof memory);
    auto params = OfferBuffers(builder);
    pw_stream_update_params(stream_, params.data(), params.size());
    if (has_streamed_) Remind();
}

// Mapped here rather than by PipeWire: a picture is read on other threads without a lock, also
// while the producer goes away.
void CastStream::OnAddBuffer(void* self, pw_buffer* buffer) {
    auto& stream = *static_cast<CastStream*>(self);
    if (stream.buffers_.size() == buffer_limit || buffer->buffer->n_datas < 1) return;
    const spa_data& data = buffer->buffer->datas[0];
    Buffer added{buffer, nullptr};
    if (data.type == SPA_DATA_MemFd) {
        added.memory = CastMemory::Map(static_cast<int>(data.fd), data.mapoffset, data.maxsize);
    } else if (data.type == SPA_DATA_MemPtr && data.data) {
        added.pooled = static_cast<const std::uint8_t*>(data.data);
        added.memory = CastMemory::Make(data.maxsize);
    }
    stream.buffers_.push_back(std::move(added));
}

void CastStream::OnRemoveBuffer(void* self, pw_buffer* buffer) {
    auto& stream = *static_cast<CastStream*>(self);
    if (const auto found = stream.Find(buffer); found != stream.buffers_.end())
        stream.buffers_.erase(found);
    if (stream.newest_ != buffer) return;
    stream.newest_ = nullptr;
    stream.everything_changed_ = true;
}

std::vector<CastStream::Buffer>::iterator CastStream::Find(const pw_buffer* buffer) {
    return std::find_if(buffers_.begin(), buffers_.end(),
                        [&](const Buffer& known) { return known.buffer == buffer; });
}

void CastStream::Process() {
    while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_)) {
        const auto taken = Find(buffer);
        if (taken != buffers_.end() && Take(*taken)) {
            taken->kept = true;
            newest_ = buffer;
        } else {
            pw_stream_queue_buffer(stream_, buffer);
        }
        GiveBack();
    }
}

void CastStream::GiveBack() {
    bool some_are_read = false;
    for (Buffer& known : buffers_) {
        if (!known.kept || known.buffer == newest_) continue;
        if (IsShared(known.memory)) {
            some_are_read = true;
            continue;
        }
        known.kept = false;
        pw_stream_queue_buffer(stream_, known.buffer);
    }
    if (!some_are_read) return;
    timespec patience = giving_interval;
    pw_loop_update_timer(pw_thread_loop_get_loop(loop_), giver_, &patience, nullptr, false);
}

bool CastStream::Take(const Buffer& taken) {
    const spa_buffer& buffer = *taken.buffer->buffer;
    CastFrame frame;
    CastCursor cursor;
    if (ReadCursor(buffer, cursor)) frame.cursor = &cursor;
    CastPicture picture;
    RECT visible{};
    if (ReadPicture(taken, picture, visible)) {
        frame.picture = &picture;
        std::size_t count = 0;
        const bool known = ReadDamage(buffer, visible, damage_, count) && !everything_changed_;
        everything_changed_ = false;
        awaits_picture_ = false;
        frame.damage = damage_.data();
        frame.damage_count = known ? count : 0;
    }
    if (frame.picture || frame.cursor) events_.OnFrame(frame);
    return frame.picture != nullptr;
}

// False if the buffer has none, as those that only report the pointer.
bool CastStream::ReadPicture(const Buffer& taken, CastPicture& picture, RECT& visible) {
    const spa_buffer& buffer = *taken.buffer->buffer;
    const spa_data& data = buffer.datas[0];
    const auto* header = FindMeta<spa_meta_header>(buffer, SPA_META_Header);
    if (header && header->seq != 0) {
        // Damage of a frame that never arrived is not known.
        if (last_sequence_ != 0 && header->seq != last_sequence_ + 1) everything_changed_ = true;
        last_sequence_ = header->seq;
    }
    const bool corrupted = (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) != 0 ||
                           (header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0);
    if (corrupted || data.chunk->size == 0 || !taken.memory) return false;
    visible = ReadVisibleArea(buffer, width_, height_);
    const std::int64_t stride = data.chunk->stride ? data.chunk->stride : std::int64_t{width_} * 4;
    const std::int64_t end = std::int64_t{data.chunk->offset} + stride * (visible.bottom - 1) +
                             std::int64_t{visible.right} * 4;
    if (IsRectEmpty(&visible) || stride < std::int64_t{width_} * 4 ||
        end > static_cast<std::int64_t>(taken.memory->Size()))
        return false;
    const std::int64_t begin = data.chunk->offset + visible.top * stride;
    if (taken.pooled) {
        std::memcpy(taken.memory->Bytes() + begin, taken.pooled + begin,
                    static_cast<std::size_t>(end - begin));
    }
    picture.stride = static_cast<std::ptrdiff_t>(stride);
    picture.pixels = taken.memory->Bytes() + begin + std::ptrdiff_t{visible.left} * 4;
    picture.width = visible.right - visible.left;
    picture.height = visible.bottom - visible.top;
    picture.red_first = red_first_;
    picture.memory = taken.memory;
    return true;
}

}  // namespace Vimbrel
