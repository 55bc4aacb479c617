// The studio's sound on real sound servers.
#include <gmock/gmock.h>

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
    void WriteScene(const std::string& sounds) {
        folder.Write("scene.json",
                     "{\"canvas\": {\"width\": 64, \"height\": 64, \"fps\": 25}, \"layers\": [],"
                     " \"sound\": [" +
                         sounds + "], \"outputs\": [{\"type\": \"mp4\", \"file\": \"out.mp4\"}]}");
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
    folder.Run("ffmpeg -v error -ss 1 -i out.mp4 -t 1.5 -ac 2 -ar 44100 -f s16le -y out.raw");
    Samples recorded(folder.Run("stat -c %s out.raw").empty() ? 0 : 66'150 * 2);
    const Bytes bytes = ReadBytes(folder / "out.raw");
    std::memcpy(recorded.data(), bytes.data(), std::min(bytes.size(), recorded.size() * 2));
    // Lossy, and with gaps where the machine is slow.
    EXPECT_GT(Amplitude(recorded, 500, 44'100), 4'500);
    EXPECT_GT(Amplitude(recorded, 1500, 44'100), 3'000);

    WriteScene("{\"type\": \"microphone\", \"device\": \"none such\"}");
    const std::string refused =
        folder.Run(VIMBREL_TOOL " run scene.json --seconds 1 || test $? = 2");
    EXPECT_THAT(refused, HasSubstr("sound[0].device: there is no microphone \"none such\""));
}

INSTANTIATE_TEST_SUITE_P(Servers, StudioSound,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test
