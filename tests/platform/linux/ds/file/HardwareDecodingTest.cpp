// Pictures by a decoding device, and without it: where there is none, where it refuses the stream,
// and where it fails in the middle.
#include <gtest/gtest.h>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDecodingDevice.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/Watchdog.h"

namespace Vimbrel::test {
namespace {

using Fault = FakeDecodingDevice::Fault;

constexpr int pictures = 50;
// Opens, but is no graphics card.
constexpr const char* node = "/dev/null";

// Also counts the pictures that the device has made, which are a little brighter.
class Reader final : public IDSRenderVideo::CDispatcher {
public:
    void OnVideoSample(unsigned char* pixels, int width, int height, int stride, std::int64_t time,
                       std::int64_t duration) override {
        const int number = NumberOf(pixels, stride);
        const int green = pixels[number_height / 2 * stride + (number_width - 8) * 4 + 1];
        const double luma = 16 + green * 219.0 / 255;
        if (luma - (24 + number % 16 * 13) > FakeDecodingDevice::brighter / 2.0) ++from_device;
        numbers.OnVideoSample(pixels, width, height, stride, time, duration);
    }
    std::atomic<int> from_device{0};
    NumberReader numbers;
};

struct Case {
    const char* name;
    const char* device;  // what the setting names
    bool present;
    Fault fault = Fault::none;
    int good = 0;         // pictures before the fault
    int from_device = 0;  // at least
    int warnings = 0;
};

void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }

class Devices : public testing::TestWithParam<Case> {
protected:
    static void SetUpTestSuite() {
        folder = new TempFolder;
        WriteNumberedPictures(*folder, pictures);
        folder->Run(
            "ffmpeg -nostdin -loglevel error -f rawvideo -pix_fmt yuv420p -s 64x48 -r 25 "
            "-i numbers.yuv -c:v libx264 -qp 4 -bf 2 -g 250 -sc_threshold 0 -threads 1 "
            "numbers.mp4");
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    Devices() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        setenv("VIMBREL_DECODING_DEVICE", GetParam().device, 1);
        if (GetParam().present)
            device = std::make_unique<FakeDecodingDevice>(GetParam().fault, GetParam().good);
        TakeLog();
    }
    ~Devices() override {
        unsetenv("VIMBREL_DECODING_DEVICE");
        CoUninitialize();
    }
    static int Warnings() {
        int count = 0;
        for (const LogLine& line : TakeLog()) count += line.level >= 3 ? 1 : 0;
        return count;
    }

    const Watchdog watchdog{"decoding devices"};
    std::unique_ptr<FakeDecodingDevice> device;
    Reader reader;
    inline static TempFolder* folder = nullptr;
};

TEST_P(Devices, EveryPictureComesOnce) {
    {
        FileGraphKit kit(&reader);
        ASSERT_EQ(kit.Open(*folder / "numbers.mp4"), S_OK);
        ASSERT_GE(kit.graph.control->Run(), 0);
        EXPECT_EQ(kit.graph.Event(20'000), EC_COMPLETE);
    }
    const auto taken = reader.numbers.Taken();
    ASSERT_EQ(taken.size(), static_cast<std::size_t>(pictures));
    for (int i = 0; i < pictures; ++i) {
        EXPECT_EQ(taken[static_cast<std::size_t>(i)].number, i);
        EXPECT_EQ(taken[static_cast<std::size_t>(i)].time, i * 400'000);
    }
    EXPECT_GE(reader.from_device, GetParam().from_device);
    const bool fails = GetParam().fault != Fault::none;
    EXPECT_EQ(reader.from_device == pictures, GetParam().present && !fails);
    EXPECT_EQ(Warnings(), GetParam().warnings);
}

// The device fails on the way to a target, or behind it.
TEST_P(Devices, SeeksReachTheirPictures) {
    FileGraphKit kit(&reader);
    ASSERT_EQ(kit.Open(*folder / "numbers.mp4"), S_OK);
    for (const int number : {30, 7, 49, 0, 24}) {
        reader.numbers.Clear();
        ASSERT_EQ(kit.SeekTo(number / 25.0 + 0.01), S_OK);
        ASSERT_GE(kit.graph.control->Run(), 0);
        ASSERT_TRUE(WaitUntil([&] { return reader.numbers.Count() > 0; })) << number;
        kit.graph.control->Stop();
        EXPECT_EQ(reader.numbers.Taken().front().number, number);
    }
    EXPECT_LE(Warnings(), GetParam().warnings);
}

INSTANTIATE_TEST_SUITE_P(
    All, Devices,
    testing::Values(Case{"SwitchedOff", "none", true, Fault::picture},
                    Case{"NoSuchNode", "/dev/dri/none", true, Fault::picture, 0, 0, 1},
                    Case{"NodeRefuses", node, false, Fault::none, 0, 0, 1},
                    Case{"Works", node, true, Fault::none, 0, pictures, 0},
                    Case{"ProfileRefused", node, true, Fault::profile, 0, 0, 1},
                    Case{"ContextRefused", node, true, Fault::context, 0, 0, 1},
                    Case{"FirstPictureFails", node, true, Fault::picture, 0, 0, 1},
                    Case{"PictureFails", node, true, Fault::picture, 20, 10, 1},
                    Case{"LastPictureFails", node, true, Fault::picture, pictures - 1, 40, 1},
                    Case{"FirstTransferFails", node, true, Fault::transfer, 0, 0, 1},
                    Case{"TransferFails", node, true, Fault::transfer, 20, 20, 1},
                    Case{"LastTransferFails", node, true, Fault::transfer, pictures - 1,
                         pictures - 1, 1}),
    testing::PrintToStringParamName());

}  // namespace
}  // namespace Vimbrel::test
