#include "Source/cast/StreamSender.h"

#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "base/Clock.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

StreamSender::StreamSender(CastEncoders& sources, const RTMPCastOptions& options,
                           std::shared_ptr<RTMPCastProgress> counters,
                           PublishingSessionFactory factory)
    : encoders(sources),
      progress(std::move(counters)),
      publisher(std::move(factory)),
      framing(StreamFraming::Create(options.framing, {publisher, sources, bit_rate})),
      started(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

StreamSender::~StreamSender() {
    Stop();
    // A thread that ended by itself may still be in the callback.
    Join();
    CloseHandle(started);
}

int StreamSender::Start(const CastServer& server, bool with_audio) {
    bit_rate.Reset();
    try {
        const MutexLock lock(join_lock);
        thread = std::thread([this, &server, with_audio] { Run(server, with_audio); });
    } catch (const std::bad_alloc&) {
        encoders.Stop();
        return RTMPCAST_CONNECTION_FAILED;
    } catch (const std::system_error&) {
        // Kept: without a thread the wait below has no end, because hosts know no result for it.
    }
    WaitForSingleObject(started, INFINITE);
    return start_status;
}

void StreamSender::Stop() {
    // After a lost link the thread has ended by itself, or is about to.
    if (!connected) return;
    OrderStop();
    Join();
}

void StreamSender::Join() {
    const MutexLock lock(join_lock);
    if (thread.joinable()) thread.join();
}

void StreamSender::OrderStop() {
    const MutexLock lock(mutex);
    queue.clear();
    stop_ordered = true;
    queue_changed.NotifyAll();
}

void StreamSender::Queue(encoded_frame_ptr& frame) {
    if (frame->type == encoded_frame::type_stop) {
        frame.reset();
        OrderStop();
        return;
    }
    if (frame->type == encoded_frame::type_aac)
        frame->time = Clock::Current().TimeMilliseconds() * ticks_per_ms;
    const MutexLock lock(mutex);
    queue.push_back(std::move(frame));
    queue_changed.NotifyAll();
}

// Null once the stop was ordered.
encoded_frame_ptr StreamSender::NextFrame() {
    MutexLock lock(mutex);
    while (queue.empty() && !stop_ordered) queue_changed.Wait(lock);
    if (stop_ordered) return nullptr;
    encoded_frame_ptr frame = std::move(queue.front());
    queue.pop_front();
    return frame;
}

int StreamSender::Connect(const CastServer& server, bool with_audio) {
    int result = RTMPCAST_CONNECTION_FAILED;
    try {
        result = publisher.Connect(server.url, server.user, server.password);
        if (result == RTMPCAST_OK && !framing->Begin(with_audio)) result = RTMPCAST_STREAM_FAILED;
    } catch (const std::exception&) {
        // No memory, or no random numbers for a login.
        result = RTMPCAST_CONNECTION_FAILED;
    }
    if (result == RTMPCAST_OK) return result;
    encoders.Stop();
    publisher.Close();
    try {
        APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_ERROR, "RTMP on_start failed: " << result);
    } catch (const std::bad_alloc&) {
        // Without memory for a record the result alone reports it.
    }
    return result;
}

void StreamSender::Run(const CastServer& server, bool with_audio) {
    start_status = Connect(server, with_audio);
    const bool streaming = start_status == RTMPCAST_OK;
    // Before `started`, so that the first sample after Start is not ignored.
    connected = streaming;
    SetEvent(started);
    if (!streaming) return;
    for (encoded_frame_ptr frame = NextFrame(); frame && Process(*frame); frame = NextFrame()) {
    }
    publisher.Close();
    connected = false;
    if (link_lost && callback) callback(RTMPCAST_CONNECTION_FAILED);
}

// False ends the stream. A frame for whose messages there is no memory is lost.
bool StreamSender::Process(const encoded_frame& frame) {
    if (!publisher.IsAlive()) {
        encoders.Stop();
        link_lost = true;
        return false;
    }
    try {
        if (frame.type == encoded_frame::type_aac) return framing->SendSound(frame);
        const std::uint64_t before = framing->SentPictures();
        const bool goes_on = framing->SendPicture(frame);
        progress->sent += framing->SentPictures() - before;
        return goes_on;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

}  // namespace Vimbrel
