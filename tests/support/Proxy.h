// A server between the cast and the real one, which can make the network bad.
#pragma once

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include "tests/support/Sockets.h"

namespace Vimbrel::test {

// One connection.
class Proxy {
public:
    explicit Proxy(std::uint16_t server)
        : listener(Listen(port)), relay([this, server] { Run(server); }) {}
    ~Proxy() {
        stopping = true;
        relay.join();
    }
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    std::string Url(const std::string& application, const std::string& key) const {
        return "rtmp://127.0.0.1:" + std::to_string(port) + "/" + application + "/" + key;
    }

    std::uint16_t port = 0;
    std::atomic<bool> paused{false};  // takes nothing from the cast
    std::atomic<long> cut_after{-1};  // bytes from the cast, after which both ends are closed
    std::atomic<long> forwarded{0};   // bytes from the cast

private:
    void Run(std::uint16_t server) {
        while (!stopping && !listener.IsReadable(10)) {
        }
        if (stopping) return;
        Socket client(accept(listener.Get(), nullptr, nullptr));
        Socket target = Connect(server);
        while (!stopping) {
            pollfd watched[] = {{paused ? -1 : client.Get(), POLLIN, 0}, {target.Get(), POLLIN, 0}};
            if (poll(watched, 2, 10) <= 0) continue;
            if (watched[1].revents != 0 && Copy(target, client, 4096) <= 0) return;
            if (watched[0].revents == 0) continue;
            const long limit = cut_after;
            const long left = limit < 0 ? 4096 : std::min(limit - forwarded, 4096L);
            const long count = left <= 0 ? 0 : Copy(client, target, static_cast<std::size_t>(left));
            if (count <= 0) return;
            forwarded += count;
        }
    }
    static long Copy(const Socket& from, const Socket& to, std::size_t most) {
        char bytes[4096];
        const ssize_t count = read(from.Get(), bytes, most);
        if (count <= 0 ||
            send(to.Get(), bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL) != count)
            return -1;
        return count;
    }

    Socket listener;
    std::atomic<bool> stopping{false};
    std::thread relay;
};

}  // namespace Vimbrel::test
