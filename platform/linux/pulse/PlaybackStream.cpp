#include "platform/linux/pulse/PlaybackStream.h"

#include <audioclient.h>
#include <pulse/stream.h>
#include <pulse/timeval.h>

#include <cmath>
#include <new>
#include <utility>

#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/PulseError.h"
#include "platform/linux/pulse/StreamFormat.h"

namespace Vimbrel {

namespace {

// Longer than a renderer writes ahead, so that it seldom waits.
constexpr std::uint32_t buffer_milliseconds = 400;

class PulsePlaybackStream final : public PlaybackStream {
public:
    PulsePlaybackStream(std::shared_ptr<PulseConnection> connection, const StreamFormat& format)
        : connection_(std::move(connection)),
          format_(format),
          frame_bytes_(static_cast<std::uint32_t>(pa_frame_size(&format.samples))),
          rate_(format.samples.rate) {}
    ~PulsePlaybackStream() override;

    HRESULT Connect(const std::string& sink);

    HRESULT Start() override { return Cork(false); }
    HRESULT Stop() override { return Cork(true); }
    HRESULT Flush() override;
    HRESULT SetRate(std::uint32_t frames_per_second) override;
    HRESULT Write(const void* data, std::size_t bytes) override;
    void Interrupt(bool on) override;
    HRESULT Latency(LONGLONG& latency) override;

private:
    HRESULT State() REQUIRES(connection_->Loop());
    HRESULT Cork(bool corked);
    // Sends the request without waiting for its end: the server works in order.
    HRESULT Request(pa_operation* operation, const char* step) REQUIRES(connection_->Loop());
    HRESULT WaitForRoom(std::size_t& room) REQUIRES(connection_->Loop());

    // The loop's thread holds the lock that the analysis misses here.
    static void OnChange(pa_stream*, void* self);
    static void OnRoom(pa_stream*, size_t, void* self);
    // Whether WaitForRoom has to look again. Waits ask it with the lock held.
    static bool EndsWait(void* self) NO_THREAD_SAFETY_ANALYSIS;

    const std::shared_ptr<PulseConnection> connection_;
    const StreamFormat format_;
    const std::uint32_t frame_bytes_;
    pa_stream* stream_ GUARDED_BY(connection_->Loop()) = nullptr;
    std::uint32_t rate_ GUARDED_BY(connection_->Loop());
    bool corked_ GUARDED_BY(connection_->Loop()) = true;
    bool interrupted_ GUARDED_BY(connection_->Loop()) = false;
};

}  // namespace

HRESULT PlaybackStream::Open(std::shared_ptr<PulseConnection> connection, const std::string& sink,
                             const WAVEFORMATEX& format, std::unique_ptr<PlaybackStream>& stream) {
    stream.reset();
    StreamFormat server_format{};
    HRESULT hr = StreamFormat::From(format, server_format);
    if (FAILED(hr)) return hr;
    std::unique_ptr<PulsePlaybackStream> made(
        new (std::nothrow) PulsePlaybackStream(std::move(connection), server_format));
    if (!made) return E_OUTOFMEMORY;
    hr = made->Connect(sink);
    if (SUCCEEDED(hr)) stream = std::move(made);
    return hr;
}

void PulsePlaybackStream::OnChange(pa_stream*, void* self) {
    static_cast<PulsePlaybackStream*>(self)->connection_->Signal();
}

void PulsePlaybackStream::OnRoom(pa_stream*, size_t, void* self) {
    static_cast<PulsePlaybackStream*>(self)->connection_->Signal();
}

HRESULT PulsePlaybackStream::Connect(const std::string& sink) {
    const PulseLock lock(connection_->Loop());
    HRESULT hr = connection_->State();
    if (FAILED(hr)) return hr;
    stream_ =
        pa_stream_new(connection_->Context(), "playback", &format_.samples, &format_.channels);
    if (!stream_) return connection_->LastError("new stream");
    pa_stream_set_state_callback(stream_, &PulsePlaybackStream::OnChange, this);
    pa_stream_set_write_callback(stream_, &PulsePlaybackStream::OnRoom, this);
    pa_buffer_attr buffer{};
    buffer.maxlength = buffer.minreq = static_cast<std::uint32_t>(-1);
    buffer.tlength = format_.samples.rate / 1000 * buffer_milliseconds * frame_bytes_;
    // Plays what there is at once: gaps are the sender's to fill.
    buffer.prebuf = 0;
    const auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE |
        PA_STREAM_VARIABLE_RATE | PA_STREAM_AUTO_TIMING_UPDATE);
    const char* const name = sink.empty() ? nullptr : sink.c_str();
    if (pa_stream_connect_playback(stream_, name, &buffer, flags, nullptr, nullptr) < 0)
        return connection_->LastError("connect stream");
    const auto settled = [](void* stream) {
        return pa_stream_get_state(static_cast<pa_stream*>(stream)) != PA_STREAM_CREATING;
    };
    hr = connection_->WaitUntil(settled, stream_, "connect stream");
    if (FAILED(hr)) return hr;
    if (pa_stream_get_state(stream_) != PA_STREAM_READY)
        return connection_->LastError("connect stream");
    // Some servers take another sink for a name that they do not have.
    const char* const connected = pa_stream_get_device_name(stream_);
    return sink.empty() || (connected && sink == connected) ? S_OK
                                                            : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
}

