#include "tests/fakes/FakeRtmpServer.h"

#include <algorithm>
#include <array>

namespace Vimbrel::test {
namespace {

constexpr std::size_t handshake_size = 1536;
constexpr std::size_t chunk_size = 128;
constexpr int chunk_size_type = 1;
constexpr int sound_type = 8;
constexpr int picture_type = 9;
constexpr int command_type = 20;

std::string BigEndian(std::size_t value, int bytes) {
    std::string result;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        result.push_back(static_cast<char>(value >> shift));
    return result;
}

std::string Name(const std::string& text) { return BigEndian(text.size(), 2) + text; }
std::string Text(const std::string& text) { return "\x02" + Name(text); }
const std::string null_value = "\x05";
const std::string end_of_object = std::string(2, '\0') + "\x09";

// A small whole number as the protocol's double.
std::string Number(int value) {
    static constexpr std::array<const char*, 6> heads = {"\x00\x00", "\x3F\xF0", "\x40\x00",
                                                         "\x40\x08", "\x40\x10", "\x40\x14"};
    return std::string(1, '\0') + std::string(heads.at(static_cast<std::size_t>(value)), 2) +
           std::string(6, '\0');
}

std::string Status(const std::string& level, const std::string& code,
                   const std::string& description) {
    return "\x03" + Name("level") + Text(level) + Name("code") + Text(code) + Name("description") +
           Text(description) + end_of_object;
}

// The text of a command's first value, and its second value as it stands, which is the number of
// the call.
std::string CommandName(const std::string& body) {
    const std::size_t length = body.size() < 3 ? 0 : static_cast<std::uint8_t>(body[2]);
    return body.substr(std::min<std::size_t>(3, body.size()), length);
}
std::string CallNumber(const std::string& body) {
    return body.substr(std::min(3 + CommandName(body).size(), body.size()), 9);
}

// A text of the object in a command.
std::string Member(const std::string& body, const std::string& name) {
    const std::string key = Name(name) + "\x02";
    const std::size_t place = body.find(key);
    if (place == std::string::npos || place + key.size() + 2 > body.size()) return {};
    const std::size_t value = place + key.size();
    const std::size_t length =
        static_cast<std::uint8_t>(body[value]) * 256U + static_cast<std::uint8_t>(body[value + 1]);
    return body.substr(value + 2, length);
}

bool Send(const Socket& client, const std::string& bytes) {
    return send(client.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

bool SendCommand(const Socket& client, const std::string& body, std::size_t stream) {
    std::string id = BigEndian(stream, 4);
    std::reverse(id.begin(), id.end());
    std::string bytes =
        "\x03" + BigEndian(0, 3) + BigEndian(body.size(), 3) + static_cast<char>(command_type) + id;
    for (std::size_t at = 0; at < body.size(); at += chunk_size) {
        if (at != 0) bytes += '\xC3';
        bytes += body.substr(at, chunk_size);
    }
    return Send(client, bytes);
}

}  // namespace

FakeRtmpServer::FakeRtmpServer(Judge connection_judge)
    : judge(std::move(connection_judge)), listener(Listen(port)), thread([this] { Run(); }) {}

FakeRtmpServer::~FakeRtmpServer() {
    stopping = true;
    thread.join();
}

std::vector<std::string> FakeRtmpServer::Applications() {
    const std::lock_guard guard(lock);
    return applications;
}

std::vector<std::uint32_t> FakeRtmpServer::PictureTimes() {
    const std::lock_guard guard(lock);
    return picture_times;
}

// One client after the other.
void FakeRtmpServer::Run() {
    while (!stopping) {
        if (!listener.IsReadable(10)) continue;
        const Socket client(accept(listener.Get(), nullptr, nullptr));
        Serve(client);
    }
}

bool FakeRtmpServer::Receive(const Socket& client, void* bytes, std::size_t size) const {
    auto* place = static_cast<char*>(bytes);
    while (size > 0 && !stopping) {
        if (!client.IsReadable(10)) continue;
        const ssize_t count = read(client.Get(), place, size);
        if (count <= 0) return false;
        place += count;
        size -= static_cast<std::size_t>(count);
    }
    return size == 0;
}

// Times that do not fit 24 bits follow the header, and that of each further chunk.
bool FakeRtmpServer::ReceiveHeader(const Socket& client, std::uint8_t first,
                                   ChunkStream& stream) const {
    static constexpr std::array<std::size_t, 4> header_sizes = {11, 7, 3, 0};
    std::array<std::uint8_t, 11> header{};
    const std::size_t size = header_sizes[first >> 6];
    if (!Receive(client, header.data(), size)) return false;
    std::uint32_t time = 0;
    if (size >= 3) {
        time = header[0] * 65536U + header[1] * 256U + header[2];
        stream.extended_time = time == 0xFFFFFF;
    }
    if (size >= 7) {
        stream.length = header[3] * 65536U + header[4] * 256U + header[5];
        stream.type = header[6];
    }
    if (stream.extended_time) {
        std::array<std::uint8_t, 4> extended{};
        if (!Receive(client, extended.data(), extended.size())) return false;
        time = 0;
        for (const std::uint8_t byte : extended) time = time << 8 | byte;
    }
    if (size == 11) stream.time = time;
    if (size == 7 || size == 3) stream.time += time;
    return true;
}

// The next whole message; `streams` keeps those of which parts are missing.
bool FakeRtmpServer::Receive(const Socket& client, std::map<int, ChunkStream>& streams,
                             Message& message) const {
    for (;;) {
        std::uint8_t first = 0;
        if (!Receive(client, &first, 1)) return false;
        ChunkStream& stream = streams[first & 0x3F];
        if (!ReceiveHeader(client, first, stream)) return false;
        const std::size_t have = stream.body.size();
        stream.body.resize(have + std::min(incoming_chunk, stream.length - have));
        if (!Receive(client, stream.body.data() + have, stream.body.size() - have)) return false;
        if (stream.body.size() < stream.length) continue;
        message = {stream.type, stream.time, std::move(stream.body)};
        stream.body.clear();
        return true;
    }
}

void FakeRtmpServer::Note(const Message& message) {
    if (message.type == chunk_size_type) {
        incoming_chunk = 0;
        for (const char byte : message.body)
            incoming_chunk = incoming_chunk << 8 | static_cast<std::uint8_t>(byte);
    }
    if (message.type == sound_type || message.type == picture_type) ++media_messages;
    if (message.type != picture_type) return;
    const std::lock_guard guard(lock);
    picture_times.push_back(message.time);
}

void FakeRtmpServer::Serve(const Socket& client) {
    std::string hello(1 + handshake_size, '\0');
    if (!Receive(client, hello.data(), hello.size())) return;
    // Version 3, bytes of our own, and the client's.
    if (!Send(client, "\x03" + std::string(handshake_size, '\0') + hello.substr(1))) return;
    if (!Receive(client, hello.data(), handshake_size)) return;
    incoming_chunk = chunk_size;
    std::map<int, ChunkStream> streams;
    for (Message message; Receive(client, streams, message);) {
        Note(message);
        if (message.type == command_type && !Answer(client, message.body)) return;
    }
}

// False if the client has been refused.
bool FakeRtmpServer::Answer(const Socket& client, const std::string& body) {
    const std::string name = CommandName(body);
    const std::string call = CallNumber(body);
    if (name == "connect") {
        const std::string application = Member(body, "app");
        {
            const std::lock_guard guard(lock);
            applications.push_back(application);
        }
        if (const std::string refusal = judge(application); !refusal.empty()) {
            const std::string status = Status("error", "NetConnection.Connect.Rejected", refusal);
            SendCommand(client, Text("_error") + call + null_value + status, 0);
            return false;
        }
        return SendCommand(client,
                           Text("_result") + call + null_value +
                               Status("status", "NetConnection.Connect.Success", "Good."),
                           0);
    }
    if (name == "createStream")
        return SendCommand(client, Text("_result") + call + null_value + Number(1), 0);
    if (name == "publish") {
        for (const std::string& command : first_commands) {
            if (!SendCommand(client, command, 0)) return false;
        }
        return SendCommand(client,
                           Text("onStatus") + Number(0) + null_value +
                               Status("status", "NetStream.Publish.Start", "Go."),
                           1);
    }
    return true;
}

}  // namespace Vimbrel::test
