#include "Source/cast/BitRateMeter.h"

#include <gtest/gtest.h>

namespace Vimbrel::test {
namespace {

TEST(BitRateMeter, CountsWindowsOfMoreThanASecond) {
    BitRateMeter meter;
    meter.Reset();
    meter.Add(5000, 100);  // starts the clock and is not counted
    for (std::int64_t time = 200; time <= 1100; time += 100) meter.Add(1000, time);
    EXPECT_EQ(meter.Current(), 0);  // just a second is not more than one
    meter.Add(1000, 1200);
    EXPECT_EQ(meter.Current(), 11 * 1000 * 8 * 1000 / 1100);
    EXPECT_EQ(meter.Average(), meter.Current());
    meter.Add(20000, 3200);
    EXPECT_EQ(meter.Current(), 20000 * 8 / 2);
    EXPECT_EQ(meter.Average(), 31000 * 8 * 1000 / 3100);
    meter.Reset();
    EXPECT_EQ(meter.Current(), 0);
    EXPECT_EQ(meter.Average(), 0);
}

}  // namespace
}  // namespace Vimbrel::test
