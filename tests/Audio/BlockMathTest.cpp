#include "Audio/BlockMath.h"

#include <gtest/gtest.h>

#include <vector>

namespace Vimbrel::test {
namespace {

using Samples = std::vector<std::int16_t>;

Samples AllSamples() {
    Samples all;
    for (int sample = INT16_MIN; sample <= INT16_MAX; ++sample)
        all.push_back(static_cast<std::int16_t>(sample));
    return all;
}

Samples Scaled(const BlockMath& math, Samples samples, std::int32_t percent) {
    math.scale(samples.data(), samples.size(), percent);
    return samples;
}

TEST(BlockMathTest, ScalesAsThePlainLoopWhichTruncatesTowardsZero) {
    const Samples samples = {-32768, -101, -1, 0, 1, 99, 101, 32767};
    EXPECT_EQ(Scaled(plain_block_math, samples, 99),
              (Samples{-32440, -99, 0, 0, 0, 98, 99, 32439}));
    EXPECT_EQ(Scaled(plain_block_math, samples, -5), (Samples{1638, 5, 0, 0, 0, -4, -5, -1638}));
    // 32767 * -70000 exceeds 32 bits: 2^32 - 2293690000 is left, and 16 bits of its hundredth.
    EXPECT_EQ(Scaled(plain_block_math, {32767}, -70'000), Samples{24'292});
    const Samples all = AllSamples();
    for (const BlockMath* math : RunnableBlockMath()) {
        for (std::int32_t percent = -5; percent <= 101; ++percent) {
            ASSERT_EQ(Scaled(*math, all, percent), Scaled(plain_block_math, all, percent))
                << math->name << " " << percent;
        }
    }
}

TEST(BlockMathTest, EveryVariantClipsSums) {
    const std::int16_t edges[] = {-32768, -32767, -16385, -16384, -256,  -255,  -2,    -1,   0, 1,
                                  2,      255,    256,    16383,  16384, 16385, 32766, 32767};
    for (const BlockMath* math : RunnableBlockMath()) {
        for (const std::int16_t edge : edges) {
            Samples sums = AllSamples();
            math->add(sums.data(), Samples(sums.size(), edge).data(), sums.size());
            for (int i = 0; i < 65536; ++i) {
                const int sum = i + INT16_MIN + edge;
                const int clipped = sum > 32767 ? 32767 : sum < -32768 ? -32768 : sum;
                ASSERT_EQ(sums[static_cast<std::size_t>(i)], clipped) << math->name << " " << edge;
            }
        }
        // Lengths that are no whole number of vectors, at places that no vector begins at.
        for (std::size_t count = 0; count < 70; ++count) {
            Samples samples(count + 2, 1000);
            math->scale(samples.data() + 1, count, 50);
            math->add(samples.data() + 1, Samples(count, 7).data(), count);
            Samples expected(count + 2, 507);
            expected.front() = expected.back() = 1000;
            ASSERT_EQ(samples, expected) << math->name << " " << count;
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test
