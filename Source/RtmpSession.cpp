#include "Source/RtmpSession.h"

#include <librtmp/log.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "vimbrel/AppLog.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {
namespace {

constexpr int media_channel = 4;
constexpr int control_channel = 2;

AVal View(const std::string& text) { return {const_cast<char*>(text.data()), static_cast<int>(text.size())}; }

// The library's own words, which would go to the standard error. What it says at its lower levels may hold passwords.
void Log(int level, const char* format, va_list arguments) {
    if (level > RTMP_LOGWARNING) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "RTMP: " << text);
}

// What the library does once in a process, it does unguarded when the first session is made.
void InitializeOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        RTMP_LogSetCallback(Log);
        RTMP_LogSetLevel(RTMP_LOGWARNING);
        if (RTMP* session = RTMP_Alloc()) {
            RTMP_Init(session);
            RTMP_Free(session);
        }
    });
}

// The library writes to its socket in a way that would end the process when the link is lost. For this thread that is a result.
void KeepLostLinksQuiet() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

void RtmpSession::Closer::operator()(RTMP* session) const {
    RTMP_Close(session);
    RTMP_Free(session);
}

int RtmpSession::Connect(std::string& url, const std::string& user, const std::string& password) {
    InitializeOnce();
    KeepLostLinksQuiet();
    rtmp.reset(RTMP_Alloc());
    if (!rtmp) return RTMPCAST_CONNECTION_FAILED;
    RTMP_Init(rtmp.get());
    const int status = Publish(url, user, password);
    if (status != RTMPCAST_OK) Close();
    return status;
}

int RtmpSession::Publish(std::string& url, const std::string& user, const std::string& password) {
    if (RTMP_SetupURL(rtmp.get(), url.data()) == 0) return RTMPCAST_BAD_URL;
    RTMP_EnableWrite(rtmp.get());
    auto& link = rtmp->Link;
    if (send_timeout != 0) link.timeout = send_timeout;
    link.lFlags |= RTMP_LF_LIVE | RTMP_LF_BUFX;
    if (!user.empty()) link.pubUser = View(user);
    if (!password.empty()) link.pubPasswd = View(password);
    flash_version = "FMLE/3.0 (compatible; FMSc/1.0)";
    link.flashVer = View(flash_version);
    link.swfUrl = link.tcUrl;
    if (RTMP_Connect(rtmp.get(), nullptr) == 0) return RTMPCAST_CONNECTION_FAILED;
    if (RTMP_ConnectStream(rtmp.get(), 0) == 0 || RTMP_Socket(rtmp.get()) < 0 || !LimitSending()) return RTMPCAST_STREAM_FAILED;
    return RTMPCAST_OK;
}

bool RtmpSession::LimitSending() const {
    if (send_timeout <= 0) return true;
    const timeval limit{rtmp->Link.timeout, 0};
    return setsockopt(RTMP_Socket(rtmp.get()), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0;
}

bool RtmpSession::IsAlive() const { return rtmp && RTMP_IsConnected(rtmp.get()) != 0 && RTMP_IsTimedout(rtmp.get()) == 0; }

int RtmpSession::Send(RtmpMessage& message, std::uint8_t header_type, std::uint32_t time_ms) {
    static_assert(RtmpMessage::packet_head_size >= sizeof(RTMPPacket) + RTMP_MAX_HEADER_SIZE);
    RTMPPacket packet{};
    packet.m_headerType = header_type;
    packet.m_packetType = message.MessageType();
    packet.m_nChannel = message.MessageType() == RtmpMessage::TYPE_CHUNK_SIZE ? control_channel : media_channel;
    packet.m_nTimeStamp = time_ms;
    packet.m_nInfoField2 = message.MessageType() == RtmpMessage::TYPE_CHUNK_SIZE ? 0 : rtmp->m_stream_id;
    packet.m_nBodySize = static_cast<std::uint32_t>(message.Size());
    packet.m_body = reinterpret_cast<char*>(message.Body());
    return RTMP_SendPacket(rtmp.get(), &packet, 1);
}

bool RtmpSession::SetChunkSize(std::uint32_t bytes) {
    RtmpMessage message;
    message.PutChunkSize(bytes);
    if (Send(message, RTMP_PACKET_SIZE_LARGE, 0) != 1) return false;
    rtmp->m_outChunkSize = static_cast<int>(bytes);
    return true;
}

}  // namespace Vimbrel
