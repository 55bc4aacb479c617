// An X server of the test's own, on a free display, which DISPLAY names while it lives.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Vimbrel::test {

class XServer {
public:
    // `command` without the display; a server that does not come up within 20 seconds fails the
    // test.
    explicit XServer(std::vector<std::string> command);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // As in ":3".
    const std::string& Display() const { return display; }
    // Ends the server at once.
    void Kill();

private:
    pid_t process = -1;
    std::string display;
    std::string display_before;
};

// Xvfb with one screen, as in "640x480x24".
std::vector<std::string> Xvfb(const std::string& screen, const std::vector<std::string>& more = {});

}  // namespace Vimbrel::test
