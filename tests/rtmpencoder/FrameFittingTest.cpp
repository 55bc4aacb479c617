#include "rtmpencoder/frame_fitting.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Vimbrel::test {
namespace {

struct Rectangle {
    std::uint32_t x, y, width, height;
    bool operator==(const Rectangle&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Rectangle& r) {
        return out << '(' << r.x << ", " << r.y << ", " << r.width << " x " << r.height << ')';
    }
};

TEST(FrameFitting, PlacesFramesAtEvenOffsetsAndSizes) {
    const struct {
        std::uint32_t source_width, source_height, width, height, mode;
        Rectangle source, target;
    } cases[] = {
        {1280, 960, 640, 480, 0, {0, 0, 1280, 960}, {0, 0, 640, 480}},       // twice as large
        {1280, 720, 640, 480, 0, {0, 0, 1280, 720}, {0, 60, 640, 360}},      // wide
        {720, 1280, 640, 480, 0, {0, 0, 720, 1280}, {184, 0, 270, 480}},     // portrait; 185 is odd
        {101, 99, 640, 480, 0, {0, 0, 101, 99}, {74, 0, 490, 480}},          // odd and small
        {1280, 720, 640, 480, 1, {160, 0, 960, 720}, {0, 0, 640, 480}},      // filled
        {720, 1280, 640, 480, 1, {0, 370, 720, 540}, {0, 0, 640, 480}},      // filled, portrait
        {1922, 1080, 1920, 1080, 0, {0, 0, 1922, 1080}, {0, 0, 1920, 1078}}  // nearly the same
    };
    for (const auto& row : cases) {
        frame_fitting fitting;
        fitting.scale_mode = row.mode;
        fitting.plan(row.source_width, row.source_height, row.width, row.height);
        const Rectangle source{fitting.source_x, fitting.source_y, fitting.source_rect_width,
                               fitting.source_rect_height};
        const Rectangle target{fitting.target_x, fitting.target_y, fitting.target_rect_width,
                               fitting.target_rect_height};
        EXPECT_EQ(source, row.source)
            << row.source_width << " x " << row.source_height << " mode " << row.mode;
        EXPECT_EQ(target, row.target)
            << row.source_width << " x " << row.source_height << " mode " << row.mode;
        EXPECT_TRUE(fitting.needs_resize());
    }
}

TEST(FrameFitting, WritesTheTargetRectangleAlone) {
    frame_fitting fitting;
    fitting.plan(64, 32, 40, 40);
    const std::vector<std::uint8_t> source(64 * 32 * 4, 200);
    std::vector<std::uint8_t> output(40 * 40 * 4, 7);
    fitting.resize(source.data(), output.data());
    for (std::uint32_t y = 0; y < 40; ++y) {
        const bool inside =
            y >= fitting.target_y && y < fitting.target_y + fitting.target_rect_height;
        const auto row = output.begin() + y * 160;
        EXPECT_EQ(std::count(row, row + 160, inside ? 200 : 7), 160) << y;
    }
}

// The output's size, and sizes that the resize refuses: frames are not resized, whatever was
// planned before.
TEST(FrameFitting, GoesWithoutAResizeWhereThereIsNone) {
    frame_fitting fitting;
    for (const auto& [width, height] :
         {std::pair{640U, 480U}, {0U, 480U}, {1U, 1U}, {100000U, 2U}}) {
        fitting.plan(320, 200, 640, 480);
        ASSERT_TRUE(fitting.needs_resize());
        fitting.plan(width, height, 640, 480);
        EXPECT_FALSE(fitting.needs_resize()) << width << " x " << height;
    }
}

}  // namespace
}  // namespace Vimbrel::test
