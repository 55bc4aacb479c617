// Recordings as other programs see them.
#include "platform/linux/mf/session/TranscodePipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "tests/platform/linux/mf/Mp4TestKit.h"
#include "tests/support/Sanitized.h"

namespace Vimbrel::test {
namespace {

using ::testing::HasSubstr;

// The types of the boxes at the top, by their order.
std::string TopBoxes(const Bytes& bytes) {
    std::string types;
    for (std::size_t at = 0; at + 16 <= bytes.size();) {
        std::uint64_t size = 0;
        for (std::size_t i = 0; i < 4; ++i) size = size << 8 | bytes[at + i];
        const std::string type(bytes.begin() + static_cast<std::ptrdiff_t>(at + 4),
                               bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
        if (size == 1) {
            for (std::size_t i = 8; i < 16; ++i) size = size << 8 | bytes[at + i];
        }
        types += (types.empty() ? "" : " ") + type;
        if (size < 8 || size > bytes.size() - at) return types + " broken";
        at += size;
    }
    return types;
}

TEST(TranscodePipeline, ForeignReadersSeeWhatWasPushed) {
    const struct {
        UINT width, height, num, den;
        int frames;
    } cases[] = {
        {144, 256, 60, 1, 130},
        {320, 240, 30000, 1001, 70},
        {66, 50, 10'000'000, 333'333, 40},
        {64, 48, 11, 1, 40},
    };
    for (const auto& each : cases) {
        Scene scene = {
            .width = each.width, .height = each.height, .fps_num = each.num, .fps_den = each.den};
        scene.bit_rate = std::max(each.width * each.height * 5, 20'000u);
        SCOPED_TRACE(std::to_string(each.width) + "x" + std::to_string(each.height) + "@" +
                     std::to_string(each.num));
        const TemporaryFile file;
        ASSERT_EQ(Record(file.Path(), scene, each.frames), S_OK);
        // One call for a stream, in ffprobe's own order.
        std::string found = Probe(file.Path(), "v",
                                  "codec_name,profile,width,height,pix_fmt,color_range,r_frame_"
                                  "rate,start_time,duration,nb_frames");
        const std::string head = "h264,Main," + std::to_string(each.width) + "," +
                                 std::to_string(each.height) + ",yuv420p,tv,";
        ASSERT_EQ(found.substr(0, head.size()), head);
        double num = 0;
        double den = 0;
        double start = -1;
        double length = 0;
        int frames = 0;
        ASSERT_EQ(std::sscanf(found.c_str() + head.size(), "%lf/%lf,%lf,%lf,%d", &num, &den, &start,
                              &length, &frames),
                  5)
            << found;
        EXPECT_NEAR(num / den, scene.Rate(), scene.Rate() * 1e-4);
        EXPECT_EQ(start, 0.0);
        EXPECT_NEAR(length, each.frames / scene.Rate(), 0.5 / scene.Rate());
        EXPECT_EQ(frames, each.frames);
        found =
            Probe(file.Path(), "a", "codec_name,profile,sample_rate,channels,start_time,duration");
        ASSERT_EQ(std::sscanf(found.c_str(), "aac,LC,44100,2,%lf,%lf", &start, &length), 2)
            << found;
        EXPECT_EQ(start, 0.0);
        EXPECT_NEAR(length, each.frames / scene.Rate(), 1000.0 / 44100 + 0.001);
        ExpectDecodes(file.Path());
        EXPECT_EQ(TopBoxes(file.Read()), "ftyp moov free mdat") << "the index is in front";
    }
}

// Both matrices, and that the file names the one that was used.
TEST(TranscodePipeline, PicturesComeOutAsTheyWentIn) {
    const std::pair<UINT, UINT> sizes[] = {{320, 240}, {1280, 720}};
    for (const auto& [width, height] : sizes) {
        const Scene scene = {
            .width = width, .height = height, .bit_rate = width * height * 5, .sound_rate = 0};
        const TemporaryFile file;
        constexpr int frames = sanitized ? 3 : 12;
        ASSERT_EQ(Record(file.Path(), scene, frames), S_OK);
        EXPECT_EQ(Probe(file.Path(), "v", "color_space"), height == 720 ? "bt709" : "smpte170m");
        const Bytes decoded = DecodedPicture(
            file.Path(), "-sws_flags accurate_rnd+full_chroma_inp+full_chroma_int -pix_fmt bgra");
        const std::size_t size = std::size_t{width} * height * 4;
        ASSERT_EQ(decoded.size(), size * frames);
        double squares = 0;
        double sums[3] = {};
        for (int n = 0; n < frames; ++n) {
            const Bytes pushed = Frame(scene, n);
            for (std::size_t i = 0; i < size; ++i) {
                if (i % 4 == 3) continue;
                const int difference = pushed[i] - decoded[static_cast<std::size_t>(n) * size + i];
                squares += difference * difference;
                sums[i % 4] += difference;
            }
        }
        const double count = static_cast<double>(size) * frames / 4;
        EXPECT_GT(10 * std::log10(255.0 * 255 * count * 3 / squares), 38.0);
        for (const double sum : sums)
            EXPECT_NEAR(sum / count, 0.0, 1.0) << "a matrix mistaken shifts the colours";
    }
}

TEST(TranscodePipeline, AllFormatsOfSound) {
    const Scene cases[] = {
        {.channels = 1, .bits = 8},
        {.bits = 16},
        {.bits = 24, .out_rate = 48000},
        {.bits = 32, .out_channels = 1},
        {.bits = 32, .is_float = true},
        {.sound_rate = 32000, .channels = 1, .out_rate = 44100, .out_channels = 2},
        {.sound_rate = 96000, .channels = 6, .bits = 24, .out_rate = 48000, .out_channels = 6},
    };
    for (Scene scene : cases) {
        scene.width = 0;
        SCOPED_TRACE(std::to_string(scene.bits) + " bits, " + std::to_string(scene.channels) +
                     " channels");
        const TemporaryFile file;
        ASSERT_EQ(Record(file.Path(), scene, 25), S_OK);
        EXPECT_EQ(Probe(file.Path(), "a", "sample_rate,channels"),
                  std::to_string(scene.out_rate) + "," + std::to_string(scene.out_channels));
        ExpectDecodes(file.Path());
        const std::vector<std::int16_t> samples = DecodedSound(file.Path());
        ASSERT_NEAR(static_cast<double>(samples.size()), scene.out_rate, scene.out_rate * 0.04);
        double squares = 0;
        int crossings = 0;
        const std::size_t from = samples.size() / 4;
        const std::size_t to = samples.size() / 4 * 3;
        for (std::size_t i = from; i < to; ++i) {
            squares += static_cast<double>(samples[i]) * samples[i];
            if (samples[i] >= 0 && samples[i - 1] < 0) ++crossings;
        }
        EXPECT_NEAR(crossings / (static_cast<double>(to - from) / scene.out_rate), 1000, 5);
        // All channels carry the same. One into two is by custom a little quieter each; six are not
        // compared, as ours is not the mix.
        if (scene.out_channels > 2) continue;
        const double level = scene.channels < scene.out_channels ? 0.25 : 0.5 / std::sqrt(2.0);
        EXPECT_NEAR(std::sqrt(squares / static_cast<double>(to - from)) / 32768, level, 0.02);
    }
}

// A child that is killed in the midst of its recording.
void RecordAndDie(const std::string& path, const Scene& scene, int frames) {
    const pid_t child = fork();
    if (child == 0) {
        std::unique_ptr<TranscodePipeline> pipeline;
        if (FAILED(Open(path, scene, pipeline)) || FAILED(Push(*pipeline, scene, frames))) _exit(1);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
}

TEST(TranscodePipeline, KilledRecordingLosesTwoSecondsAtMost) {
    for (const UINT rate : {1u, 12u, 25u, 60u}) {
        SCOPED_TRACE(rate);
        const Scene scene = {.fps_num = rate};
        const TemporaryFile file;
        constexpr int seconds = 7;
        RecordAndDie(file.Path(), scene, seconds * static_cast<int>(rate));
        EXPECT_GE(Times(file.Path(), "v").back() + 1.0 / rate, seconds - 2);
        EXPECT_GE(Times(file.Path(), "a").back(), seconds - 2);
        EXPECT_NEAR(Times(file.Path(), "v").front(), 0.0, 1e-4) << "and both begin together";
        EXPECT_NEAR(ProbeNumber(file.Path(), "a", "start_time"), 0.0, 0.03);
        ExpectDecodes(file.Path());
    }
}

TEST(TranscodePipeline, DroppedPipelineLeavesWhatACutOffOneWould) {
    const TemporaryFile file;
    const Scene scene;
    {
        std::unique_ptr<TranscodePipeline> pipeline;
        ASSERT_EQ(Open(file.Path(), scene, pipeline), S_OK);
        ASSERT_EQ(Push(*pipeline, scene, 100), S_OK);
    }
    EXPECT_THAT(TopBoxes(file.Read()), HasSubstr("ftyp free moov moof mdat"));
    EXPECT_GE(Times(file.Path(), "v").back(), 2.0);
    ExpectDecodes(file.Path());
}

}  // namespace
}  // namespace Vimbrel::test
