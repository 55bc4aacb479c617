// A server of the test's own, which speaks just enough of the protocol to take a stream, and to ask
// publishers to log in.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Sockets.h"

namespace Vimbrel::test {

class FakeRtmpServer {
public:
    // Given the application of a connect command, as the client wrote it: why it is refused, or
    // nothing to accept it.
    using Judge = std::function<std::string(const std::string& application)>;

    explicit FakeRtmpServer(Judge judge);
    ~FakeRtmpServer();
    FakeRtmpServer(const FakeRtmpServer&) = delete;
    FakeRtmpServer& operator=(const FakeRtmpServer&) = delete;

    std::string Url() const { return "rtmp://127.0.0.1:" + std::to_string(port) + "/live/key"; }
    // The applications of all connect commands so far.
    std::vector<std::string> Applications();
    // Messages of picture and sound.
    std::atomic<int> media_messages{0};
    // Milliseconds, of the messages of picture so far.
    std::vector<std::uint32_t> PictureTimes();
    // Commands that are sent before the publisher is let in. Set before it connects.
    std::vector<std::string> first_commands;

private:
    struct Message {
        int type = 0;
        std::uint32_t time = 0;
        std::string body;
    };
    // Headers of a chunk stream leave out what did not change.
    struct ChunkStream {
        std::uint32_t time = 0;
        bool extended_time = false;
        std::size_t length = 0;
        int type = 0;
        std::string body;
    };

    void Run();
    void Serve(const Socket& client);
    bool Receive(const Socket& client, void* bytes, std::size_t size) const;
    bool Receive(const Socket& client, std::map<int, ChunkStream>& streams, Message& message) const;
    bool ReceiveHeader(const Socket& client, std::uint8_t first, ChunkStream& stream) const;
    void Note(const Message& message);
    bool Answer(const Socket& client, const std::string& command);

    const Judge judge;
    std::uint16_t port = 0;
    Socket listener;
    std::mutex lock;
    std::vector<std::string> applications;     // guarded by lock
    std::vector<std::uint32_t> picture_times;  // guarded by lock
    std::size_t incoming_chunk = 128;          // on the server's thread
    std::atomic<bool> stopping{false};
    std::thread thread;
};

}  // namespace Vimbrel::test
