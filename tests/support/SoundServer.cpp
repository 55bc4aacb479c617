#include "tests/support/SoundServer.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>

#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {

void PrintTo(SoundServerKind kind, std::ostream* out) {
    *out << (kind == SoundServerKind::pulse_audio ? "PulseAudio" : "PipeWire");
}

SoundServer::SoundServer(SoundServerKind server_kind) : kind(server_kind) {
    const char* before = std::getenv("PULSE_SERVER");
    server_before = before ? before : "";
    std::filesystem::create_directory(folder / "pulse");
    Serve();
}

void SoundServer::Serve() {
    if (kind == SoundServerKind::pulse_audio) {
        StartPulseAudio();
    } else {
        StartPipeWire();
    }
    setenv("PULSE_SERVER", ("unix:" + socket).c_str(), 1);
    AwaitAnswer();
    if (kind == SoundServerKind::pipe_wire) LoadDevices();
    AwaitDevices();
}

void SoundServer::LoadDevices() const {
    LoadModule("module-null-sink sink_name=speakers sink_properties=device.description=Speakers");
    LoadModule("module-null-sink sink_name=micin");
    LoadModule(
        "module-remap-source master=micin.monitor source_name=microphone"
        " source_properties=device.description=Microphone");
    // The session manager may not keep defaults yet.
    const auto keeps = [] {
        return std::system(
                   "pactl set-default-sink speakers > /dev/null 2>&1 &&"
                   " pactl set-default-source microphone > /dev/null 2>&1") == 0;
    };
    EXPECT_TRUE(WaitUntil(keeps)) << ReadText(folder / "printed.server");
}

void SoundServer::AwaitAnswer() const {
    const auto answers = [] { return std::system("pactl info > /dev/null 2>&1") == 0; };
    EXPECT_TRUE(WaitUntil(answers)) << ReadText(folder / "printed.server");
}

void SoundServer::AwaitDevices() const {
    const auto complete = [&] {
        return Control("list short sources").find("microphone") != std::string::npos &&
               Control("get-default-sink").find("speakers") != std::string::npos;
    };
    EXPECT_TRUE(WaitUntil(complete)) << ReadText(folder / "printed.server");
}

SoundServer::~SoundServer() {
    Thaw();
    while (!processes.empty()) processes.pop_back();
    if (server_before.empty()) {
        unsetenv("PULSE_SERVER");
    } else {
        setenv("PULSE_SERVER", server_before.c_str(), 1);
    }
}

std::unique_ptr<ChildProcess> SoundServer::Start(const std::vector<std::string>& command) const {
    const std::string place = folder.path.string();
    std::vector<std::string> whole = {"env",
                                      "HOME=" + place,
                                      "XDG_RUNTIME_DIR=" + place,
                                      "PULSE_RUNTIME_PATH=" + place + "/pulse",
                                      "PULSE_STATE_PATH=" + place + "/state",
                                      "DBUS_SESSION_BUS_ADDRESS=unix:path=" + place + "/bus"};
    whole.insert(whole.end(), command.begin(), command.end());
    return std::make_unique<ChildProcess>(whole, place + "/printed.server");
}

void SoundServer::StartPulseAudio() {
    socket = folder.path.string() + "/socket";
    const std::string script =
        folder.Write("devices",
                     "load-module module-null-sink sink_name=speakers norewinds=1"
                     " sink_properties=device.description=Speakers\n"
                     "load-module module-null-sink sink_name=micin norewinds=1\n"
                     "load-module module-remap-source master=micin.monitor source_name=microphone"
                     " source_properties=device.description=Microphone\n"
                     "load-module module-native-protocol-unix auth-anonymous=1 socket=" +
                         socket + "\n");
    processes.push_back(Start({"pulseaudio", "-n", "-F", script, "--daemonize=no",
                               "--exit-idle-time=-1", "--use-pid-file=no"}));
}

void SoundServer::StartPipeWire() {
    socket = folder.path.string() + "/pulse/native";
    // The session manager ends without a bus.
    processes.push_back(Start({"dbus-daemon", "--session", "--nofork", "--nopidfile",
                               "--address=unix:path=" + folder.path.string() + "/bus"}));
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder / "bus"); }));
    processes.push_back(Start({"pipewire"}));
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(folder / "pipewire-0"); }));
    processes.push_back(Start({"wireplumber"}));
    processes.push_back(Start({"pipewire-pulse"}));
}

std::string SoundServer::Control(const std::string& command) const {
    return folder.Run("pactl " + command);
}

std::string SoundServer::LoadModule(const std::string& module) const {
    return Control("load-module " + module);
}

std::unique_ptr<ChildProcess> SoundServer::Play(const std::string& sink,
                                                const std::vector<std::int16_t>& samples,
                                                unsigned frames_per_second) {
    const std::string name = "sound" + std::to_string(played++);
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size() * sizeof(std::int16_t)));
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{"pacat", "--playback", "--device=" + sink, "--format=s16le",
                                 "--rate=" + std::to_string(frames_per_second), "--channels=2",
                                 "--latency-msec=100", "--raw", (folder / name).string()},
        (folder / "printed.player").string());
}

void SoundServer::Kill() {
    for (auto& process : processes) process->Stop(SIGKILL);
}

void SoundServer::Restart() {
    Kill();
    processes.clear();
    // Their presence says that the new processes are up.
    std::filesystem::remove(folder / "bus");
    std::filesystem::remove(folder / "pipewire-0");
    Serve();
}

void SoundServer::Freeze() const { kill(processes.back()->Pid(), SIGSTOP); }

void SoundServer::Thaw() const {
    if (processes.back()->Pid() > 0) kill(processes.back()->Pid(), SIGCONT);
}

}  // namespace Vimbrel::test
