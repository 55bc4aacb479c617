// A publishing session without a network: the test says how it answers, and reads what was sent.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Source/cast/PublishingSession.h"
#include "base/ThreadSafety.h"

namespace Vimbrel::test {

struct SentMessage {
    RtmpMessage::Type type;
    std::uint8_t channel;
    bool of_stream;
    ChunkHeader header;
    std::uint32_t time;
    std::vector<std::uint8_t> body;
};

// The other end of all sessions that its factory makes. Outlives them.
class FakePublishingServer {
public:
    PublishingSessionFactory Factory();

    // Settings for before the sessions.
    bool takes_url = true;
    bool connects = true;
    bool opens = true;
    PublishingTarget target{"live", "rtmp://host/live", "", ""};
    // The commands that a connection gets before its stream is opened.
    std::function<std::vector<std::string>(const PublishingRequest& request)> commands;
    // Called with each message, before it is kept; what Send returns.
    std::function<int(const SentMessage& message)> on_send;

    // For any thread, at any time.
    std::atomic<bool> connected{true};
    std::atomic<bool> timed_out{false};
    std::atomic<int> sessions{0};  // made so far
    std::atomic<int> alive{0};
    std::atomic<std::uint32_t> chunk_size{128};

    std::vector<PublishingRequest> Requests();
    std::vector<CommandVerdict> Verdicts();
    std::vector<SentMessage> Sent();
    // Waits until so many messages were sent. False if that takes longer than a test may wait.
    bool WaitForMessages(std::size_t count);

private:
    friend class FakePublishingSession;

    Mutex mutex_;
    Condition changed_;
    std::vector<PublishingRequest> requests_ GUARDED_BY(mutex_);
    std::vector<CommandVerdict> verdicts_ GUARDED_BY(mutex_);
    std::vector<SentMessage> sent_ GUARDED_BY(mutex_);
};

}  // namespace Vimbrel::test
