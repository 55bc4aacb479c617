// The resize: every variant against the formula, and what its plan is checked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tests/pixel/PixelTestKit.h"
#include "tests/support/AllocationCounter.h"

namespace Vimbrel::test {
namespace {

using pixel::RunnableKernels;

// A plan and a work buffer that end where their sizes say.
class Resizer {
public:
    Resizer(PixelSize source, PixelSize wanted) : destination(wanted) {
        std::int32_t plan_bytes = 0;
        std::int32_t initialization_bytes = -1;
        EXPECT_EQ(ResizeGetSizes(source, destination, resize_linear, 0, &plan_bytes,
                                 &initialization_bytes),
                  pixel_done);
        EXPECT_EQ(initialization_bytes, 0);
        plan_memory = std::make_unique<GuardedMemory>(static_cast<std::size_t>(plan_bytes));
        // Plans are aligned as malloc aligns; up to 12 bytes before the guard are out of its reach.
        plan = plan_memory->End() - (plan_bytes + 15) / 16 * 16;
        EXPECT_EQ(ResizeInit(source, destination, plan), pixel_done);
        std::int32_t buffer_bytes = 0;
        EXPECT_EQ(ResizeGetBufferSize(plan, destination, resize_channels, &buffer_bytes),
                  pixel_done);
        buffer_memory = std::make_unique<GuardedMemory>(static_cast<std::size_t>(buffer_bytes));
        buffer = buffer_memory->End() - buffer_bytes;
    }

    std::int32_t Run(const Plane& from, const Plane& to) const {
        return ResizeBilinearBgra(from.FirstRow(), from.Step(), to.FirstRow(), to.Step(), {0, 0},
                                  destination, resize_border_replicate, plan, buffer);
    }

    std::uint8_t* plan;
    std::uint8_t* buffer;

private:
    PixelSize destination;
    std::unique_ptr<GuardedMemory> plan_memory;
    std::unique_ptr<GuardedMemory> buffer_memory;
};

struct Place {
    std::int32_t first, second;
    float weight;

