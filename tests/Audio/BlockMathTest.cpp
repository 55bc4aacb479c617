#include "Audio/BlockMath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
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

TEST(BlockMathTest, EveryVariantConvertsAsThePlainLoop) {
    const Samples all = AllSamples();
    std::vector<float> exact(all.size());
    plain_block_math.to_floats(all.data(), all.size(), exact.data());
    EXPECT_EQ(exact.front(), -1.0F);
    EXPECT_EQ(exact[32769], 1 / 32'768.0F);
    // Halves, quarters and beyond the ends.
    const float infinite = std::numeric_limits<float>::infinity();
    std::vector<float> floats = {1.0F, 1e9F, -1e9F, infinite, -infinite, -NAN, NAN, 0.0F};
    for (int i = -4 * 32'770; i <= 4 * 32'770; ++i)
        floats.push_back(static_cast<float>(i) / (4 * 32'768.0F));
    Samples rounded(floats.size());
    plain_block_math.to_samples(floats.data(), floats.size(), rounded.data());
    EXPECT_EQ(Samples(rounded.begin(), rounded.begin() + 8),
              (Samples{32767, 32767, -32768, 32767, -32768, -32768, -32768, 0}));
    for (int half = 0; half < 4; ++half)
        EXPECT_EQ(rounded[8u + 4 * 32'770 + 4u * half + 2], half + half % 2) << "to the even one";
    for (const BlockMath* math : RunnableBlockMath()) {
        for (const std::size_t count : {all.size(), std::size_t{37}, std::size_t{1}}) {
            std::vector<float> there(count + 1, 7);
            math->to_floats(all.data(), count, there.data());
            ASSERT_TRUE(std::equal(exact.begin(), exact.begin() + count, there.begin()))
                << math->name;
            EXPECT_EQ(there[count], 7);
            Samples back(count + 1, 7);
            math->to_samples(there.data(), count, back.data());
            ASSERT_TRUE(std::equal(all.begin(), all.begin() + count, back.begin())) << math->name;
            EXPECT_EQ(back[count], 7);
        }
        Samples same(floats.size());
        math->to_samples(floats.data(), floats.size(), same.data());
        EXPECT_EQ(same, rounded) << math->name;
    }
}

}  // namespace
}  // namespace Vimbrel::test
