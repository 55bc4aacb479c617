#include "Source/cast/RtmpSession.h"

#include <gnutls/gnutls.h>
#include <librtmp/amf.h>
#include <librtmp/log.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "vimbrel/AppLog.h"
#include "vimbrel/MediaRTMPCast.h"

// The library's settings for TLS: exported, and not in its headers.
struct RtmpTlsSettings {
    gnutls_certificate_credentials_t credentials;
    gnutls_priority_t priorities;
};
extern "C" RtmpTlsSettings* RTMP_TLS_ctx;

namespace Vimbrel {
namespace {

constexpr int media_channel = 4;
constexpr int control_channel = 2;

std::string Text(const AVal& value) {
    return value.av_val == nullptr
               ? std::string()
               : std::string(value.av_val, static_cast<std::size_t>(value.av_len));
}

AVal View(const std::string& text) {
    return {const_cast<char*>(text.data()), static_cast<int>(text.size())};
}

std::string Member(AMFObject& object, const std::string& name) {
    const AVal key = View(name);
    AVal value{};
    AMFProp_GetString(AMF_GetProp(&object, &key, -1), &value);
    return Text(value);
}

// The library's own words, which would go to the standard error. What it says at its lower levels
// may hold passwords.
void Log(int level, const char* format, va_list arguments) {
    if (level > RTMP_LOGWARNING) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    APPLOG_STREAM(HalvorixAppLog::LOG_LEVEL_TRACE, "RTMP: " << text);
}

// The library takes a session ticket of TLS 1.3, which comes when it likes, for a failure to read.
// So it must not speak 1.3.
void LimitTls() {
    if (RTMP_TLS_ctx == nullptr) return;
    gnutls_priority_t priorities = nullptr;
    if (gnutls_priority_init(&priorities, "NORMAL:-VERS-TLS1.3", nullptr) != GNUTLS_E_SUCCESS)
        return;
    std::swap(RTMP_TLS_ctx->priorities, priorities);
    if (priorities != nullptr) gnutls_priority_deinit(priorities);
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
        LimitTls();
    });
}

// The library writes to its socket in a way that would end the process when the link is lost. For
// this thread that is a result.
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

// Servers with a login refuse twice: for the user's name, and with a question. Each answer takes a
// new connection.
int RtmpSession::Connect(std::string& url, const std::string& user, const std::string& password) {
    InitializeOnce();
    KeepLostLinksQuiet();
    const std::string given_url = url;
    login.clear();
    for (;;) {
        login_question.clear();
        rtmp.reset(RTMP_Alloc());
        if (!rtmp) return RTMPCAST_CONNECTION_FAILED;
        RTMP_Init(rtmp.get());
        url = given_url;
        const int status = Publish(url);
        if (status == RTMPCAST_OK) return status;
        const std::string answer =
            login_question.empty() ? std::string()
                                   : Publisher(user, password).Answer(login_question, application);
        Close();
        if (answer.empty()) return status;
        login += answer;
    }
}

// The URL's options may name one too.
PublisherLogin RtmpSession::Publisher(const std::string& user, const std::string& password) const {
    const auto& link = rtmp->Link;
    return {user.empty() ? Text(link.pubUser) : user,
            password.empty() ? Text(link.pubPasswd) : password};
}

int RtmpSession::Publish(std::string& url) {
    if (RTMP_SetupURL(rtmp.get(), url.data()) == 0) return RTMPCAST_BAD_URL;
    RTMP_EnableWrite(rtmp.get());
    auto& link = rtmp->Link;
    if (send_timeout != 0) link.timeout = send_timeout;
    link.lFlags |= RTMP_LF_LIVE | RTMP_LF_BUFX;
    flash_version = "FMLE/3.0 (compatible; FMSc/1.0)";
    link.flashVer = View(flash_version);
    SetTarget();
    if (RTMP_Connect(rtmp.get(), nullptr) == 0) return RTMPCAST_CONNECTION_FAILED;
    if (!OpenStream() || RTMP_Socket(rtmp.get()) < 0 || !LimitSending())
        return RTMPCAST_STREAM_FAILED;
    return RTMPCAST_OK;
}