    Place(std::int32_t position, std::int32_t from, std::int32_t to) {
        const double s = (position + 0.5) * from / to - 0.5;
        const auto whole = static_cast<std::int32_t>(std::floor(s));
        first = std::clamp(whole, 0, from - 1);
        second = std::clamp(whole + 1, 0, from - 1);
        weight = static_cast<float>(s - std::floor(s));
    }
};

// The formula: within both rows, then between them.
std::uint8_t Expected(const Plane& source, const Place& x, const Place& y, int channel) {
    const auto within = [&](std::int32_t row) {
        const float a = source.Row(row)[4 * x.first + channel];
        const float b = source.Row(row)[4 * x.second + channel];
        const float product = (b - a) * x.weight;
        return a + product;
    };
    const float upper = within(y.first);
    const float product = (within(y.second) - upper) * y.weight;
    return static_cast<std::uint8_t>(std::clamp(std::nearbyint(upper + product), 0.0F, 255.0F));
}

// Every variant gives the bytes of the formula, ties included.
void ExpectFormula(PixelSize from, PixelSize to, std::int32_t padding, bool upside_down) {
    const Plane source({4 * from.width, from.height}, padding, true, !upside_down);
    source.Fill(static_cast<std::uint32_t>(from.width * 7 + to.width));
    const Plane destination({4 * to.width, to.height}, padding, true, upside_down);
    destination.Fill(1);
    for (std::int32_t y = 0; y < to.height; ++y) {
        for (std::int32_t x = 0; x < to.width; ++x) {
            const Place x_place(x, from.width, to.width);
            const Place y_place(y, from.height, to.height);
            for (int channel = 0; channel < 4; ++channel)
                destination.Row(y)[4 * x + channel] = Expected(source, x_place, y_place, channel);
        }
    }
    const std::vector<std::uint8_t> expected = destination.Snapshot();
    const Resizer resizer(from, to);
    for (const pixel::Kernels* kernels : RunnableKernels()) {
        const WithKernels with(*kernels);
        destination.Fill(1);
        ASSERT_EQ(resizer.Run(source, destination), pixel_done);
        const std::vector<std::uint8_t> got = destination.Snapshot();
        ASSERT_TRUE(got == expected)
            << kernels->name << ": " << from.width << " x " << from.height << " to " << to.width
            << " x " << to.height << ", first difference at byte "
            << std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin();
    }
}

TEST(Resize, FollowsTheFormulaAtTheSizesOfPictures) {
    struct {
        PixelSize from, to;
    } const cases[] = {
        {{1920, 12}, {1280, 8}},    // sixteenths
        {{1280, 80}, {1920, 120}},  // sixths: many ties, and weights that are not exact
        {{2560, 80}, {1920, 60}},   // the same, reducing
        {{1274, 12}, {1911, 18}},   // repeated tiles up to less than a vector
        {{3840, 24}, {1920, 12}},   // halves
        {{70, 6}, {35, 3}},         // halves, less than a vector
        {{64, 4}, {64, 37}},        // many rows between two
        {{1280, 8}, {2560, 16}},    // sixteenths, enlarging
        {{640, 9}, {1280, 6}},      // unlike axes
        {{1366, 9}, {1280, 7}},     // no common weights
        {{1920, 40}, {137, 3}},     // columns further apart than a window
        {{3840, 24}, {1280, 8}},    // only whole samples
        {{1000, 10}, {1000, 10}},   // as it is
        {{2, 2}, {301, 5}},         // less than a window
    };
    for (const auto& sizes : cases) {
        ExpectFormula(sizes.from, sizes.to, 0, false);
        if (HasFatalFailure()) return;
    }
}

TEST(Resize, FollowsTheFormulaAtSmallSizes) {
    for (std::int32_t from = 2; from <= 40; from += from < 12 ? 1 : 5) {
        for (std::int32_t to = 1; to <= 70; to += to < 20 ? 1 : 7) {
            ExpectFormula({from, 2 + from % 5}, {to, 1 + to % 6}, from % 3 * 4 + to % 2,
                          to % 2 == 0);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(Resize, EqualSizesReproduceTheSource) {
    const PixelSize size{67, 5};
    const Plane source({4 * size.width, size.height}, 0, true, false);
    source.Fill(3);
    const Plane destination({4 * size.width, size.height}, 0, true, false);
    const Resizer resizer(size, size);
    for (const pixel::Kernels* kernels : RunnableKernels()) {
        const WithKernels with(*kernels);
        destination.Fill(4);
        resizer.Run(source, destination);
        EXPECT_EQ(std::memcmp(source.FirstRow(), destination.FirstRow(), 4 * 67 * 5), 0)
            << kernels->name;
    }
}

// A plan may serve a picture per frame: nothing of one is left over for the next.
TEST(Resize, RunsAgainWithoutAllocating) {
    const Resizer resizer({50, 30}, {70, 20});
    const Plane first({4 * 50, 30}, 0, true, false);
    const Plane second({4 * 50, 30}, 0, true, false);
    first.Fill(1);
    second.Fill(2);
    const Plane destination({4 * 70, 20}, 0, true, false);
    for (const pixel::Kernels* kernels : RunnableKernels()) {
        const WithKernels with(*kernels);
        resizer.Run(first, destination);
        const std::vector<std::uint8_t> expected = destination.Snapshot();
        const std::uint64_t before = AllocationCount();
        resizer.Run(second, destination);
        resizer.Run(first, destination);
        EXPECT_EQ(AllocationCount(), before);
        EXPECT_TRUE(destination.Snapshot() == expected) << kernels->name;
    }
}

TEST(Resize, ResultCodes) {
    std::int32_t plan_bytes = 0;
    std::int32_t other_bytes = 0;
    for (const PixelSize small :
         {PixelSize{1, 2}, PixelSize{2, 1}, PixelSize{0, 0}, PixelSize{-4, 4}}) {
        EXPECT_EQ(ResizeGetSizes(small, {2, 2}, resize_linear, 0, &plan_bytes, &other_bytes), -6);
    }
    EXPECT_EQ(ResizeGetSizes({2, 2}, {0, 2}, resize_linear, 0, &plan_bytes, &other_bytes), -6);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 0}, resize_linear, 0, &plan_bytes, &other_bytes), -6);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 1 << 30}, resize_linear, 0, &plan_bytes, &other_bytes),
              -6);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 2}, resize_linear, 0, nullptr, &other_bytes), -8);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 2}, resize_linear, 0, &plan_bytes, nullptr), -8);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 2}, 1, 0, &plan_bytes, &other_bytes), pixel_unsupported);
    EXPECT_EQ(ResizeGetSizes({2, 2}, {2, 2}, resize_linear, 1, &plan_bytes, &other_bytes),
              pixel_unsupported);
    EXPECT_EQ(ResizeInit({2, 2}, {2, 2}, nullptr), -8);

    const Resizer resizer({4, 4}, {2, 2});
    EXPECT_EQ(ResizeInit({1, 4}, {2, 2}, resizer.plan), -6);
    std::uint32_t magic = 0;
    std::memcpy(&magic, resizer.plan, 4);
    EXPECT_EQ(magic, 0x4B617389U);
    EXPECT_EQ(ResizeGetBufferSize(nullptr, {2, 2}, 4, &other_bytes), -8);
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 2}, 4, nullptr), -8);
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 3}, 4, &other_bytes), -6);
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 2}, 5, &other_bytes), pixel_unsupported);
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 2}, 4, &other_bytes), pixel_done);
    std::int32_t color_bytes = 0;
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 2}, 3, &color_bytes), pixel_done);
    EXPECT_EQ(color_bytes, other_bytes);

    const std::vector<std::uint8_t> source(64, 50);
    std::vector<std::uint8_t> destination(16, 0xEE);
    const auto resize = [&](PixelOffset offset, PixelSize size, std::int32_t border) {
        return ResizeBilinearBgra(source.data(), 16, destination.data(), 8, offset, size, border,
                                  resizer.plan, resizer.buffer);
    };
    EXPECT_EQ(ResizeBilinearBgra(nullptr, 16, destination.data(), 8, {0, 0}, {2, 2}, 1,
                                 resizer.plan, resizer.buffer),
              -8);
    EXPECT_EQ(ResizeBilinearBgra(source.data(), 16, nullptr, 8, {0, 0}, {2, 2}, 1, resizer.plan,
                                 resizer.buffer),
              -8);
    EXPECT_EQ(ResizeBilinearBgra(source.data(), 16, destination.data(), 8, {0, 0}, {2, 2}, 1,
                                 nullptr, resizer.buffer),
              -8);
    EXPECT_EQ(ResizeBilinearBgra(source.data(), 16, destination.data(), 8, {0, 0}, {2, 2}, 1,
                                 resizer.plan, nullptr),
              -8);
    EXPECT_EQ(resize({0, 0}, {2, 1}, 1), -6);
    EXPECT_EQ(resize({0, 0}, {2, 2}, 0), pixel_unsupported);
    EXPECT_EQ(resize({0, 1}, {2, 2}, 1), pixel_unsupported);
    resizer.plan[0] ^= 1;
    EXPECT_EQ(resize({0, 0}, {2, 2}, 1), pixel_bad_plan);
    EXPECT_EQ(ResizeGetBufferSize(resizer.plan, {2, 2}, 4, &other_bytes), pixel_bad_plan);
    EXPECT_EQ(destination, std::vector<std::uint8_t>(16, 0xEE));
    resizer.plan[0] ^= 1;
    EXPECT_EQ(resize({0, 0}, {2, 2}, 1), 0);
    EXPECT_EQ(destination, std::vector<std::uint8_t>(16, 50));
}

}  // namespace
}  // namespace Vimbrel::test
