// The rule by which stamps that jump are placed, for picture and sound alike.
#include "platform/linux/mf/session/StampLine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace Vimbrel::test {
namespace {

constexpr auto picture = StampLine::PICTURE;
constexpr auto sound = StampLine::SOUND;

// Blocks of a tenth of a second. Stamps and places are in seconds.
struct Block {
    StampLine::Medium medium;
    double stamp;
    double place;
};

struct Case {
    const char* what;
    std::vector<Block> blocks;
};

const Case cases[] = {
    {"in a row", {{picture, 2, 2}, {picture, 2.1, 2.1}, {sound, 3, 3}, {sound, 3.1, 3.1}}},
    {"before the start", {{picture, -5, 0}, {picture, -4.9, 0.1}, {sound, 0, 0}}},
    {"stamps that waver", {{sound, 1, 1}, {sound, 1.19, 1.19}, {sound, 1.2, 1.2}}},
    {"a gap of an hour is one", {{picture, 0, 0}, {picture, 3600.1, 3600.1}}},
    {"a longer one is a jump", {{picture, 0, 0}, {picture, 3600.2, 0.1}, {picture, 3600.3, 0.2}}},
    {"a longer one where the other medium is, is a gap",
     {{picture, 0, 0}, {sound, 0, 0}, {sound, 3599, 3599}, {picture, 3601, 3601}}},
    {"a jump back for both",
     {{picture, 10, 10},
      {sound, 9.9, 9.9},
      {picture, 5.1, 10.1},
      {sound, 10, 10},
      {sound, 5.1, 10.1},
      {picture, 5.2, 10.2}}},
    {"the medium that meets the jump later begins where the first one would",
     {{picture, 10, 10}, {sound, 9, 9}, {picture, 5.1, 10.1}, {sound, 5.3, 10.3}}},
    {"a jump ahead for both",
     {{picture, 10, 10}, {sound, 10, 10}, {sound, 9000.1, 10.1}, {picture, 9000.4, 10.4}}},
    {"a jump of one medium leaves the other alone",
     {{picture, 10, 10}, {sound, 10, 10}, {sound, 0, 10.1}, {picture, 10.1, 10.1}}},
    {"two jumps before the other medium meets the first",
     {{picture, 10, 10},
      {sound, 10, 10},
      {picture, 5, 10.1},
      {picture, 2, 10.2},
      {sound, 5.1, 10.2},
      {sound, 2.1, 10.3}}},
    {"a gap after a short jump is not the clock set back",
     {{picture, 10, 10}, {picture, 9.6, 10.1}, {picture, 9.9, 10.4}}},
    {"a stray stamp", {{picture, 400, 400}, {picture, 0, 400.1}, {picture, 400.2, 400.2}}},
    {"a clock that is set back again",
     {{picture, 10, 10},
      {sound, 10, 10},
      {picture, 9000.1, 10.1},
      {sound, 9000.1, 10.1},
      {picture, 10.2, 10.2},
      {sound, 10.2, 10.2}}},
};

std::int64_t Units(double seconds) { return std::llround(seconds * StampLine::second); }

TEST(StampLine, PlacesBlocks) {
    for (const Case& each : cases) {
        StampLine line;
        std::int64_t ends[2] = {};
        for (std::size_t i = 0; i < each.blocks.size(); ++i) {
            const Block& block = each.blocks[i];
            const std::int64_t place = line.Place(block.medium, Units(block.stamp),
                                                  ends[block.medium], StampLine::tolerance);
            EXPECT_EQ(place, Units(block.place)) << each.what << ", block " << i;
            ends[block.medium] = place + StampLine::second / 10;
        }
    }
}

// What lies behind the end by less than the slack is kept for the caller to cut.
TEST(StampLine, SlackAllowsOverlaps) {
    StampLine line;
    line.Place(sound, 0, 0, 0);
    EXPECT_EQ(line.Place(sound, Units(9.5), Units(10), StampLine::second), Units(9.5));
    EXPECT_EQ(line.Place(sound, Units(9.5), Units(10), StampLine::tolerance), Units(10));
}

}  // namespace
}  // namespace Vimbrel::test
