// What a recording with sound and picture keeps in memory.
#include "com/Utf8.h"
#include "tests/Source/record/Mp4RecorderKit.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/Sanitized.h"

namespace Vimbrel::test {
namespace {

// The source holds its lock while it waits for sound, and the pictures come meanwhile.
TEST(RecordingMemoryTest, PicturesDoNotPileUpBesideSlowerSound) {
    if (sanitized) GTEST_SKIP() << "sanitizers keep memory that was given back";
    const Scene scene = {.width = 1280, .height = 720, .fps_num = 30};
    constexpr int pictures_a_block = 3;
    constexpr int blocks = 60;
    const std::size_t sound_block = scene.sound_rate / 10;
    const TemporaryFile file;
    const auto recorder = Make(scene);
    ASSERT_TRUE(recorder->Create(FromUtf8(file.Path())));
    ASSERT_TRUE(recorder->Start());
    const Bytes pixels(std::size_t{4} * scene.width * scene.height, 0x40);
    const auto record = [&](int first, int last) {
        for (int block = first; block < last; ++block) {
            for (int i = 0; i < pictures_a_block; ++i)
                PushFrame(*recorder, scene, pixels, scene.FrameTime(block * pictures_a_block + i));
            PushSound(*recorder, scene, static_cast<std::int64_t>(block * sound_block),
                      sound_block, [](std::int64_t) { return 0.0; });
            WaitTaken(*recorder);
        }
    };
    record(0, 20);
    const long before = ResidentKib();
    record(20, blocks);
    EXPECT_LT(ResidentKib() - before, 150 * 1024) << "a picture has 3600 KiB";
    recorder->Stop();
    recorder->Cleanup();
    EXPECT_EQ(Probe(file.Path(), "v", "nb_frames"), std::to_string(blocks * pictures_a_block));
}

}  // namespace
}  // namespace Vimbrel::test
