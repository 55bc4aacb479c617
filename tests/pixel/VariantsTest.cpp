// Every variant that this processor runs against the reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "pixel/reference/ReferenceKernels.h"
#include "tests/pixel/PixelTestKit.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Sanitized.h"

namespace Vimbrel::test {
namespace {

using pixel::RunnableKernels;

struct Arrangement {
    std::int32_t padding;
    bool at_end;
    bool source_upside_down;
    bool destination_upside_down;
};

// A conversion's planes, with noise in them.
struct Scene {
    std::vector<std::unique_ptr<Plane>> sources;
    Planes planes{};
    Steps steps{};

    Scene(const Conversion& conversion, PixelSize size, const Arrangement& arrangement) {
        std::uint32_t seed = static_cast<std::uint32_t>(size.width * 31 + size.height);
        for (const PlaneLayout& layout : conversion.sources(size)) {
            sources.push_back(std::make_unique<Plane>(
                layout, arrangement.padding, arrangement.at_end, arrangement.source_upside_down));
            sources.back()->Fill(++seed);
            planes[sources.size() - 1] = sources.back()->FirstRow();
            steps[sources.size() - 1] = sources.back()->Step();
        }
    }
};

void ExpectSameAsReference(const Conversion& conversion, PixelSize size,
                           const Arrangement& arrangement) {
    const Scene scene(conversion, size, arrangement);
    const Plane destination({4 * size.width, size.height}, arrangement.padding, arrangement.at_end,
                            arrangement.destination_upside_down);
    // What was in the destination before differs, so that no byte is right by chance.
    for (const std::uint32_t prefill : {1000U, 2000U}) {
        const auto convert = [&](const pixel::Kernels& kernels, std::int32_t& code) {
            const WithKernels with(kernels);
            destination.Fill(prefill);
            code = conversion.run(scene.planes, scene.steps, destination.FirstRow(),
                                  destination.Step(), size, 77);
            return destination.Snapshot();
        };
        std::int32_t expected_code = 0;
        const std::vector<std::uint8_t> expected = convert(pixel::reference_kernels, expected_code);
        for (const pixel::Kernels* kernels : RunnableKernels()) {
            std::int32_t code = 0;
            const std::vector<std::uint8_t> got = convert(*kernels, code);
            ASSERT_EQ(code, expected_code);
            ASSERT_LE(Compare(got.data(), expected.data(), got.size()).most,
                      Tolerance(*kernels, conversion))
                << conversion.name << " by " << kernels->name << ", " << size.width << " x "
                << size.height << ", padding " << arrangement.padding;
        }
    }
}

TEST(Variants, EqualTheReferenceAtAllWidths) {
    std::vector<std::int32_t> widths = {95, 96, 97, 127, 128, 129, 130, 191, 255, 257};
    for (std::int32_t width = 1; width <= 70; ++width) widths.push_back(width);
    for (const Conversion& conversion : AllConversions()) {
        for (const std::int32_t width : widths) {
            for (const std::int32_t height : {1, 2, 5}) {
                // Tight pictures up to the guard, and padded ones that begin at it.
                ExpectSameAsReference(conversion, {width, height}, {0, true, false, false});
                if (HasFatalFailure()) return;
            }
            ExpectSameAsReference(conversion, {width, 4}, {13, false, false, true});
            ExpectSameAsReference(conversion, {width, 3}, {3, true, true, false});
            if (HasFatalFailure()) return;
        }
        // Large enough for its rows to be written one by one, and with a rest of a vector.
        if (conversion.halves_rows)
            ExpectSameAsReference(conversion, {2058, 2050}, {0, true, false, false});
    }
}

// For one value of Cr all values of luma and Cb, in even and in odd columns.
struct Colors {
    static constexpr PixelSize size{256, 512};
    std::vector<std::uint8_t> bytes[3];
    Planes planes{};
    Steps steps{};

