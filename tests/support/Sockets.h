// Loopback sockets for tests.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>

#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

class Socket {
public:
    explicit Socket(int owned = -1) : descriptor(owned) {}
    Socket(Socket&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~Socket() {
        if (descriptor >= 0) close(descriptor);
    }

    int Get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }
    bool IsReadable(int milliseconds) const {
        pollfd watched = {descriptor, POLLIN, 0};
        return poll(&watched, 1, milliseconds) == 1;
    }

private:
    int descriptor;
};

inline sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Listens on a free port, which `port` then tells.
inline Socket Listen(std::uint16_t& port) {
    Socket listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), size);
    listen(listener.Get(), 8);
    getsockname(listener.Get(), reinterpret_cast<sockaddr*>(&address), &size);
    port = ntohs(address.sin_port);
    return listener;
}

inline Socket Connect(std::uint16_t port) {
    Socket connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = Loopback(port);
    if (connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Socket();
    return connection;
}

// Waits for somebody who listens, without a connection: some servers take one only.
inline bool WaitForListener(std::uint16_t port) {
    char local[16];
    std::snprintf(local, sizeof local, ":%04X 00000000", port);
    return WaitUntil([&] {
        std::ifstream table("/proc/net/tcp");
        for (std::string line; std::getline(table, line);) {
            const std::size_t place = line.find(local);
            // State 0A listens.
            if (place != std::string::npos && line.find(" 0A ", place) != std::string::npos)
                return true;
        }
        return false;
    });
}

inline std::uint16_t FreePort() {
    std::uint16_t port = 0;
    Listen(port);
    return port;
}

}  // namespace Vimbrel::test
