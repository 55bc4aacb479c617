// A server that takes connections and says nothing. Slow: half a minute of waiting.
#include <gtest/gtest.h>

#include "tests/support/CastSession.h"
#include "tests/support/Sockets.h"

namespace Vimbrel::test {
namespace {

TEST(RTMPSilence, EndsTheStartAfterHalfAMinute) {
    std::uint16_t port = 0;
    const Socket listener = Listen(port);
    const auto cast = MakeCast("rtmp://127.0.0.1:" + std::to_string(port) + "/live/key");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(cast->Start(), RTMPCAST_CONNECTION_FAILED);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, 29s);
    EXPECT_LT(waited, 60s);
}

}  // namespace
}  // namespace Vimbrel::test
