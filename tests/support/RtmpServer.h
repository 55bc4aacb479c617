// nginx with its RTMP module, on loopback, recording what is published and cutting it into HLS.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/Sockets.h"
#include "tests/support/TempFolder.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

class RtmpServer {
public:
    RtmpServer() : port(FreePort()) {
        std::filesystem::create_directory(folder / "recorded");
        std::filesystem::create_directory(folder / "hls");
        const std::string place = folder.path.string();
        folder.Write("nginx.conf",
                     "load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;\n"
                     "daemon off; master_process off; worker_processes 1;\n"
                     "pid " +
                         place + "/nginx.pid; error_log " + place +
                         "/error.log info;\n"
                         "events { worker_connections 64; }\n"
                         "rtmp { server { listen 127.0.0.1:" +
                         std::to_string(port) +
                         ";\n"
                         "  application live { live on; record all; record_path " +
                         place +
                         "/recorded; record_suffix .flv; }\n"
                         "  application hls { live on; hls on; hls_path " +
                         place +
                         "/hls; hls_fragment 1s; hls_playlist_length 60s; hls_cleanup off; }\n"
                         "} }\n");
        Start();
    }

    // Also once more, after Stop.
    void Start() {
        const std::string place = folder.path.string();
        process = std::make_unique<ChildProcess>(
            std::vector<std::string>{"/usr/sbin/nginx", "-p", place, "-c", place + "/nginx.conf",
                                     "-e", place + "/error.log"},
            place + "/printed");
        WaitUntil([&] { return static_cast<bool>(Connect(port)); });
        EXPECT_TRUE(process->IsRunning())
            << ReadText(folder / "printed") << ReadText(folder / "error.log");
    }

    std::string Url(const std::string& application, const std::string& key) const {
        return "rtmp://127.0.0.1:" + std::to_string(port) + "/" + application + "/" + key;
    }
    // The recording, complete once the stream has ended.
    std::filesystem::path Recording(const std::string& key) const {
        return folder / ("recorded/" + key + ".flv");
    }
    // Waits until the server has closed every recording and fragment: the stream is over and all of
    // it is in the files. False if that does not happen.
    bool WaitForFiles() const {
        return WaitUntil([&] { return !HasOpenFiles(); });
    }
    void Stop() { process->Stop(SIGKILL); }

    TempFolder folder;
    const std::uint16_t port;

private:
    bool HasOpenFiles() const {
        const std::string descriptors = "/proc/" + std::to_string(process->Pid()) + "/fd";
        std::error_code gone;  // a descriptor may be closed while the list is read
        for (const auto& entry : std::filesystem::directory_iterator(descriptors, gone)) {
            const auto parent = std::filesystem::read_symlink(entry, gone).parent_path();
            if (parent == folder / "recorded" || parent == folder / "hls") return true;
        }
        return false;
    }

    std::unique_ptr<ChildProcess> process;
};

}  // namespace Vimbrel::test
