// The times of recorded pictures and sound, as other programs see them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "platform/linux/mf/session/TranscodePipeline.h"
#include "tests/platform/linux/mf/Mp4TestKit.h"

namespace Vimbrel::test {
namespace {

// A clock that jumps: the stamps are off by `by` from `at` to `until`, all in seconds.
struct ClockJump {
    double at = 1e9;
    double by = 0;
    double until = 1e9;

    std::int64_t Stamp(double time) const {
        return std::llround((time + (time >= at - 1e-6 && time < until - 1e-6 ? by : 0)) * second);
    }
};

// `shown` gets the times of the frames that begin a flash. Frames come at the frame rate around the
// events and once a second otherwise; sound is continuous.
void PushEvents(const std::string& path, const Scene& scene, const std::vector<double>& events,
                double first_frame, double length, std::vector<double>& shown,
                const ClockJump& clock = {}) {
    std::unique_ptr<TranscodePipeline> pipeline;
    ASSERT_EQ(Open(path, scene, pipeline), S_OK);
    const auto on = [&](double time) {
        for (const double event : events) {
            if (time >= event - 1e-6 && time < event + 0.2) return true;
        }
        return false;
    };
    const auto near_event = [&](double time) {
        for (const double event : events) {
            if (std::abs(time - event) < 2) return true;
        }
        return false;
    };
    bool was_on = false;
    const Bytes dark = Frame(scene, 0, 0.1);
    const Bytes bright = Frame(scene, 0, 1.0);
    std::int64_t sample = 0;
    constexpr std::size_t block = 2000;
    for (double time = first_frame; time < length;
         time += near_event(time) ? 1.0 / scene.Rate() : 1.0) {
        if (on(time) && !was_on) shown.push_back(time);
        was_on = on(time);
        const Bytes& frame = was_on ? bright : dark;
        ASSERT_EQ(pipeline->WriteVideo(frame.data(), frame.size(), clock.Stamp(time), 0), S_OK);
        while (static_cast<double>(sample) < std::min(time + 1.0, length) * scene.sound_rate) {
            const Bytes sound = Sound(scene, sample, block, [&](std::int64_t i) {
                return on(static_cast<double>(i) / scene.sound_rate) ? Sine(scene, i) : 0.0;
            });
            const double at = static_cast<double>(sample) / scene.sound_rate;
            ASSERT_EQ(pipeline->WriteAudio(sound.data(), sound.size(), clock.Stamp(at), 0), S_OK);
            sample += block;
        }
    }
    ASSERT_EQ(pipeline->Finish(), S_OK);
}

// Both media are stamped by one clock, but meet its jump at different places in the order.
TEST(TranscodeTimes, FlashAndBeepStayTogetherWhenTheClockJumps) {
    const Scene scene = {.sound_rate = 8000, .channels = 1, .out_rate = 8000, .out_channels = 1};
    const struct {
        const char* what;
        ClockJump clock;
    } cases[] = {
        {"back by five seconds", {.at = 10, .by = -5}},
        {"back by half a second", {.at = 10, .by = -0.5}},
        {"back beyond the start", {.at = 10, .by = -3000}},
        {"ahead by two hours", {.at = 10, .by = 7200}},
        {"ahead and back again", {.at = 9, .by = 7200, .until = 10}},
        {"back and ahead again", {.at = 9, .by = -4, .until = 10}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const TemporaryFile file;
        std::vector<double> shown;
        PushEvents(file.Path(), scene, {8, 11.5}, 0, 13, shown, each.clock);
        const FlashesAndBeeps found = FindFlashesAndBeeps(file.Path(), scene.out_rate);
        ASSERT_EQ(found.flashes.size(), 2u);
        ASSERT_EQ(found.beeps.size(), 2u);
        for (std::size_t i = 0; i < 2; ++i) {
            EXPECT_NEAR(found.flashes[i], shown[i], 0.05);
            EXPECT_NEAR(found.beeps[i], found.flashes[i], 0.05);
        }
        ExpectDecodes(file.Path());
    }
}

TEST(TranscodeTimes, FlashAndBeepStayTogether) {
    const struct {
        const char* what;
        Scene scene;
        std::vector<double> events;
        double first_frame, length;
    } cases[] = {
        {"another rate", {.sound_rate = 44100, .out_rate = 48000}, {1, 4, 8}, 0, 10},
        {"the picture begins late",
         {.fps_num = 30000, .fps_den = 1001, .sound_rate = 48000, .out_rate = 48000},
         {6, 9},
         5,
         12},
        {"no reordering",
         {.fps_num = 10, .sound_rate = 22050, .channels = 1, .out_rate = 22050, .out_channels = 1},
         {1, 5},
         0,
         8},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const TemporaryFile file;
        std::vector<double> shown;
        PushEvents(file.Path(), each.scene, each.events, each.first_frame, each.length, shown);
        EXPECT_NEAR(ProbeNumber(file.Path(), "v", "start_time"), each.first_frame, 1e-4);
        EXPECT_NEAR(ProbeNumber(file.Path(), "format", "duration"), each.length, 1.1);
        const FlashesAndBeeps found = FindFlashesAndBeeps(file.Path(), each.scene.out_rate);
        ASSERT_EQ(found.flashes.size(), each.events.size());
        ASSERT_EQ(shown.size(), each.events.size());
        ASSERT_EQ(found.beeps.size(), each.events.size());
        for (std::size_t i = 0; i < each.events.size(); ++i) {
            EXPECT_NEAR(found.flashes[i], shown[i], 1e-4);
            EXPECT_NEAR(found.beeps[i], each.events[i], 0.005);
        }
    }
}

TEST(TranscodeTimes, StampsAreKeptAndOddOnesDoNoHarm) {
    const TemporaryFile file;
    const Scene scene = {.sound_rate = 0};
    std::unique_ptr<TranscodePipeline> pipeline;
    ASSERT_EQ(Open(file.Path(), scene, pipeline), S_OK);
    // In milliseconds. What does not rise follows directly; what falls back further than stamps
    // waver follows after the time of a frame.
    const std::pair<double, double> stamps[] = {
        {-5, 0},          {33.3333, 33.3333},   {33.3333, 33.3333},
        {20, 33.3333},    {200.1234, 200.1234}, {1500, 1500},
        {1500.5, 1500.5}, {400'000, 400'000},   {400'040, 400'040},
        {0, 400'080},     {400'100, 400'100}};
    for (const auto& [stamp, expected] : stamps) {
        const Bytes frame = Frame(scene, 0);
        ASSERT_EQ(
            pipeline->WriteVideo(frame.data(), frame.size(), std::llround(stamp * 10'000), 700'000),
            S_OK);
    }
    ASSERT_EQ(pipeline->Finish(), S_OK);
    const std::vector<double> times = Times(file.Path(), "v");
    ASSERT_EQ(times.size(), std::size(stamps));
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_NEAR(times[i], stamps[i].second / 1000, 4e-5) << i;
    EXPECT_NEAR(ProbeNumber(file.Path(), "v", "duration"), 400.170, 1e-3)
        << "the last frame's own duration";
    ExpectDecodes(file.Path());
}

TEST(TranscodeTimes, SoundFollowsItsStamps) {
    const struct {
        const char* what;
        std::vector<double> stamps;  // of blocks of a second
        double length;
    } cases[] = {
        {"in a row", {0, 1, 2}, 3},          {"a gap", {0, 1, 3.5}, 4.5},
        {"jitter", {0, 1.03, 1.98}, 3},      {"overlap", {0, 0.5, 1.5}, 2.5},
        {"standing still", {0, 0, 0, 0}, 4}, {"fallen back", {10, 11, 0, 1, 2}, 15},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const TemporaryFile file;
        const Scene scene = {
            .width = 0, .sound_rate = 16000, .channels = 1, .out_rate = 16000, .out_channels = 1};
        std::unique_ptr<TranscodePipeline> pipeline;
        ASSERT_EQ(Open(file.Path(), scene, pipeline), S_OK);
        const Bytes block =
            Sound(scene, 0, scene.sound_rate, [&](std::int64_t i) { return Sine(scene, i); });
        for (const double stamp : each.stamps) {
            ASSERT_EQ(pipeline->WriteAudio(block.data(), block.size(), std::llround(stamp * second),
                                           second),
                      S_OK);
        }
        ASSERT_EQ(pipeline->Finish(), S_OK);
        EXPECT_NEAR(ProbeNumber(file.Path(), "format", "duration"), each.length, 1e-3);
        EXPECT_NEAR(ProbeNumber(file.Path(), "a", "start_time"), each.stamps[0], 1e-3);
        ExpectDecodes(file.Path());
    }
}

// One medium goes on for hours while the other rests: times neither wrap nor drift, and nothing
// fills the hours by encoding them. The medium that goes on has a block every half hour.
TEST(TranscodeTimes, AMediumThatRestsForHoursComesBackAtItsTime) {
    constexpr int hours = 8;
    Scene scene = {.sound_rate = 16000, .channels = 1, .out_rate = 16000, .out_channels = 1};
    const Bytes frame = Frame(scene, 0);
    const Bytes block =
        Sound(scene, 0, scene.sound_rate, [&](std::int64_t i) { return Sine(scene, i); });
    for (const bool picture_rests : {true, false}) {
        SCOPED_TRACE(picture_rests ? "picture" : "sound");
        const TemporaryFile file;
        std::unique_ptr<TranscodePipeline> pipeline;
        ASSERT_EQ(Open(file.Path(), scene, pipeline), S_OK);
        const auto push = [&](bool picture, std::int64_t seconds) {
            const Bytes& data = picture ? frame : block;
            return picture ? pipeline->WriteVideo(data.data(), data.size(), seconds * second, 0)
                           : pipeline->WriteAudio(data.data(), data.size(), seconds * second, 0);
        };
        for (int i = 0; i < 30; ++i)
            ASSERT_EQ(pipeline->WriteVideo(frame.data(), frame.size(), i * second / 25, 0), S_OK);
        ASSERT_EQ(push(false, 0), S_OK);
        for (int half = 1; half < hours * 2; ++half)
            ASSERT_EQ(push(!picture_rests, half * 1800), S_OK);
        ASSERT_EQ(push(!picture_rests, hours * 3600 - 10), S_OK);
        ASSERT_EQ(push(picture_rests, hours * 3600), S_OK);
        ASSERT_EQ(push(picture_rests, hours * 3600 + 1), S_OK);
        ASSERT_EQ(push(!picture_rests, hours * 3600 + 2), S_OK);
        for (int half = hours * 2 + 1; half < 70; ++half)
            ASSERT_EQ(push(!picture_rests, half * 1800), S_OK);
        EXPECT_EQ(push(picture_rests, 69 * 1800), E_INVALIDARG) << "more than a day";
        ASSERT_EQ(pipeline->Finish(), S_OK);
        for (const char* medium : {"v", "a"}) {
            const std::vector<double> times = Times(file.Path(), medium);
            for (const int expected : {hours * 3600, hours * 3600 + 2}) {
                const bool rests = (*medium == 'v') == picture_rests;
                const auto at = std::lower_bound(times.begin(), times.end(), expected - 0.07);
                if (rests != (expected == hours * 3600)) continue;
                ASSERT_NE(at, times.end()) << medium;
                EXPECT_NEAR(*at, expected, 0.07) << medium;
            }
            EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << medium;
        }
        ExpectDecodes(file.Path());
    }
}

}  // namespace
}  // namespace Vimbrel::test
