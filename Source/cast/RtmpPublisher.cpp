#include "Source/cast/RtmpPublisher.h"

#include "Source/cast/PublisherLogin.h"
#include "Source/cast/ServerCommand.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {
namespace {

constexpr std::uint8_t control_channel = 2;
constexpr std::uint8_t media_channel = 4;

// Servers with a login refuse twice: for the user's name, and with a question.
constexpr int most_connections = 3;

}  // namespace

// Each answer to a refusal takes a new connection.
int RtmpPublisher::Connect(const std::string& url, const std::string& user,
                           const std::string& password) {
    login.clear();
    int status = RTMPCAST_CONNECTION_FAILED;
    for (int connections = 0; connections < most_connections; ++connections) {
        login_question.clear();
        session = make_session();
        if (!session) return RTMPCAST_CONNECTION_FAILED;
        status = Publish(url);
        if (status == RTMPCAST_OK) return status;
        Close();
        if (login_question.empty()) return status;
        const PublisherLogin publisher(user.empty() ? target.user : user,
                                       password.empty() ? target.password : password);
        const std::string answer = publisher.Answer(login_question, request.application);
        if (answer.empty()) return status;
        login += answer;
    }
    return status;
}

// The player's address is the target without the login.
int RtmpPublisher::Publish(const std::string& url) {
    target = {};
    if (!session->SetTarget(url, target)) return RTMPCAST_BAD_URL;
    request.application = target.application + login;
    request.target_url = target.url + login;
    request.player_url = target.url;
    request.client = "FMLE/3.0 (compatible; FMSc/1.0)";
    request.timeout_seconds = send_timeout;
    if (!session->Connect(request)) return RTMPCAST_CONNECTION_FAILED;
    const auto check = [this](ByteSpan command) { return Judge(command); };
    if (!session->OpenStream(check) || !session->IsConnected()) return RTMPCAST_STREAM_FAILED;
    if (send_timeout > 0 && !session->LimitSending()) return RTMPCAST_STREAM_FAILED;
    return RTMPCAST_OK;
}

// A refusal ends the wait at once: some servers keep the connection after one, and it would only
// end with the time limit.
CommandVerdict RtmpPublisher::Judge(ByteSpan body) {
    const std::optional<ServerCommand> command = ServerCommand::Read(body);
    if (!command) return CommandVerdict::Ignore;
    if (!command->has_status) return CommandVerdict::Handle;
    if (command->name == "_error" && command->description.find("authmod=") != std::string::npos)
        login_question = command->description;
    const bool refused =
        !login_question.empty() || (command->name == "onStatus" && command->level == "error");
    return refused ? CommandVerdict::Refuse : CommandVerdict::Handle;
}

bool RtmpPublisher::IsAlive() const {
    return session && session->IsConnected() && !session->HasTimedOut();
}

int RtmpPublisher::Send(RtmpMessage& message, ChunkHeader header, std::uint32_t time_ms) {
    const bool control = message.MessageType() == RtmpMessage::TYPE_CHUNK_SIZE;
    return session->Send(
        {message, control ? control_channel : media_channel, !control, header, time_ms});
}

bool RtmpPublisher::SetChunkSize(std::uint32_t bytes) {
    RtmpMessage message;
    message.PutChunkSize(bytes);
    if (Send(message, ChunkHeader::Large, 0) != 1) return false;
    session->SetChunkSize(bytes);
    return true;
}

}  // namespace Vimbrel
