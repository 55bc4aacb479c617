// The studio's sound on real sound servers.
#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>

#include <nlohmann/json.hpp>

#include "tests/integration/sound/SoundKit.h"

namespace Vimbrel::test {
namespace {

using testing::HasSubstr;

class StudioSound : public testing::TestWithParam<SoundServerKind> {
protected:
    // Runs the studio with its output beside the scene; what it prints.
    std::string Studio(const std::string& arguments) {
        return folder.Run(std::string(VIMBREL_TOOL " ") + arguments);
    }
    void WriteScene(const std::string& sounds, const std::string& layers = {}) {
        folder.Write("scene.json",
                     "{\"canvas\": {\"width\": 64, \"height\": 64, \"fps\": 25}, \"layers\": [" +
                         layers + "], \"sound\": [" + sounds +
                         "], \"outputs\": [{\"type\": \"mp4\", \"file\": \"out.mp4\"}]}");
    }

    // A second and a half from the middle of it.
    Samples Recorded() {
        folder.Run("ffmpeg -v error -ss 1 -i out.mp4 -t 1.5 -ac 2 -ar 44100 -f s16le -y out.raw");
        const Bytes bytes = ReadBytes(folder / "out.raw");
        Samples recorded(std::size_t{66'150} * 2);
        std::memcpy(recorded.data(), bytes.data(), std::min(bytes.size(), recorded.size() * 2));
        return recorded;
    }

    // Of a tone in the quietest tenth of a second and in the loudest one. A machine without time to
    // spare leaves gaps, across which no sine fits.
    static std::pair<double, double> Loudness(const Samples& recorded, double frequency) {
        constexpr std::ptrdiff_t part = 8'820;
        double least = 1e9;
        double most = 0;
        for (auto at = recorded.begin(); recorded.end() - at >= part; at += part) {
            const double amplitude = Amplitude({at, at + part}, frequency, 44'100);
            least = std::min(least, amplitude);
            most = std::max(most, amplitude);
        }
        return {least, most};
    }

    SoundServer server{GetParam()};
    const TempFolder folder;
};

TEST_P(StudioSound, RecordsMicrophoneAndSystemSoundTogether) {
    const std::string listed = Studio("devices");
    EXPECT_THAT(listed, HasSubstr("Microphone (default)"));
    EXPECT_THAT(listed, HasSubstr("Speakers (default)"));
    EXPECT_THAT(listed, testing::Not(HasSubstr("onitor")));
    const auto document = nlohmann::json::parse(Studio("devices --json"), nullptr, false);
    ASSERT_TRUE(document.is_object()) << "one document, and nothing else";
    EXPECT_TRUE(document.at("cameras").is_array());
    const auto marked = [](const char* name) {
        return nlohmann::json{{"name", name}, {"default", true}};
    };
    EXPECT_THAT(document.at("microphones"), testing::Contains(marked("Microphone")));
    EXPECT_THAT(document.at("outputs"), testing::Contains(marked("Speakers")));
    for (const auto& [kind, devices] : document.items()) {
        for (const auto& device : devices)
            EXPECT_THAT(listed, HasSubstr(device.at("name").get<std::string>())) << kind;
    }

    WriteScene(
        "{\"type\": \"system\"}, {\"type\": \"microphone\", \"device\": \"Microphone\"},"
        " {\"type\": \"microphone\", \"mute\": true}");
    const auto speakers = server.Play("speakers", StereoTone(500, 44'100, 20, 9'000));
    const auto microphone = server.Play("micin", StereoTone(1500, 44'100, 20, 6'000));
    const std::string printed = Studio("run scene.json --seconds 3");
    EXPECT_THAT(printed, HasSubstr("system -11 dB"));
    EXPECT_THAT(printed, HasSubstr("mic -15 dB"));
    EXPECT_THAT(printed, HasSubstr("mic muted"));
    const Samples recorded = Recorded();
    EXPECT_GT(Loudness(recorded, 500).second, 8'000);
    EXPECT_GT(Loudness(recorded, 1500).second, 5'000);

    WriteScene("{\"type\": \"microphone\", \"device\": \"none such\"}");
    const std::string refused =
        folder.Run(VIMBREL_TOOL " run scene.json --seconds 1 || test $? = 2");
    EXPECT_THAT(refused, HasSubstr("sound[0].device: there is no microphone \"none such\""));
}

// The microphone has a way of its own, and a muted one has none.
TEST_P(StudioSound, RecordsMediaLayersBesideAMicrophone) {
    folder.Run(
        "ffmpeg -v error -f lavfi -i testsrc=size=64x64:rate=25 -f lavfi -i"
        " sine=frequency=1500:sample_rate=44100,volume=2 -t 6 -c:v libx264 -preset ultrafast"
        " -c:a aac media.mp4");
    const std::string layer =
        "{\"type\": \"media\", \"file\": \"media.mp4\", \"rect\": [0, 0, 64, 64]}";
    WriteScene("{\"type\": \"media\"}, {\"type\": \"microphone\", \"mute\": true}", layer);
    const auto microphone = server.Play("micin", StereoTone(500, 44'100, 20, 6'000));
    const std::string printed = Studio("run scene.json --seconds 3");
    EXPECT_THAT(printed, HasSubstr("media -1"));
    EXPECT_THAT(printed, HasSubstr("mic muted"));
    const Samples recorded = Recorded();
    // An eighth of full scale, and twice that.
    EXPECT_GT(Loudness(recorded, 1500).second, 7'000);
    EXPECT_LT(Loudness(recorded, 500).first, 50);

    WriteScene("{\"type\": \"media\"}, {\"type\": \"media\"}", layer);
    EXPECT_THAT(folder.Run(VIMBREL_TOOL " run scene.json --seconds 1 || test $? = 2"),
                HasSubstr("sound[1]: is the sound of the media again"));
}

// The second stream an octave higher and half as loud.
TEST_P(StudioSound, MediaLayersSoundAsTheSceneSays) {
    folder.Run(
        "ffmpeg -v error -f lavfi -i testsrc=size=64x64:rate=25 -f lavfi -i sine=1500:d=9 -f lavfi"
        " -i sine=600:sample_rate=44100:d=9,volume=4 -map 0 -map 1 -map 2 -t 9 -c:v libx264"
        " -preset ultrafast -c:a pcm_s16le media.mkv");
    WriteScene("{\"type\": \"media\"}",
               "{\"type\": \"media\", \"file\": \"media.mkv\", \"rect\": [0, 0, 64, 64],"
               " \"audio-stream\": 2, \"pitch\": 200, \"volume\": 50}");
    Studio("run scene.json --seconds 3");
    const Samples recorded = Recorded();
    // Half of half of full scale.
    EXPECT_GT(Loudness(recorded, 1200).second, 5'000);
    EXPECT_LT(Loudness(recorded, 1200).second, 11'000);
    EXPECT_LT(Loudness(recorded, 600).first, 1'000);
    EXPECT_LT(Loudness(recorded, 1500).first, 1'000);
}

// A program on a terminal of its own.
class OnTerminal {
public:
    OnTerminal(const std::filesystem::path& folder, const std::string& command) {
        child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child != 0) return;
        if (chdir(folder.c_str()) == 0)
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
        _exit(127);
    }
    ~OnTerminal() {
        if (child > 0) kill(child, SIGKILL), waitpid(child, nullptr, 0);
        close(terminal);
    }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    void Press(char key) { EXPECT_EQ(write(terminal, &key, 1), 1); }
    // Reads on until it has printed this, or ended.
    bool Prints(const std::string& text) {
        printed.clear();
        const auto found = [&] {
            pollfd readable{terminal, POLLIN, 0};
            char block[256];
            while (poll(&readable, 1, 0) == 1) {
                const ssize_t size = read(terminal, block, sizeof block);
                if (size <= 0) break;
                printed.append(block, static_cast<std::size_t>(size));
            }
            return printed.find(text) != printed.npos;
        };
        return WaitUntil(found);
    }
    // The exit code, or -1 if it does not end.
    int End() {
        int status = 0;
        const auto ended = [&] {
            Prints("");
            return waitpid(child, &status, WNOHANG) == child;
        };
        if (!WaitUntil(ended)) return -1;
        child = -1;
        return WEXITSTATUS(status);
    }

    std::string printed;

private:
    int terminal = -1;
    pid_t child = -1;
};

TEST_P(StudioSound, KeysMuteTheMicrophonesAndEndTheRun) {
    if (GetParam() == SoundServerKind::pipe_wire) return;
    WriteScene("{\"type\": \"microphone\"}, {\"type\": \"system\"}");
    const auto microphone = server.Play("micin", StereoTone(500, 44'100, 30, 6'000));
    OnTerminal studio(folder.path, VIMBREL_TOOL " run scene.json --seconds 100");
    EXPECT_TRUE(studio.Prints("mic -15 dB")) << studio.printed;
    studio.Press('m');
    EXPECT_TRUE(studio.Prints("mic muted")) << studio.printed;
    studio.Press('x');
    studio.Press('m');
    EXPECT_TRUE(studio.Prints("mic -15 dB")) << studio.printed;
    EXPECT_EQ(studio.printed.find('x'), std::string::npos) << "keys are not shown";
    studio.Press('q');
    EXPECT_EQ(studio.End(), 0);
    EXPECT_THAT(folder.Run("ffprobe -v error -show_entries stream=codec_name -of csv out.mp4"),
                HasSubstr("aac"));
}

INSTANTIATE_TEST_SUITE_P(Servers, StudioSound,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test
