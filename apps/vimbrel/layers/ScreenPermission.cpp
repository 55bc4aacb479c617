#include "layers/ScreenPermission.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace studio {

namespace {

using Access = Vimbrel::ScreenAccess;

constexpr std::chrono::milliseconds patience{300};

// Empty without a home.
std::filesystem::path TokenFile() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    std::filesystem::path folder;
    if (state && *state) {
        folder = state;
    } else if (home && *home) {
        folder = std::filesystem::path(home) / ".local" / "state";
    } else {
        return {};
    }
    return folder / "vimbrel" / "screen-token";
}

std::string ReadToken() {
    std::ifstream file(TokenFile());
    std::string token;
    std::getline(file, token);
    return token;
}

// The token shows the screen to whoever has it, so it is for the user alone. It is good for one
// request: an old one is never left.
void KeepToken(const std::string& token) {
    const std::filesystem::path name = TokenFile();
    if (name.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(name, ignored);
    if (token.empty()) return;
    std::filesystem::create_directories(name.parent_path(), ignored);
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const std::string line = token + "\n";
    const bool kept =
        file >= 0 && write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    if (file >= 0) close(file);
    if (!kept)
        std::fprintf(stderr, "vimbrel: %s: cannot be written; the desktop will ask again\n",
                     name.c_str());
}

const char* Reason(Access::Result result) {
    return result == Access::Result::Refused
               ? ": showing the screen was refused"
               : ": the desktop does not show the screen; the log says why";
}

}  // namespace

bool ScreenPermission::Ask(Kind kind, bool cursor, const std::string& place, std::string& error) {
    Access::Request request;
    request.kind = kind;
    request.cursor = cursor;
    const bool screen = kind == Kind::Desktop;
    if (screen && IsPermissionNeeded()) request.token = ReadToken();
    const auto start = std::chrono::steady_clock::now();
    bool told = false;
    request.stillWanted = [&] {
        // A stored grant is answered without the user.
        if (!told && std::chrono::steady_clock::now() - start > patience) {
            std::fprintf(stderr, "vimbrel: %s: waiting for permission to show the %s\n",
                         place.c_str(), screen ? "screen" : "window");
            told = true;
        }
        return true;
    };
    const Access::Result result = access.Ask(request);
    if (result == Access::Result::NotNeeded) return true;
    if (result != Access::Result::Granted) {
        error = place + Reason(result);
        return false;
    }
    if (screen) KeepToken(access.Token());
    return true;
}

bool IsPermissionNeeded() {
    return Vimbrel::CurrentScreenSystem() == Vimbrel::ScreenSystem::Wayland;
}

}  // namespace studio
