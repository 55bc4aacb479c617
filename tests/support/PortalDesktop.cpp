#include "tests/support/PortalDesktop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <cstdlib>
#include <sstream>

#include "tests/support/WaitUntil.h"
#include "vimbrel/ScreenAccess.h"

namespace Vimbrel::test {

namespace {

constexpr int answer_timeout_ms = 20'000;

}  // namespace

PortalDesktop::PortalDesktop(const std::vector<std::string>& lines) {
    const std::string place = folder.path.string();
    const std::pair<const char*, std::string> environment[] = {
        {"HOME", place},
        {"XDG_RUNTIME_DIR", place},
        {"XDG_STATE_HOME", place + "/state"},
        {"XDG_SESSION_TYPE", "wayland"},
        {"PIPEWIRE_RUNTIME_DIR", place},
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + place + "/bus"},
        // Nobody asks the system for rights of real time.
        {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + place + "/none"}};
    for (const auto& [name, value] : environment) {
        const char* const before = std::getenv(name);
        environment_before.emplace_back(name, before ? before : "");
        setenv(name, value.c_str(), 1);
    }
    signal(SIGPIPE, SIG_IGN);
    Serve({"dbus-daemon", "--session", "--nofork", "--nopidfile",
           "--address=unix:path=" + place + "/bus"});
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder / "bus"); }));
    Serve({"pipewire"});
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder / "pipewire-0"); }));
    // It links the streams.
    Serve({"wireplumber"});
    EXPECT_TRUE(StartPortal()) << ReadText(folder / "printed.server");
    for (const std::string& line : lines) EXPECT_EQ(Tell(line), "ok") << line;
    SetScreenSystem(ScreenSystem::Automatic);
}

PortalDesktop::~PortalDesktop() {
    KillPortal();
    // The session manager before those that it needs.
    while (!servers.empty()) servers.pop_back();
    for (const auto& [name, value] : environment_before) {
        if (value.empty()) {
            unsetenv(name.c_str());
        } else {
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    SetScreenSystem(ScreenSystem::Automatic);
}

void PortalDesktop::Serve(const std::vector<std::string>& command) {
    servers.push_back(
        std::make_unique<ChildProcess>(command, (folder / "printed.server").string()));
}

bool PortalDesktop::StartPortal() {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return false;
    portal = fork();
    if (portal == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        execl(VIMBREL_TEST_PORTAL, "test_portal", nullptr);
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    to_portal = in[1];
    from_portal = out[0];
    return ReadLine() == "ready";
}

std::string PortalDesktop::ReadLine() const {
    std::string line;
    pollfd readable{from_portal, POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, answer_timeout_ms) == 1 && read(from_portal, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

std::string PortalDesktop::Tell(const std::string& line) {
    const std::string whole = line + "\n";
    if (write(to_portal, whole.data(), whole.size()) < 0) return "gone";
    return ReadLine();
}

void PortalDesktop::Show(int x, int y, int width, int height, unsigned color) {
    std::ostringstream area;
    area << ' ' << x << ' ' << y << ' ' << width << ' ' << height;
    EXPECT_EQ(Tell("damage" + area.str()), "ok");
    area << ' ' << std::hex << color;
    EXPECT_EQ(Tell("paint" + area.str()), "ok");
    EXPECT_EQ(Tell("send"), "ok");
}

void PortalDesktop::KillPortal() {
    if (portal <= 0) return;
    kill(portal, SIGKILL);
    waitpid(portal, nullptr, 0);
    portal = -1;
    close(to_portal);
    close(from_portal);
}

void PortalDesktop::KillPipeWire() { servers[1]->Stop(SIGKILL); }

}  // namespace Vimbrel::test
