// The network side of a cast: one connection to a server, on which one stream is published.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Source/cast/RtmpMessage.h"

namespace Vimbrel {

// What a URL names.
struct PublishingTarget {
    std::string application;
    std::string url;             // of the application, without the stream's name
    std::string user, password;  // from the URL's options; empty if it has none
};

struct PublishingRequest {
    std::string application;
    std::string target_url;
    std::string player_url;
    std::string client;       // name and version that the server sees
    int timeout_seconds = 0;  // of waits for the server; 0 for the session's own limit
};

enum class ChunkHeader : std::uint8_t {
    Large = 0,   // absolute time
    Medium = 1,  // time relative to the message before
};

struct OutgoingMessage {
    RtmpMessage& content;
    std::uint8_t channel;
    bool of_stream;  // carries the stream's number; control messages carry 0
    ChunkHeader header;
    std::uint32_t time_ms;
};

enum class CommandVerdict {
    Handle,  // the session goes on as the protocol says
    Ignore,
    Refuse,  // the stream is not opened
};

// Looks at the AMF0 body of each command that the server sends.
using CommandCheck = std::function<CommandVerdict(ByteSpan body)>;

// Calls come in the order in which they are declared, on one thread. Destruction closes the
// connection; an open stream is ended first.
class PublishingSession {
public:
    PublishingSession() = default;
    PublishingSession(const PublishingSession&) = delete;
    PublishingSession& operator=(const PublishingSession&) = delete;
    virtual ~PublishingSession() = default;

    // False if the URL cannot be parsed.
    virtual bool SetTarget(const std::string& url, PublishingTarget& target) = 0;
    // Connects, by TLS where the URL says so, and sends the request.
    virtual bool Connect(const PublishingRequest& request) = 0;
    // Waits until the server lets the stream be published. False if it does not, or if `check`
    // refuses one of its commands.
    virtual bool OpenStream(const CommandCheck& check) = 0;
    // Applies the request's time limit to sending as well.
    virtual bool LimitSending() = 0;

    virtual bool IsConnected() const = 0;
    virtual bool HasTimedOut() const = 0;
    // 1 if the message was sent, 0 if not. Waits for the network.
    virtual int Send(const OutgoingMessage& message) = 0;
    // The size of the chunks of later messages. The caller announces it in a separate message.
    virtual void SetChunkSize(std::uint32_t bytes) = 0;
};

// May return null.
using PublishingSessionFactory = std::function<std::unique_ptr<PublishingSession>()>;

// The platform's.
std::unique_ptr<PublishingSession> CreatePublishingSession();

}  // namespace Vimbrel
