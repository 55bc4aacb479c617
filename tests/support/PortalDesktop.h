// A desktop on Wayland of the test's own: a session bus, PipeWire and the test portal, which shows
// what the test paints.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

class PortalDesktop {
public:
    // The environment names it while it lives. `lines` go to the portal first.
    explicit PortalDesktop(const std::vector<std::string>& lines = {});
    ~PortalDesktop();
    PortalDesktop(const PortalDesktop&) = delete;
    PortalDesktop& operator=(const PortalDesktop&) = delete;

    // What the portal answers to one of its commands, which portal/TestPortal.cpp has.
    std::string Tell(const std::string& line);
    // Paints a part and sends the picture with that part as its damage.
    void Show(int x, int y, int width, int height, unsigned color);
    // A program beside the portal, until the desktop ends.
    void Serve(const std::vector<std::string>& command);
    std::string Folder() const { return folder.path.string(); }
    // At once, as if it had crashed.
    void KillPortal();
    void KillPipeWire();

private:
    bool StartPortal();
    std::string ReadLine() const;

    TempFolder folder;
    std::vector<std::pair<std::string, std::string>> environment_before;
    std::vector<std::unique_ptr<ChildProcess>> servers;
    pid_t portal = -1;
    int to_portal = -1;
    int from_portal = -1;
};

}  // namespace Vimbrel::test