    Colors(const Conversion& conversion, std::uint8_t cr) {
        const std::vector<PlaneLayout> layouts = conversion.sources(size);
        for (std::size_t i = 0; i < layouts.size(); ++i) {
            bytes[i].resize(static_cast<std::size_t>(layouts[i].row_bytes) *
                            static_cast<std::size_t>(layouts[i].rows));
            planes[i] = bytes[i].data();
            steps[i] = layouts[i].row_bytes;
        }
        // The rows 2n and 2n + 1 have n as their Cb.
        for (std::size_t y = 0; y < 512; ++y) {
            for (std::size_t x = 0; x < 256; ++x) {
                const auto luma = static_cast<std::uint8_t>(x / 2 + (y % 2) * 128 + (x % 2) * 37);
                const auto cb = static_cast<std::uint8_t>(y / 2);
                if (layouts.size() == 1) {
                    const bool luma_first = std::string(conversion.name) == "YUY2";
                    bytes[0][512 * y + 2 * x + (luma_first ? 0 : 1)] = luma;
                    bytes[0][512 * y + 2 * x + (luma_first ? 1 : 0)] = x % 2 == 0 ? cb : cr;
                } else {
                    bytes[0][256 * y + x] = luma;
                    if (layouts.size() == 2) {
                        bytes[1][256 * (y / 2) + x] = x % 2 == 0 ? cb : cr;
                    } else {
                        bytes[1][128 * (y / 2) + x / 2] = cb;
                        bytes[2][128 * (y / 2) + x / 2] = cr;
                    }
                }
            }
        }
    }
};

TEST(Variants, EveryColor) {
    const int step = sanitized ? 17 : 1;
    const std::size_t count = 4 * 256 * 512;
    std::vector<std::uint8_t> expected(count);
    std::vector<std::uint8_t> got(count);
    for (const Conversion& conversion : AllConversions()) {
        if (!conversion.halves_rows && conversion.sources != PairsLayout) continue;
        std::map<const pixel::Kernels*, std::size_t> differing;
        for (int cr = 0; cr < 256; cr += step) {
            const Colors colors(conversion, static_cast<std::uint8_t>(cr));
            const auto convert = [&](const pixel::Kernels& kernels,
                                     std::vector<std::uint8_t>& result) {
                const WithKernels with(kernels);
                ASSERT_EQ(conversion.run(colors.planes, colors.steps, result.data(), 4 * 256,
                                         Colors::size, 255),
                          pixel_done);
            };
            convert(pixel::reference_kernels, expected);
            for (const pixel::Kernels* kernels : RunnableKernels()) {
                if (kernels == &pixel::reference_kernels) continue;
                convert(*kernels, got);
                const Difference difference = Compare(got.data(), expected.data(), count);
                ASSERT_LE(difference.most, Tolerance(*kernels, conversion))
                    << conversion.name << " by " << kernels->name << ", Cr " << cr;
                differing[kernels] += difference.count;
            }
        }
        // Of the three colours of all of them, less than one in 250 is rounded the other way.
        for (const auto& [kernels, number] : differing) {
            EXPECT_LT(number, (255 / step + 1) * count * 3 / 4 / 250)
                << conversion.name << " by " << kernels->name;
        }
    }
}

TEST(Variants, PremultiplyEveryColorByEveryAlpha) {
    std::vector<std::uint8_t> source(4 * 65536);
    for (std::size_t i = 0; i < 65536; ++i) {
        const auto color = static_cast<std::uint8_t>(i >> 8);
        source[4 * i] = color;
        source[4 * i + 1] = static_cast<std::uint8_t>(255 - color);
        source[4 * i + 2] = static_cast<std::uint8_t>(color ^ 0x55);
        source[4 * i + 3] = static_cast<std::uint8_t>(i);
    }
    std::vector<std::uint8_t> expected(source.size());
    {
        const WithKernels with(pixel::reference_kernels);
        PremultiplyBgra(source.data(), 1024, expected.data(), 1024, {256, 256});
    }
    for (const pixel::Kernels* kernels : RunnableKernels()) {
        const WithKernels with(*kernels);
        std::vector<std::uint8_t> in_place = source;
        PremultiplyBgra(in_place.data(), 1024, in_place.data(), 1024, {256, 256});
        EXPECT_TRUE(in_place == expected) << kernels->name;
    }
}

// The alpha bytes may be the last bytes that there are, and the first.
TEST(Variants, FillAlphaTouchesNothingAroundTheAlphaBytes) {
    for (const pixel::Kernels* kernels : RunnableKernels()) {
        const WithKernels with(*kernels);
        for (std::int32_t width = 1; width <= 70; ++width) {
            for (const bool at_end : {false, true}) {
                const Plane plane({4 * width - 3, 1}, 0, at_end, false);
                plane.Fill(5);
                FillAlpha(9, plane.FirstRow(), plane.Step(), {width, 1});
                for (std::int32_t x = 0; x < width; ++x)
                    ASSERT_EQ(plane.FirstRow()[4 * x], 9) << kernels->name << " at " << x;
            }
        }
    }
}

TEST(Variants, AreNamedByTheList) {
    const auto& all = RunnableKernels();
    EXPECT_EQ(&pixel::FastestKernels(""), all.front());
    EXPECT_EQ(all.back(), &pixel::reference_kernels);
    for (const pixel::Kernels* kernels : all) {
        EXPECT_EQ(&pixel::FastestKernels(kernels->name), kernels);
        EXPECT_EQ(&pixel::FastestKernels(std::string("reference,unknown,") + kernels->name),
                  kernels);
    }
    EXPECT_EQ(&pixel::FastestKernels("unknown"), &pixel::reference_kernels);
}

TEST(Variants, AreSelectedWhileOthersConvert) {
    const std::vector<std::uint8_t> source(64 * 2, 128);
    std::atomic<bool> all_grey = true;
    const auto work = [&] {
        for (int i = 0; i < 200; ++i) {
            InitializePixelOperations();
            std::vector<std::uint8_t> destination(64 * 4);
            ConvertUyvyToBgra(source.data(), 128, destination.data(), 256, {64, 1}, 128);
            if (destination != std::vector<std::uint8_t>(256, 128)) all_grey = false;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_TRUE(all_grey);
    EXPECT_TRUE(std::ranges::count(RunnableKernels(), &pixel::SelectedKernels()) == 1);
    pixel::SelectKernels(pixel::reference_kernels);
}

TEST(Variants, NeverAllocate) {
    const PixelSize size{131, 6};
    for (const Conversion& conversion : AllConversions()) {
        const Scene scene(conversion, size, {0, true, false, false});
        std::vector<std::uint8_t> destination(4 * 131 * 6);
        for (const pixel::Kernels* kernels : RunnableKernels()) {
            const WithKernels with(*kernels);
            const std::uint64_t before = AllocationCount();
            conversion.run(scene.planes, scene.steps, destination.data(), 4 * 131, size, 255);
            EXPECT_EQ(AllocationCount(), before) << conversion.name << " by " << kernels->name;
        }
    }
}

}  // namespace
}  // namespace Vimbrel::test
