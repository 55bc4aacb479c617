// One publishing session of the protocol's library. Used by one thread, which no longer gets
// SIGPIPE once it has connected.
#pragma once

#include <librtmp/rtmp.h>

#include <memory>
#include <string>

#include "Source/cast/PublisherLogin.h"
#include "Source/cast/RtmpMessage.h"

namespace Vimbrel {

class RtmpSession {
public:
    RtmpSession() = default;
    RtmpSession(const RtmpSession&) = delete;
    RtmpSession& operator=(const RtmpSession&) = delete;

    // A RTMPCastStatus. The strings must stay as long as the session: it keeps pointers into them,
    // and edits `url`.
    int Connect(std::string& url, const std::string& user, const std::string& password);
    // With a stream open, the server is told of its end.
    void Close() { rtmp.reset(); }
    // False without a session, if the link is lost, or if the server has not answered in time.
    bool IsAlive() const;
    // What the library returns: 1 if the message was sent, 0 if not.
    int Send(RtmpMessage& message, std::uint8_t header_type, std::uint32_t time_ms);
    // Outgoing chunks of this size from here on; the server is told.
    bool SetChunkSize(std::uint32_t bytes);

private:
    struct Closer {
        void operator()(RTMP* session) const;
    };

    int Publish(std::string& url);
    PublisherLogin Publisher(const std::string& user, const std::string& password) const;
    bool OpenStream();
    bool IsRefusal(const RTMPPacket& packet);
    void SetTarget();
    bool LimitSending() const;

    std::string flash_version;
    std::string login;           // behind the application's name
    std::string login_question;  // the server's words, if it asked for a login
    std::string application, target_url, player_url;
    std::unique_ptr<RTMP, Closer> rtmp;
    // Seconds. Nothing sets it: sending waits as long as the network takes.
    const int send_timeout = 0;
};

}  // namespace Vimbrel
