#include "Audio/CAudioChannel2.h"

#include <algorithm>
#include <deque>
#include <random>

#include "tests/Audio/AudioKit.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeResampler.h"
#include "tests/fakes/ManualClock.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel::test {
namespace {

// A first stamp too late for silence before it.
constexpr std::int64_t second = 10'000'000;
constexpr std::int64_t begin = 10 * second;

class CAudioChannel2Test : public ::testing::Test {
protected:
    CAudioChannel2Test() {
        channel.Configure(&engine_format, &engine_format);
        channel.Activate();
    }

    ManualClock clock;
    ScopedClock scoped_clock{clock};
    CAudioChannel2 channel{1};
};

// What a second write finds, by the difference of its start to the end of the first.
TEST_F(CAudioChannel2Test, StampsInsertSilenceAndDropBytes) {
    const struct {
        std::int64_t difference;
        std::size_t silence;
        std::size_t dropped;
    } cases[] = {{0, 0, 0},
                 {10'000, 0, 0},
                 {10'001, 176, 0},
                 {20'000, 352, 0},
                 {49'999'999, 881'996, 0},
                 {50'000'000, 0, 0},
                 {INT64_C(1) << 62, 0, 0},
                 {-10'000, 0, 0},
                 {-10'001, 0, 176},
                 {-20'000, 0, 352},
                 {-60 * second, 0, 400}};
    for (const auto& each : cases) {
        channel.Reset();
        Write(channel, Pattern(400), begin, begin + second);
        Write(channel, Pattern(60, 2), begin + second + each.difference, 0);
        Bytes left = Pattern(400);
        left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(each.dropped));
        EXPECT_EQ(TakeAll(channel), Joined(left, each.silence, Pattern(60, 2))) << each.difference;
        // A first write is compared with 0.
        channel.Reset();
        Write(channel, Pattern(60), each.difference, 0);
        EXPECT_EQ(TakeAll(channel), Joined({}, each.silence, Pattern(60))) << each.difference;
    }
}

// A microphone passes its duration as the end.
TEST_F(CAudioChannel2Test, ArgumentsAreTakenAsTheyCome) {
    constexpr std::int64_t frames = 1024;
    const std::int64_t duration = frames * second / 44100;
    Bytes expected;
    const std::size_t silences[] = {0, 0, 4096, 8188, 12288, 16380, 20480, 24572, 28672, 32764};
    for (unsigned packet = 0; packet < 10; ++packet) {
        const Bytes bytes = Pattern(frames * 4, packet);
        Write(channel, bytes, packet * frames * second / 44100, duration);
        expected = Joined(std::move(expected), silences[packet], bytes);
    }
    EXPECT_EQ(TakeAll(channel), expected);
}

TEST_F(CAudioChannel2Test, WritesWithoutDataMoveTheTimeAndPausesDoNot) {
    Write(channel, Pattern(100), begin, begin + second);
    channel.WriteSamples(nullptr, 100, begin + second + 20'000, begin + 2 * second);
    unsigned char byte = 1;
    channel.WriteSamples(&byte, 0, begin + 2 * second + 20'000, begin + 3 * second);
    channel.accepting = false;
    Write(channel, Pattern(100), begin + 3 * second, begin + 4 * second);
    channel.accepting = true;
    Write(channel, Pattern(60, 2), begin + 4 * second, 0);
    EXPECT_EQ(TakeAll(channel), Joined(Pattern(100), 704 + 176'400, Pattern(60, 2)));
}

// How far the buffered sound is ahead of the clock decides what an activation drops.
TEST_F(CAudioChannel2Test, ALateActivationDropsWhatIsAhead) {
    const struct {
        std::int64_t ahead;
        std::size_t dropped;
    } cases[] = {{-second, 0}, {10'000, 0}, {10'001, 176}, {20'000, 352}, {60 * second, 400}};
    for (const auto& each : cases) {
        channel.Reset();
        clock.AdvanceUnits(100 * second);
        Write(channel, Pattern(400), begin, begin + second + each.ahead);
        clock.AdvanceUnits(second);
        channel.Activate();
        Bytes left = Pattern(400);
        left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(each.dropped));
        EXPECT_EQ(TakeAll(channel), left) << each.ahead;
    }
    // A stream that began at the clock's time counts as one that never took a sample.
    channel.Reset();
    Write(channel, Pattern(400), clock.Now(), clock.Now());
    channel.Activate();
    EXPECT_EQ(channel.used, 0U);
    EXPECT_TRUE(channel.enabled);
}

TEST(AudioFormatTest, BytesOfLongTimesAreExact) {
    EXPECT_EQ(BytesOf(engine_format, INT64_C(1) << 62), UINT64_C(81'350'141'365'059'120));
    EXPECT_EQ(BytesOf(Pcm(8, 192'000, 32), 52), 0U);
    EXPECT_EQ(BytesOf(Pcm(8, 192'000, 32), 53), 32U);
}

TEST(AudioFormatTest, FormatsAreEqualToTheirLastExtraByte) {
    WAVEFORMATEXTENSIBLE one{};
    one.Format.cbSize = 22;
    WAVEFORMATEXTENSIBLE other = one;
    EXPECT_TRUE(IsSameFormat(one.Format, other.Format));
    other.SubFormat.Data4[7] = 1;
    EXPECT_FALSE(IsSameFormat(one.Format, other.Format));
    one.Format.cbSize = other.Format.cbSize = 21;
    EXPECT_TRUE(IsSameFormat(one.Format, other.Format));
    other.Format.nBlockAlign = 5;
    EXPECT_FALSE(IsSameFormat(one.Format, other.Format));
}

TEST_F(CAudioChannel2Test, ConvertsAndSurvivesWhatTheResamplerRefuses) {
    const ScopedCom com;
    const FakeResampler::Override fake;
    const WAVEFORMATEX mono = Pcm(1, 48000, 16);
    CAudioChannel2 converting(2);
    converting.Configure(&engine_format, &mono);
    converting.Activate();
    Write(converting, Pattern(100), begin, begin + second);
    fake->output_result = E_FAIL;
    Write(converting, Pattern(80), begin + second, begin + 2 * second);  // counted, though empty
    fake->output_result = S_OK;
    Write(converting, Pattern(60, 2), begin + 2 * second, begin + 3 * second);
    EXPECT_EQ(TakeAll(converting), Joined(Pattern(100), 0, Pattern(60, 2)));

    fake->input_result = E_FAIL;
    Write(converting, Pattern(60), begin + 4 * second, begin + 6 * second);
    EXPECT_FALSE(converting.accepting);
    EXPECT_EQ(TakeAll(converting), Bytes(176'400)) << "the gap is filled before the block fails";
    fake->input_result = S_OK;
    converting.Activate();
    Write(converting, Pattern(60), begin + 5 * second, 0);  // the failed write left its start
    EXPECT_EQ(TakeAll(converting), Joined({}, 176'400, Pattern(60)));
}

TEST_F(CAudioChannel2Test, AFormatThatCannotBeConvertedIsLoggedAndRefused) {
    const ScopedCom com;
    const FakeResampler::Override fake;
    TakeLog();
    const WAVEFORMATEX unknown = Pcm(1, 48000, 24, 7);
    CAudioChannel2 refused(2);
    refused.Configure(&engine_format, &unknown);
    refused.Activate();
    const std::vector<LogLine> log = TakeLog();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].text,
              "Failed to create Audio Resampler: 1, 24 bits, 48000 Hz -> 2, 16 bits, 44100 Hz");
    EXPECT_EQ(log[0].level, HalvorixAppLog::LOG_LEVEL_TRACE);
    EXPECT_EQ(log[0].file, "Audio\\AudioChannel2");
    EXPECT_EQ(log[0].line, 118);
    Write(refused, Pattern(100), begin, begin + second);
    EXPECT_FALSE(refused.accepting);
    EXPECT_EQ(refused.used, 0U);
}

// The model fills gaps and drops bytes; the ring does the same through growth and wraps.
TEST_F(CAudioChannel2Test, RandomWritesAndReadsAreThoseOfAQueue) {
    std::mt19937 random(1);
    std::deque<unsigned char> model;
    std::int64_t next = begin;
    std::size_t largest = 0;
    for (int i = 0; i < 1500; ++i) {
        // Fills up to more than 4 MiB, that is through three growths, and empties again.
        const bool filling = i % 500 < 350;
        const Bytes bytes = Pattern(1 + random() % 50'000, random());
        std::int64_t start = next;
        const unsigned kind = random() % 8;
        if (kind == 0) {
            start += 10'001 + random() % second;
            model.insert(model.end(), BytesOf(engine_format, start - next), 0);
        } else if (kind == 1 && i > 0) {
            start -= 10'001 + random() % second;
            const auto dropped = std::min(model.size(), BytesOf(engine_format, next - start));
            model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(dropped));
        }
        next = start + second;
        Write(channel, bytes, start, next);
        model.insert(model.end(), bytes.begin(), bytes.end());
        largest = std::max(largest, model.size());
        Bytes read(random() % (filling ? 10'000 : 300'000));
        const bool enough = read.size() <= model.size();
        ASSERT_EQ(Take(channel, read), enough);
        ASSERT_EQ(channel.used, model.size() - (enough ? read.size() : 0));
        if (!enough) continue;
        ASSERT_TRUE(std::equal(read.begin(), read.end(), model.begin()));
        model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(read.size()));
    }
    EXPECT_GT(largest, std::size_t{4} << 20);
    EXPECT_EQ(TakeAll(channel), Bytes(model.begin(), model.end()));
}

}  // namespace
}  // namespace Vimbrel::test
