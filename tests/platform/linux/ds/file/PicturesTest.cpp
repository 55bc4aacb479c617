// Pictures of media files: all of them in order, and the right one after each seek.
#include <gtest/gtest.h>

#include "tests/support/MediaFiles.h"

namespace Vimbrel::test {
namespace {

struct Container {
    const char* file;
    const char* options;
    int rate = 25;
};

void PrintTo(const Container& container, std::ostream* out) { *out << container.file; }

constexpr int pictures = 250;

class Containers : public testing::TestWithParam<Container> {
protected:
    static void SetUpTestSuite() {
        folder = new TempFolder;
        WriteNumberedPictures(*folder, pictures);
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    // With sound, whose interleaving and start times matter.
    std::filesystem::path File() {
        const std::string name = GetParam().file;
        if (!std::filesystem::exists(*folder / name)) {
            folder->Run(
                "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r " +
                std::to_string(GetParam().rate) +
                " -i numbers.yuv -f lavfi -i sine=440:duration=10 " + GetParam().options +
                " -threads 1 " + name);
        }
        return *folder / name;
    }

    NumberReader reader;
    inline static TempFolder* folder = nullptr;
};

TEST_P(Containers, ShowsEachPictureOnceInOrder) {
    FileGraphKit kit(&reader);
    ASSERT_GE(kit.Open(File()), 0);
    ASSERT_GE(kit.graph.control->Run(), 0);
    ASSERT_EQ(kit.graph.Event(30'000), EC_COMPLETE);
    const auto taken = reader.Taken();
    ASSERT_EQ(taken.size(), static_cast<std::size_t>(pictures));
    for (int i = 0; i < pictures; ++i) {
        ASSERT_EQ(taken[static_cast<std::size_t>(i)].number, i);
        // A millisecond for containers that count in them, a twenty-fifth for sound that begins
        // before the pictures.
        ASSERT_NEAR(static_cast<double>(taken[static_cast<std::size_t>(i)].time) / second,
                    static_cast<double>(i) / GetParam().rate, 0.0301);
    }
}

TEST_P(Containers, SeeksToThePictureThatCoversTheTarget) {
    FileGraphKit kit(&reader);
    ASSERT_GE(kit.Open(File()), 0);
    ASSERT_GE(kit.graph.control->Run(), 0);
    ASSERT_EQ(kit.graph.Event(30'000), EC_COMPLETE);
    std::vector<std::int64_t> starts;
    for (const auto& picture : reader.Taken()) starts.push_back(picture.time);
    ASSERT_EQ(starts.size(), static_cast<std::size_t>(pictures));
    ASSERT_GE(kit.graph.control->Pause(), 0);
    for (int i = 0; i < 72; ++i) {
        // All over the file and back and forth, at the starts, middles and ends of pictures.
        const int number = i * 97 % pictures;
        const std::int64_t start = starts[static_cast<std::size_t>(number)];
        const std::int64_t next = number + 1 < pictures
                                      ? starts[static_cast<std::size_t>(number) + 1]
                                      : start + second / GetParam().rate;
        const std::int64_t target = i % 3 == 0 ? start : i % 3 == 1 ? (start + next) / 2 : next - 1;
        ASSERT_EQ(kit.SeekTo(static_cast<double>(target) / second), S_OK);
        // The seek has waited for the picture that was on its way when the graph was paused.
        reader.Clear();
        ASSERT_GE(kit.graph.control->Run(), 0);
        ASSERT_TRUE(WaitUntil([&] { return reader.Count() > 0; })) << "seek " << i;
        ASSERT_GE(kit.graph.control->Pause(), 0);
        EXPECT_EQ(reader.Taken().front().number, number) << "seek " << i << " to " << target;
        EXPECT_NEAR(static_cast<double>(reader.Taken().front().time), static_cast<double>(start),
                    2.0);
    }
}

#define H264 "-c:v libx264 -qp 4 -bf 2 -g 50 -pix_fmt yuv420p "
#define OPEN_GOP "-x264-params open-gop=1 "
INSTANTIATE_TEST_SUITE_P(
    Kinds, Containers,
    testing::Values(Container{"numbers.mp4", H264 "-c:a aac"},
                    Container{"open.mp4", H264 OPEN_GOP "-c:a aac"},
                    Container{"numbers.mkv", H264 OPEN_GOP "-c:a aac"},
                    Container{"numbers.mov", H264 "-c:a pcm_s16le"},
                    Container{"numbers.ts", H264 OPEN_GOP "-c:a aac"},
                    Container{"numbers.flv", H264 "-c:a aac"},
                    Container{"numbers.avi", "-c:v mpeg4 -q:v 1 -bf 2 -g 50 -c:a pcm_s16le"},
                    Container{"h264.avi", H264 "-c:a pcm_s16le"},
                    Container{"thirty.webm", "-c:v libvpx -b:v 2M -g 50 -c:a libopus", 30}),
    [](const auto& each) {
        std::string name = each.param.file;
        name[name.find('.')] = '_';
        return name;
    });

}  // namespace
}  // namespace Vimbrel::test
