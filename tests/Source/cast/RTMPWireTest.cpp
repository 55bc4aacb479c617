// What the protocol's library makes of times and of a server's commands.
#include <gtest/gtest.h>

#include <malloc.h>

#include "tests/fakes/FakeRtmpServer.h"
#include "tests/support/AmfText.h"
#include "tests/support/CastSession.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel::test {
namespace {

std::string Accept(const std::string&) { return {}; }

// Beyond 24 bits of milliseconds, in chunks of both sizes.
TEST(RTMPWire, TimesOfPicturesGoOnAfterManyHours) {
    for (const Framing framing : {Framing::Native, Framing::Standard}) {
        FakeRtmpServer server(Accept);
        const auto cast = MakeCast(server.Url(), framing);
        cast->EnableAudio(false);
        ASSERT_EQ(cast->Start(), 0);
        constexpr std::int64_t hour = 36'000'000'000;
        int number = 0;
        for (const std::int64_t time : {std::int64_t{1}, 5 * hour + 70'001, 5 * hour + 80'001}) {
            auto picture = Picture(number++);
            cast->SetVideoSample(picture.data(), width, height, width * 4, time);
        }
        const std::uint32_t last = framing == Framing::Standard ? 18'000'008 : 18'000'007;
        std::vector<std::uint32_t> times;
        WaitUntil([&] {
            times = server.PictureTimes();
            return !times.empty() && times.back() == last;
        });
        cast->Stop();
        EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
        times.erase(std::unique(times.begin(), times.end()), times.end());
        EXPECT_EQ(times, (std::vector<std::uint32_t>{0, last - 1, last}));
    }
}

// The library loses what it has read of such a command.
TEST(RTMPWire, CommandsThatAreCutOffCostNoMemory) {
    const std::string whole = AmfCommand("onBWDone", AmfStatus("status", std::string(50, 'x')));
    const auto grown = [&](int commands) {
        FakeRtmpServer server(Accept);
        server.first_commands.assign(static_cast<std::size_t>(commands),
                                     whole.substr(0, whole.size() - 8));
        const auto cast = MakeCast(server.Url());
        const std::size_t before = mallinfo2().uordblks;
        EXPECT_EQ(cast->Start(), 0);
        cast->Stop();
        return static_cast<std::int64_t>(mallinfo2().uordblks - before);
    };
    grown(1);
    constexpr int commands = 2000;
    EXPECT_LT(grown(commands), grown(1) + commands * 100);
}

}  // namespace
}  // namespace Vimbrel::test