// Copies, since the library frees some of its own and not others. The player's address is the
// target without the login.
void RtmpSession::SetTarget() {
    auto& link = rtmp->Link;
    application = Text(link.app) + login;
    player_url = Text(link.tcUrl);
    target_url = player_url + login;
    if ((link.lFlags & RTMP_LF_FAPU) != 0) std::free(link.app.av_val);
    if ((link.lFlags & RTMP_LF_FTCU) != 0) std::free(link.tcUrl.av_val);
    link.lFlags &= ~(RTMP_LF_FAPU | RTMP_LF_FTCU);
    link.app = View(application);
    link.tcUrl = View(target_url);
    link.swfUrl = View(player_url);
}

// What RTMP_ConnectStream does, but for servers that ask for a login, its answer to which writes
// beyond its memory, and for those that do not take the stream: it would wait for another word
// until its time is up.
bool RtmpSession::OpenStream() {
    RTMPPacket packet{};
    while (rtmp->m_bPlaying == 0 && RTMP_IsConnected(rtmp.get()) != 0 &&
           RTMP_ReadPacket(rtmp.get(), &packet) != 0) {
        if (!RTMPPacket_IsReady(&packet) || packet.m_nBodySize == 0) continue;
        const bool refused = IsRefusal(packet);
        if (!refused) RTMP_ClientPacket(rtmp.get(), &packet);
        RTMPPacket_Free(&packet);
        if (refused) return false;
    }
    return rtmp->m_bPlaying != 0;
}

bool RtmpSession::IsRefusal(const RTMPPacket& packet) {
    if (packet.m_packetType != RTMP_PACKET_TYPE_INVOKE) return false;
    AMFObject command{};
    if (AMF_Decode(&command, packet.m_body, static_cast<int>(packet.m_nBodySize), FALSE) < 0)
        return false;
    AVal value{};
    AMFProp_GetString(AMF_GetProp(&command, nullptr, 0), &value);
    const std::string name = Text(value);
    bool refused = false;
    if (AMFProp_GetType(AMF_GetProp(&command, nullptr, 3)) == AMF_OBJECT) {
        AMFObject status{};
        AMFProp_GetObject(AMF_GetProp(&command, nullptr, 3), &status);
        const std::string description = Member(status, "description");
        if (name == "_error" && description.find("authmod=") != std::string::npos)
            login_question = description;
        refused =
            !login_question.empty() || (name == "onStatus" && Member(status, "level") == "error");
    }
    AMF_Reset(&command);
    return refused;
}

bool RtmpSession::LimitSending() const {
    if (send_timeout <= 0) return true;
    const timeval limit{rtmp->Link.timeout, 0};
    return setsockopt(RTMP_Socket(rtmp.get()), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0;
}

bool RtmpSession::IsAlive() const {
    return rtmp && RTMP_IsConnected(rtmp.get()) != 0 && RTMP_IsTimedout(rtmp.get()) == 0;
}

int RtmpSession::Send(RtmpMessage& message, std::uint8_t header_type, std::uint32_t time_ms) {
    static_assert(RtmpMessage::packet_head_size >= sizeof(RTMPPacket) + RTMP_MAX_HEADER_SIZE);
    RTMPPacket packet{};
    packet.m_headerType = header_type;
    packet.m_packetType = message.MessageType();
    packet.m_nChannel =
        message.MessageType() == RtmpMessage::TYPE_CHUNK_SIZE ? control_channel : media_channel;
    packet.m_nTimeStamp = time_ms;
    packet.m_nInfoField2 =
        message.MessageType() == RtmpMessage::TYPE_CHUNK_SIZE ? 0 : rtmp->m_stream_id;
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
