#include "vimbrel/MediaTranscode.h"

#include <gtest/gtest.h>

namespace Vimbrel::test {
namespace {

class BareRecorder final : public MediaTranscode {
public:
    OutputType GetOutputType() const override { return OutputType::MP4; }
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
    EXPECT_EQ(recorder.GetFilename(), L"file");
    recorder.Stop();
    recorder.Cleanup();
    EXPECT_FALSE(recorder.Create(recorder.GetFilename()));
    EXPECT_EQ(recorder.GetFilename(), L"file");
    EXPECT_EQ(GetTranscodeStatistics(recorder).videoTaken, 0u);
}

}  // namespace
}  // namespace Vimbrel::test
