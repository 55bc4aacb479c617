// The thread of a cast that connects and sends, and the queue of encoded frames before it.
#pragma once

#include <windows.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Source/cast/CastEncoders.h"
#include "Source/cast/RtmpPublisher.h"
#include "Source/cast/StreamFraming.h"
#include "base/ThreadSafety.h"

namespace Vimbrel {

struct CastServer {
    std::string url, user, password;
};

// An object serves one stream. What is queued is never dropped while the stream stands: a slow
// network costs memory and delay. The mutex is not held over a call of anything else.
class StreamSender {
public:
    // The encoders outlive the object. `counters` is not null.
    StreamSender(CastEncoders& encoders, const RTMPCastOptions& options,
                 std::shared_ptr<RTMPCastProgress> counters, PublishingSessionFactory factory);
    StreamSender(const StreamSender&) = delete;
    StreamSender& operator=(const StreamSender&) = delete;
    ~StreamSender();

    // Called on the sending thread if the link is lost, with the encoders stopped.
    void SetCallback(std::function<void(int)> function) { callback = std::move(function); }
    // A RTMPCastStatus. Waits for the connection; on a failure the encoders are stopped.
    int Start(const CastServer& server, bool with_audio);
    // Drops what waits, and waits for the message that is on its way. Nothing without a stream. Two
    // threads may stop it at once.
    void Stop();
    bool IsConnected() const { return connected; }
    // Takes the frame. A stop order drops what waits and ends the thread. Any thread.
    void Queue(encoded_frame_ptr& frame);
    const BitRateMeter& BitRate() const { return bit_rate; }

private:
    void Run(const CastServer& server, bool with_audio);
    int Connect(const CastServer& server, bool with_audio);
    encoded_frame_ptr NextFrame();
    bool Process(const encoded_frame& frame);
    void OrderStop();
    void Join();

    CastEncoders& encoders;
    const std::shared_ptr<RTMPCastProgress> progress;
    std::function<void(int)> callback;
    RtmpPublisher publisher;
    BitRateMeter bit_rate;
    const std::unique_ptr<StreamFraming> framing;
    int start_status = RTMPCAST_OK;  // not written after `started` is signalled
    bool link_lost = false;          // of the thread alone
    std::atomic<bool> connected = false;
    HANDLE started;

    Mutex mutex;
    Condition queue_changed;
    std::deque<encoded_frame_ptr> queue GUARDED_BY(mutex);  // oldest first
    bool stop_ordered GUARDED_BY(mutex) = false;

    Mutex join_lock;  // taken alone
    std::thread thread GUARDED_BY(join_lock);
};

}  // namespace Vimbrel
