#include "platform/linux/pulse/RecordStream.h"

#include <audioclient.h>
#include <pulse/introspect.h>
#include <pulse/stream.h>
#include <pulse/volume.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "platform/linux/pulse/CaptureQueue.h"
#include "platform/linux/pulse/FrameClock.h"
#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/PulseError.h"
#include "platform/linux/pulse/StreamFormat.h"

namespace Vimbrel {

namespace {

// What one packet has, and what is kept for a reader that does not come. The server's own packet
// length is two seconds.
constexpr std::uint32_t packets_per_second = 100;
constexpr std::uint32_t buffer_seconds = 10;
// Servers may send less at a time than was asked for.
constexpr std::size_t most_packets = std::size_t{4} * buffer_seconds * packets_per_second;

LONGLONG Now() {
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

class PulseRecordStream final : public RecordStream {
public:
    PulseRecordStream(std::shared_ptr<PulseConnection> connection, const StreamFormat& format)
        : connection_(std::move(connection)),
          format_(format),
          frame_bytes_(static_cast<std::uint32_t>(pa_frame_size(&format.samples))),
          clock_(format.samples.rate),
          queue_(frame_bytes_, buffer_seconds * format.samples.rate, most_packets) {}
    ~PulseRecordStream() override;

    HRESULT Connect(const std::string& source);

    HRESULT Start() override;
    HRESULT Stop() override;
    HRESULT Peek(Packet& packet) override;
    HRESULT Drop() override;
    HRESULT Waiting(std::uint32_t& frames) override;
    HRESULT SetVolume(double level) override;
    std::uint32_t BufferFrames() const override { return buffer_seconds * format_.samples.rate; }

private:
    HRESULT State() REQUIRES(connection_->Loop());
    HRESULT LastError(const char* step) REQUIRES(connection_->Loop()) {
        return connection_->LastError(step);
    }
    HRESULT Request(pa_operation* operation, const bool& succeeded, const char* step,
                    Patience patience = Patience::usual) REQUIRES(connection_->Loop());

    // libpulse's callbacks have the lock, which the analysis misses here.
    static void OnState(pa_stream* stream, void* self) NO_THREAD_SAFETY_ANALYSIS;
    static void OnPacket(pa_stream*, size_t, void* self) NO_THREAD_SAFETY_ANALYSIS;
    static void OnSuspended(pa_stream*, void* self) NO_THREAD_SAFETY_ANALYSIS;
    // False if there was nothing.
    bool Collect() REQUIRES(connection_->Loop());

    const std::shared_ptr<PulseConnection> connection_;
    const StreamFormat format_;
    const std::uint32_t frame_bytes_;
    pa_stream* stream_ GUARDED_BY(connection_->Loop()) = nullptr;
    bool ended_ GUARDED_BY(connection_->Loop()) = false;  // the device is gone, or the server
    bool running_ GUARDED_BY(connection_->Loop()) = false;
    LONGLONG arrival_ GUARDED_BY(connection_->Loop()) = 0;  // of the newest packet
    FrameClock clock_ GUARDED_BY(connection_->Loop());
    CaptureQueue queue_ GUARDED_BY(connection_->Loop());
    bool peeked_ GUARDED_BY(connection_->Loop()) = false;   // the front of the queue
    bool dropped_ GUARDED_BY(connection_->Loop()) = false;  // a packet, since the last Peek
};

void OnSucceeded(pa_stream*, int success, void* succeeded) {
    *static_cast<bool*>(succeeded) = success != 0;
}

}  // namespace

HRESULT RecordStream::Open(std::shared_ptr<PulseConnection> connection, const std::string& source,
                           const WAVEFORMATEX& format, std::unique_ptr<RecordStream>& stream) try {
    stream.reset();
    StreamFormat server_format{};
    HRESULT hr = StreamFormat::From(format, server_format);
    if (FAILED(hr)) return hr;
    std::unique_ptr<PulseRecordStream> made(
        new (std::nothrow) PulseRecordStream(std::move(connection), server_format));
    if (!made) return E_OUTOFMEMORY;
    hr = made->Connect(source);
    if (SUCCEEDED(hr)) stream = std::move(made);
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

void PulseRecordStream::OnState(pa_stream* stream, void* self) {
    auto& record = *static_cast<PulseRecordStream*>(self);
    record.ended_ = !PA_STREAM_IS_GOOD(pa_stream_get_state(stream));
    record.connection_->Signal();
}

void PulseRecordStream::OnPacket(pa_stream*, size_t, void* self) {
    auto& stream = *static_cast<PulseRecordStream*>(self);
    const LONGLONG now = Now();
    if (stream.Collect()) stream.arrival_ = now;
}

// Copies, since the server is to have its memory back while the reader has the packet.
bool PulseRecordStream::Collect() {
    bool some = false;
    const void* data = nullptr;
    size_t bytes = 0;
    while (pa_stream_peek(stream_, &data, &bytes) >= 0 && bytes > 0) {
        if (running_) {
            queue_.Push(data, static_cast<std::uint32_t>(bytes / frame_bytes_));
            some = true;
        }
        pa_stream_drop(stream_);
    }
    return some;
}

// What follows was recorded after a pause that nothing else reports.
void PulseRecordStream::OnSuspended(pa_stream*, void* self) {
    static_cast<PulseRecordStream*>(self)->clock_.Restart();
}

HRESULT PulseRecordStream::Connect(const std::string& source) {
    const PulseLock lock(connection_->Loop());
    HRESULT hr = connection_->State();
    if (FAILED(hr)) return hr;
    stream_ = pa_stream_new(connection_->Context(), "capture", &format_.samples, &format_.channels);
    if (!stream_) return LastError("new stream");
    pa_stream_set_state_callback(stream_, &PulseRecordStream::OnState, this);
    pa_stream_set_read_callback(stream_, &PulseRecordStream::OnPacket, this);
    pa_stream_set_suspended_callback(stream_, &PulseRecordStream::OnSuspended, this);
    const std::uint32_t second = format_.samples.rate * frame_bytes_;
    pa_buffer_attr buffer{};
    buffer.maxlength = buffer_seconds * second;
    buffer.fragsize = format_.samples.rate / packets_per_second * frame_bytes_;
    const auto flags = static_cast<pa_stream_flags_t>(
        PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream_, source.c_str(), &buffer, flags) < 0)
        return LastError("connect stream");
    const auto settled = [](void* stream) {
        return pa_stream_get_state(static_cast<pa_stream*>(stream)) != PA_STREAM_CREATING;
    };
    hr = connection_->WaitUntil(settled, stream_, "connect stream");
    if (FAILED(hr)) return hr;
    if (pa_stream_get_state(stream_) != PA_STREAM_READY) return LastError("connect stream");
    // Some servers take another source for a name that they do not have.
    const char* const connected = pa_stream_get_device_name(stream_);
    return connected && source == connected ? S_OK : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
}

PulseRecordStream::~PulseRecordStream() {
    const PulseLock lock(connection_->Loop());
    if (!stream_) return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_set_suspended_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    connection_->Loop().Rouse();
}

HRESULT PulseRecordStream::State() {
    const HRESULT hr = connection_->State();
    if (FAILED(hr)) return hr;
    return pa_stream_get_state(stream_) == PA_STREAM_READY ? S_OK : AUDCLNT_E_DEVICE_INVALIDATED;
}

HRESULT PulseRecordStream::Request(pa_operation* operation, const bool& succeeded, const char* step,
                                   Patience patience) {
    const HRESULT hr = connection_->Finish(operation, step, patience);
    if (FAILED(hr)) return hr;
    if (succeeded) return S_OK;
    const HRESULT state = State();
    return FAILED(state) ? state : LastError(step);
}

HRESULT PulseRecordStream::Start() {
    const PulseLock lock(connection_->Loop());
    HRESULT hr = State();
    if (FAILED(hr)) return hr;
    if (running_) return AUDCLNT_E_NOT_STOPPED;
    clock_.Restart();
    // Packets may arrive before the answer.
    running_ = true;
    bool succeeded = false;
    hr = Request(pa_stream_cork(stream_, 0, &OnSucceeded, &succeeded), succeeded, "uncork");
    if (SUCCEEDED(hr)) return hr;
    running_ = false;
    peeked_ = false;
    queue_.Clear();
    return hr;
}

HRESULT PulseRecordStream::Stop() {
    const PulseLock lock(connection_->Loop());
    if (!running_) return S_FALSE;
    running_ = false;
    peeked_ = false;
    queue_.Clear();
    HRESULT hr = State();
    if (FAILED(hr)) return hr;
    // The server works in order: with the end of the second the first has ended as well.
    bool corked = false;
    bool flushed = false;
    pa_operation* const cork = pa_stream_cork(stream_, 1, &OnSucceeded, &corked);
    pa_operation* const flush = pa_stream_flush(stream_, &OnSucceeded, &flushed);
    hr = Request(flush, flushed, "flush", Patience::brief);
    if (SUCCEEDED(hr) && !corked) hr = LastError("cork");
    if (cork) {
        // Its result is a variable of this function.
        pa_operation_cancel(cork);
        pa_operation_unref(cork);
    }
    return hr;
}

HRESULT PulseRecordStream::SetVolume(double level) {
    const PulseLock lock(connection_->Loop());
    const HRESULT hr = State();
    if (FAILED(hr)) return hr;
    const double percent = std::clamp(level, 0.0, 1.0);
    pa_cvolume volume;
    pa_cvolume_set(&volume, format_.samples.channels,
                   static_cast<pa_volume_t>(std::lround(percent * PA_VOLUME_NORM)));
    bool succeeded = false;
    const auto done = [](pa_context*, int success, void* result) {
        *static_cast<bool*>(result) = success != 0;
    };
    pa_operation* const operation = pa_context_set_source_output_volume(
        connection_->Context(), pa_stream_get_index(stream_), &volume, done, &succeeded);
    return Request(operation, succeeded, "volume");
}

HRESULT PulseRecordStream::Peek(Packet& packet) {
    packet = {};
    const PulseLock lock(connection_->Loop());
    // Nothing has come since the reader took the last packet a moment ago.
    if (!queue_.Front() && !std::exchange(dropped_, false)) connection_->Loop().Turn();
    while (const CaptureQueue::Packet* const front = queue_.Front()) {
        if (!peeked_) clock_.Arrived(arrival_, queue_.Frames());
        if (front->data) {
            peeked_ = true;
            packet = {front->data, front->frames, clock_.After(0), clock_.After(front->frames)};
            return S_OK;
        }
        // A hole: nothing was recorded for so long.
        clock_.Take(front->frames);
        queue_.Pop();
    }
    // Only then, since each question to libpulse is a system call or two.
    return ended_ ? State() : S_OK;
}

HRESULT PulseRecordStream::Drop() {
    const PulseLock lock(connection_->Loop());
    if (!std::exchange(peeked_, false)) return S_OK;
    clock_.Take(queue_.Front()->frames);
    queue_.Pop();
    dropped_ = true;
    return S_OK;
}

HRESULT PulseRecordStream::Waiting(std::uint32_t& frames) {
    frames = 0;
    const PulseLock lock(connection_->Loop());
    connection_->Loop().Turn();
    const HRESULT hr = State();
    if (FAILED(hr)) return hr;
    frames = static_cast<std::uint32_t>(queue_.Frames());
    return S_OK;
}

}  // namespace Vimbrel
