#include "tests/fakes/FakePublishingSession.h"

#include <chrono>

namespace Vimbrel::test {

class FakePublishingSession final : public PublishingSession {
public:
    explicit FakePublishingSession(FakePublishingServer& other_end) : server(other_end) {
        ++server.sessions;
        ++server.alive;
    }
    ~FakePublishingSession() override { --server.alive; }

    bool SetTarget(const std::string&, PublishingTarget& target) override {
        target = server.target;
        return server.takes_url;
    }
    bool Connect(const PublishingRequest& asked) override {
        request = asked;
        const MutexLock lock(server.mutex_);
        server.requests_.push_back(asked);
        return server.connects;
    }
    bool OpenStream(const CommandCheck& check) override {
        if (server.commands) {
            for (const std::string& command : server.commands(request)) {
                const CommandVerdict verdict =
                    check({reinterpret_cast<const std::uint8_t*>(command.data()), command.size()});
                const MutexLock lock(server.mutex_);
                server.verdicts_.push_back(verdict);
                if (verdict == CommandVerdict::Refuse) return false;
            }
        }
        return server.opens;
    }
    bool LimitSending() override { return true; }
    bool IsConnected() const override { return server.connected; }
    bool HasTimedOut() const override { return server.timed_out; }
    int Send(const OutgoingMessage& message) override {
        const ByteSpan body = message.content.Bytes();
        const SentMessage sent{message.content.MessageType(),
                               message.channel,
                               message.of_stream,
                               message.header,
                               message.time_ms,
                               {body.begin(), body.end()}};
        const int result = server.on_send ? server.on_send(sent) : 1;
        const MutexLock lock(server.mutex_);
        server.sent_.push_back(sent);
        server.changed_.NotifyAll();
        return result;
    }
    void SetChunkSize(std::uint32_t bytes) override { server.chunk_size = bytes; }

private:
    FakePublishingServer& server;
    PublishingRequest request;
};

PublishingSessionFactory FakePublishingServer::Factory() {
    return [this] { return std::make_unique<FakePublishingSession>(*this); };
}

std::vector<PublishingRequest> FakePublishingServer::Requests() {
    const MutexLock lock(mutex_);
    return requests_;
}

std::vector<CommandVerdict> FakePublishingServer::Verdicts() {
    const MutexLock lock(mutex_);
    return verdicts_;
}

std::vector<SentMessage> FakePublishingServer::Sent() {
    const MutexLock lock(mutex_);
    return sent_;
}

bool FakePublishingServer::WaitForMessages(std::size_t count) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    MutexLock lock(mutex_);
    while (sent_.size() < count) {
        if (!changed_.WaitUntil(lock, limit)) return sent_.size() >= count;
    }
    return true;
}

}  // namespace Vimbrel::test
