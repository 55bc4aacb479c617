// A publishing session on librtmp.
#pragma once

#include <librtmp/rtmp.h>

#include <memory>
#include <string>
#include <utility>

#include "Source/cast/PublishingSession.h"

namespace Vimbrel {

// Used by one thread, which no longer gets SIGPIPE once it has connected.
class LibrtmpSession final : public PublishingSession {
public:
    // Null if there is no memory.
    static std::unique_ptr<LibrtmpSession> Create();

    bool SetTarget(const std::string& url, PublishingTarget& target) override;
    bool Connect(const PublishingRequest& request) override;
    bool OpenStream(const CommandCheck& check) override;
    bool LimitSending() override;
    bool IsConnected() const override { return RTMP_IsConnected(rtmp_.get()) != 0; }
    bool HasTimedOut() const override { return RTMP_IsTimedout(rtmp_.get()) != 0; }
    int Send(const OutgoingMessage& message) override;
    void SetChunkSize(std::uint32_t bytes) override;

private:
    struct Closer {
        void operator()(RTMP* session) const;
    };

    using Handle = std::unique_ptr<RTMP, Closer>;

    explicit LibrtmpSession(Handle session) : rtmp_(std::move(session)) {}
    bool HandlePacket(RTMPPacket& packet, const CommandCheck& check);

    // librtmp keeps pointers into both, and edits the URL.
    std::string url_;
    PublishingRequest request_;
    const Handle rtmp_;
};

}  // namespace Vimbrel
