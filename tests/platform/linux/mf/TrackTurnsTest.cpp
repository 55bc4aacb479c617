// Whom a session asks for the next sample.
#include "platform/linux/mf/session/TrackTurns.h"

#include <gtest/gtest.h>

#include <vector>

namespace Vimbrel::test {
namespace {

constexpr std::size_t sound = 0;
constexpr std::size_t picture = 1;

using Tracks = std::vector<std::size_t>;

Tracks Asked(TrackTurns& turns) {
    Tracks asked;
    for (std::size_t next = turns.Next(); next != 2; next = turns.Next()) asked.push_back(next);
    return asked;
}

TEST(TrackTurnsTest, TheTrackThatIsBehindGoesFirst) {
    TrackTurns turns(2);
    const auto came = [&](std::size_t track, std::uint64_t number) {
        turns.Came(track, number);
        turns.Want(track);
        return Asked(turns);
    };
    EXPECT_EQ(came(sound, 3), Tracks{sound}) << "there may never be a picture";
    EXPECT_EQ(came(picture, 1), Tracks{picture});
    EXPECT_EQ(came(sound, 6), Tracks{});
    EXPECT_EQ(came(picture, 2), Tracks{picture});
    EXPECT_EQ(came(picture, 4), Tracks{picture});
    EXPECT_EQ(came(picture, 7), Tracks{sound});
    EXPECT_EQ(came(sound, 8), Tracks{picture});
    turns.Want(sound);
    turns.End(picture);
    EXPECT_EQ(Asked(turns), Tracks{sound});
    EXPECT_EQ(came(sound, 0), Tracks{sound}) << "a sample that somebody else made";
}

}  // namespace
}  // namespace Vimbrel::test