PulsePlaybackStream::~PulsePlaybackStream() {
    const PulseLock lock(connection_->Loop());
    if (!stream_) return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_write_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
}

HRESULT PulsePlaybackStream::State() {
    const HRESULT hr = connection_->State();
    if (FAILED(hr)) return hr;
    return pa_stream_get_state(stream_) == PA_STREAM_READY ? S_OK : AUDCLNT_E_DEVICE_INVALIDATED;
}

HRESULT PulsePlaybackStream::Request(pa_operation* operation, const char* step) {
    if (!operation) return connection_->LastError(step);
    pa_operation_unref(operation);
    return S_OK;
}

HRESULT PulsePlaybackStream::Cork(bool corked) {
    const PulseLock lock(connection_->Loop());
    const HRESULT hr = State();
    if (FAILED(hr)) return hr;
    // Who waits for room is patient for as long as the stream is stopped, and no longer.
    corked_ = corked;
    connection_->Signal();
    return Request(pa_stream_cork(stream_, corked, nullptr, nullptr), corked ? "cork" : "uncork");
}

HRESULT PulsePlaybackStream::Flush() {
    const PulseLock lock(connection_->Loop());
    const HRESULT hr = State();
    return FAILED(hr) ? hr : Request(pa_stream_flush(stream_, nullptr, nullptr), "flush");
}

HRESULT PulsePlaybackStream::SetRate(std::uint32_t frames_per_second) {
    const PulseLock lock(connection_->Loop());
    const HRESULT hr = State();
    rate_ = frames_per_second;
    return FAILED(hr)
               ? hr
               : Request(pa_stream_update_sample_rate(stream_, frames_per_second, nullptr, nullptr),
                         "update rate");
}

void PulsePlaybackStream::Interrupt(bool on) {
    const PulseLock lock(connection_->Loop());
    interrupted_ = on;
    connection_->Signal();
}

bool PulsePlaybackStream::EndsWait(void* self) {
    auto* const stream = static_cast<PulsePlaybackStream*>(self);
    return stream->interrupted_ || stream->corked_ || FAILED(stream->State()) ||
           pa_stream_writable_size(stream->stream_) >= stream->frame_bytes_;
}

HRESULT PulsePlaybackStream::WaitForRoom(std::size_t& room) {
    for (;;) {
        HRESULT hr = State();
        if (FAILED(hr)) return hr;
        if (interrupted_) return S_FALSE;
        room = pa_stream_writable_size(stream_) / frame_bytes_ * frame_bytes_;
        if (room > 0) return S_OK;
        if (corked_) {
            // It has no room until it starts or is interrupted.
            connection_->Loop().WaitUntil(PulseLoop::Clock::now() + std::chrono::hours(1));
            continue;
        }
        // A sink that is suspended, and a server that is frozen, never make room.
        hr = connection_->WaitUntil(&PulsePlaybackStream::EndsWait, this, "room");
        if (FAILED(hr)) return hr;
    }
}

HRESULT PulsePlaybackStream::Write(const void* data, std::size_t bytes) {
    const auto* next = static_cast<const std::uint8_t*>(data);
    const PulseLock lock(connection_->Loop());
    while (bytes > 0) {
        std::size_t room = 0;
        const HRESULT hr = WaitForRoom(room);
        if (hr != S_OK) return hr;
        const std::size_t part = bytes < room ? bytes : room;
        if (pa_stream_write(stream_, next, part, nullptr, 0, PA_SEEK_RELATIVE) < 0)
            return connection_->LastError("write");
        next += part;
        bytes -= part;
    }
    return S_OK;
}

HRESULT PulsePlaybackStream::Latency(LONGLONG& latency) {
    const PulseLock lock(connection_->Loop());
    const HRESULT hr = State();
    if (FAILED(hr)) return hr;
    const pa_timing_info* const info = pa_stream_get_timing_info(stream_);
    if (!info || info->read_index_corrupt || info->write_index_corrupt) return S_FALSE;
    // libpulse's own figure takes everything for bytes of the newest rate. After an underrun the
    // server has read beyond what was written, and the difference is negative.
    const auto waiting = static_cast<double>(info->write_index - info->read_index) / frame_bytes_;
    latency = std::llround(waiting / rate_ * 10'000'000.0) +
              static_cast<LONGLONG>(info->sink_usec + info->transport_usec) * 10;
    if (info->playing) latency -= static_cast<LONGLONG>(pa_timeval_age(&info->timestamp)) * 10;
    return S_OK;
}

}  // namespace Vimbrel
