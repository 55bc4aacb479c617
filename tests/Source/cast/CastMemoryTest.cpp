// A stream under want of memory, with this system's encoders.
#include <gtest/gtest.h>

#include "Source/cast/CRTMPCastImpl.h"
#include "tests/fakes/FakePublishingSession.h"
#include "tests/support/ScarceMemory.h"

namespace Vimbrel::test {
namespace {

struct Cast {
    FakePublishingServer server;
    CRTMPCastImpl cast{{}, server.Factory()};
};

TEST(RTMPCastMemory, NoOperationOfAStreamThrows) {
    Cast cast;
    cast.cast.SetVideoOutputFormat(64, 48, 30, 1);
    ASSERT_EQ(cast.cast.Start(), RTMPCAST_OK);
    std::vector<unsigned char> bytes(64 * 48 * 4);
    ExpectNoThrow("picture", [&] { cast.cast.SetVideoSample(bytes.data(), 64, 48, 256, 10); });
    ExpectNoThrow("sound", [&] { cast.cast.SetAudioSample(bytes.data(), 4096, 0, 0, 0); });
    // More than there can be, and more than can be counted.
    for (const unsigned size : {0x7FFFFFFFU, 0xFFFFFFFFU})
        EXPECT_NO_THROW(cast.cast.SetVideoSample(bytes.data(), size, size, 1, 20));
    EXPECT_NO_THROW({
        const ScopedAllocationFailure none(0);
        cast.cast.Stop();
    });
    EXPECT_EQ(cast.server.alive, 0);
    for (int successes = 0; successes < 4; ++successes) {
        Cast starved;
        EXPECT_NO_THROW({
            const ScopedAllocationFailure scarce(successes);
            const int status = starved.cast.Start();
            EXPECT_EQ(status != RTMPCAST_OK, scarce.HasFailed()) << successes;
        });
    }
}

}  // namespace
}  // namespace Vimbrel::test
