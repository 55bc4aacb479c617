#include "vimbrel/MediaTranscode.h"

#include <gtest/gtest.h>

namespace Vimbrel::test {
namespace {

class BareRecorder : public MediaTranscode {
public:
    OutputType GetOutputType() const override { return OutputType::MP4; }
};

class CountingRecorder final : public BareRecorder {
public:
    int creates = 0;

private:
    bool OnCreate() override { return ++creates > 0; }
};

TEST(MediaTranscode, WithoutHooksNothingStartsAndSamplesAreIgnored) {
    BareRecorder recorder;
    unsigned char data[4] = {};
    recorder.SetVideoOutputFormat(2, 2);
    recorder.SetVideoFps(30, 1);
    recorder.SetVideoQuality(1);
    recorder.SetAudioOutputFormat(nullptr, nullptr);
    EXPECT_FALSE(recorder.Create(L"file"));
    EXPECT_FALSE(recorder.Start());
    recorder.SetVideoSample(data, 1, 1, 4, 0, 0);
    recorder.SetAudioSample(data, 4, 0, 0);
    recorder.Stop();
    recorder.Cleanup();
    EXPECT_EQ(recorder.GetFilename(), L"file");
    EXPECT_EQ(GetTranscodeStatistics(recorder).videoTaken, 0u);
    const BareRecorder copy = recorder;
    EXPECT_EQ(copy.GetFilename(), L"file");
}

TEST(MediaTranscode, CreateWithItsOwnNameKeepsItAndAsksTheHook) {
    CountingRecorder recorder;
    EXPECT_TRUE(recorder.Create(L"a name that is longer than any small string"));
    EXPECT_TRUE(recorder.Create(recorder.GetFilename()));
    EXPECT_EQ(recorder.GetFilename(), L"a name that is longer than any small string");
    EXPECT_EQ(recorder.creates, 2);
}

}  // namespace
}  // namespace Vimbrel::test
