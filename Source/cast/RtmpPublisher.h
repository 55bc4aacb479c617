// Publishes one stream: connects, logs in where the server asks for it, and sends messages.
#pragma once

#include <memory>
#include <string>

#include "Source/cast/PublishingSession.h"
#include "Source/cast/RtmpMessage.h"

namespace Vimbrel {

// Used by one thread.
class RtmpPublisher {
public:
    // `factory` is called for each connection.
    explicit RtmpPublisher(PublishingSessionFactory factory) : make_session(std::move(factory)) {}
    RtmpPublisher(const RtmpPublisher&) = delete;
    RtmpPublisher& operator=(const RtmpPublisher&) = delete;

    // A RTMPCastStatus. User and password win over those in the URL's options.
    int Connect(const std::string& url, const std::string& user, const std::string& password);
    // Announces the end of an open stream to the server.
    void Close() { session.reset(); }
    // False without a session, if the link is lost, or if the server has not answered in time.
    bool IsAlive() const;
    // 1 if the message was sent, 0 if not.
    int Send(RtmpMessage& message, ChunkHeader header, std::uint32_t time_ms);
    // Announces the size to the server and uses it for later chunks.
    bool SetChunkSize(std::uint32_t bytes);

private:
    int Publish(const std::string& url);
    CommandVerdict Judge(ByteSpan command);

    const PublishingSessionFactory make_session;
    std::unique_ptr<PublishingSession> session;
    PublishingTarget target;
    PublishingRequest request;
    std::string login;           // appended to the application's name
    std::string login_question;  // the server's words, if it asked for a login
    // Seconds. Nothing sets it: sending waits as long as the network takes.
    const int send_timeout = 0;
};

}  // namespace Vimbrel
