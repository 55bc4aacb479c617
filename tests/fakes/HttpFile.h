// A web server for one file. It knows no ranges, so that the file cannot be sought.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "tests/support/Sockets.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

class HttpFile {
public:
    // Sends `limit` bytes of the file and then nothing, with the connection open. Without a file
    // the answer is that there is none.
    explicit HttpFile(Bytes file, std::size_t limit = SIZE_MAX)
        : content(std::move(file)), most(std::min(limit, content.size())) {
        thread = std::thread([this] { Serve(); });
    }
    ~HttpFile() {
        stopping = true;
        thread.join();
    }
    HttpFile(const HttpFile&) = delete;
    HttpFile& operator=(const HttpFile&) = delete;

    std::wstring Address() const {
        return L"http://127.0.0.1:" + std::to_wstring(port) + L"/file.ts";
    }
    std::size_t Sent() const { return sent; }

private:
    void Serve() {
        Socket client;
        std::string answer = content.empty()
                                 ? "HTTP/1.0 404 Not Found\r\n\r\n"
                                 : "HTTP/1.0 200 OK\r\nContent-Type: video/mp2t\r\n\r\n";
        while (!stopping) {
            if (listener.IsReadable(client ? 0 : 20)) {
                client = Socket(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
                sent = 0;
                char request[4096];
                if (recv(client.Get(), request, sizeof request, 0) > 0)
                    send(client.Get(), answer.data(), answer.size(), MSG_NOSIGNAL);
                if (content.empty()) client = Socket();
            }
            if (!client) continue;
            pollfd watched = {client.Get(), POLLOUT, 0};
            if (sent == most || poll(&watched, 1, 20) != 1) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                continue;
            }
            const std::size_t part = std::min<std::size_t>(most - sent, 16'384);
            const ssize_t done =
                send(client.Get(), content.data() + sent, part, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (done > 0) sent += static_cast<std::size_t>(done);
            if (done < 0 && errno != EAGAIN) client = Socket();
        }
    }

    const Bytes content;
    const std::size_t most;
    std::uint16_t port = 0;
    const Socket listener = Listen(port);
    std::atomic<std::size_t> sent{0};
    std::atomic<bool> stopping{false};
    std::thread thread;
};

}  // namespace Vimbrel::test
