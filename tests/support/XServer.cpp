#include "tests/support/XServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

namespace {

constexpr int start_timeout_ms = 20'000;

// The number that the server writes behind its start, with a line's end.
std::string ReadDisplay(int descriptor) {
    std::string number;
    pollfd readable{descriptor, POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, start_timeout_ms) == 1 && read(descriptor, &c, 1) == 1 && c != '\n')
        number += c;
    return c == '\n' ? number : "";
}

}  // namespace

XServer::XServer(std::vector<std::string> command) {
    int ends[2];
    if (pipe(ends) != 0) {
        ADD_FAILURE() << "no pipe";
        return;
    }
    command.insert(command.end(), {"-displayfd", std::to_string(ends[1])});
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    process = fork();
    if (process == 0) {
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        close(ends[0]);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    const std::string number = ReadDisplay(ends[0]);
    close(ends[0]);
    if (number.empty()) {
        ADD_FAILURE() << command[0] << " did not start";
        return;
    }
    display = ":" + number;
    const char* before = std::getenv("DISPLAY");
    display_before = before ? before : "";
    setenv("DISPLAY", display.c_str(), 1);
    // On a developer's desktop screens would be asked for in a dialog.
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");
}

XServer::~XServer() {
    Kill();
    if (display_before.empty()) {
        unsetenv("DISPLAY");
    } else {
        setenv("DISPLAY", display_before.c_str(), 1);
    }
}

void XServer::Kill() {
    if (process <= 0) return;
    kill(process, SIGTERM);
    // A server removes its files when it is asked to end; it gets two seconds for that.
    const auto ended = [&] { return waitpid(process, nullptr, WNOHANG) != 0; };
    if (!WaitUntil(ended, std::chrono::seconds(2))) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    process = -1;
}

std::vector<std::string> Xvfb(const std::string& screen, const std::vector<std::string>& more) {
    std::vector<std::string> command{"Xvfb",      "-screen", "0",       screen,
                                     "-nolisten", "tcp",     "-noreset"};
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

}  // namespace Vimbrel::test
