#include "platform/linux/rtmp/LibrtmpSession.h"

#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <csignal>
#include <cstdlib>

#include "platform/linux/rtmp/LibrtmpStartup.h"

namespace Vimbrel {
namespace {

static_assert(static_cast<int>(ChunkHeader::Large) == RTMP_PACKET_SIZE_LARGE);
static_assert(static_cast<int>(ChunkHeader::Medium) == RTMP_PACKET_SIZE_MEDIUM);
static_assert(RtmpMessage::packet_head_size >= sizeof(RTMPPacket) + RTMP_MAX_HEADER_SIZE);

std::string Text(const AVal& value) {
    return value.av_val == nullptr
               ? std::string()
               : std::string(value.av_val, static_cast<std::size_t>(value.av_len));
}

AVal View(const std::string& text) {
    return {const_cast<char*>(text.data()), static_cast<int>(text.size())};
}

// librtmp writes to its socket in a way that would end the process when the link is lost. For this
// thread that is a result.
void BlockBrokenPipeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// Frees the body of a whole packet. Parts of one belong to the session.
struct BodyOwner {
    explicit BodyOwner(RTMPPacket& owned) : packet(owned) {}
    BodyOwner(const BodyOwner&) = delete;
    BodyOwner& operator=(const BodyOwner&) = delete;
    ~BodyOwner() { RTMPPacket_Free(&packet); }

    RTMPPacket& packet;
};

}  // namespace

void LibrtmpSession::Closer::operator()(RTMP* session) const {
    RTMP_Close(session);
    RTMP_Free(session);
}

std::unique_ptr<LibrtmpSession> LibrtmpSession::Create() {
    StartLibrtmp();
    BlockBrokenPipeSignal();
    RTMP* const session = RTMP_Alloc();
    if (session == nullptr) return nullptr;
    RTMP_Init(session);
    return std::unique_ptr<LibrtmpSession>(new LibrtmpSession(Handle(session)));
}

bool LibrtmpSession::SetTarget(const std::string& url, PublishingTarget& target) {
    url_ = url;
    if (RTMP_SetupURL(rtmp_.get(), url_.data()) == 0) return false;
    const auto& link = rtmp_->Link;
    target = {Text(link.app), Text(link.tcUrl), Text(link.pubUser), Text(link.pubPasswd)};
    return true;
}

// librtmp frees some of its own texts and not others: all are replaced by ours.
bool LibrtmpSession::Connect(const PublishingRequest& request) {
    request_ = request;
    RTMP_EnableWrite(rtmp_.get());
    auto& link = rtmp_->Link;
    if (request_.timeout_seconds != 0) link.timeout = request_.timeout_seconds;
    link.lFlags |= RTMP_LF_LIVE | RTMP_LF_BUFX;
    if ((link.lFlags & RTMP_LF_FAPU) != 0) std::free(link.app.av_val);
    if ((link.lFlags & RTMP_LF_FTCU) != 0) std::free(link.tcUrl.av_val);
    link.lFlags &= ~(RTMP_LF_FAPU | RTMP_LF_FTCU);
    link.app = View(request_.application);
    link.tcUrl = View(request_.target_url);
    link.swfUrl = View(request_.player_url);
    link.flashVer = View(request_.client);
    return RTMP_Connect(rtmp_.get(), nullptr) != 0;
}

// Does what RTMP_ConnectStream does, except for refusals: librtmp's own answer to a login writes
// beyond its memory, and after other refusals it waits for another command.
bool LibrtmpSession::OpenStream(const CommandCheck& check) {
    RTMPPacket packet{};
    while (rtmp_->m_bPlaying == 0 && IsConnected() && RTMP_ReadPacket(rtmp_.get(), &packet) != 0) {
        if (!RTMPPacket_IsReady(&packet) || packet.m_nBodySize == 0) continue;
        const BodyOwner owner(packet);
        if (!HandlePacket(packet, check)) return false;
    }
    return rtmp_->m_bPlaying != 0;
}

bool LibrtmpSession::HandlePacket(RTMPPacket& packet, const CommandCheck& check) {
    CommandVerdict verdict = CommandVerdict::Handle;
    if (packet.m_packetType == RTMP_PACKET_TYPE_INVOKE)
        verdict = check({reinterpret_cast<const std::uint8_t*>(packet.m_body), packet.m_nBodySize});
    if (verdict == CommandVerdict::Handle) RTMP_ClientPacket(rtmp_.get(), &packet);
    return verdict != CommandVerdict::Refuse;
}

bool LibrtmpSession::LimitSending() {
    const timeval limit{rtmp_->Link.timeout, 0};
    return setsockopt(RTMP_Socket(rtmp_.get()), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0;
}

int LibrtmpSession::Send(const OutgoingMessage& message) {
    RTMPPacket packet{};
    packet.m_headerType = static_cast<std::uint8_t>(message.header);
    packet.m_packetType = message.content.MessageType();
    packet.m_nChannel = message.channel;
    packet.m_nTimeStamp = message.time_ms;
    packet.m_nInfoField2 = message.of_stream ? rtmp_->m_stream_id : 0;
    packet.m_nBodySize = static_cast<std::uint32_t>(message.content.Size());
    packet.m_body = reinterpret_cast<char*>(message.content.Body());
    return RTMP_SendPacket(rtmp_.get(), &packet, 1);
}

void LibrtmpSession::SetChunkSize(std::uint32_t bytes) {
    rtmp_->m_outChunkSize = static_cast<int>(bytes);
}

std::unique_ptr<PublishingSession> CreatePublishingSession() { return LibrtmpSession::Create(); }

}  // namespace Vimbrel
