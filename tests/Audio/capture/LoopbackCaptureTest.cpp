#include "Audio/capture/LoopbackCapture.h"

#include <gmock/gmock.h>
#include <ksmedia.h>

#include <utility>

#include "tests/fakes/FakeEndpoints.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel {
namespace {

using test::FakeDevice;
using test::FakeEndpoints;
using test::WaitUntil;

WAVEFORMATEXTENSIBLE FloatFormat(DWORD rate, WORD channels) {
    WAVEFORMATEXTENSIBLE format{};
    format.Format = {WAVE_FORMAT_EXTENSIBLE,          channels, rate, rate * channels * 4,
                     static_cast<WORD>(channels * 4), 32,       22};
    format.Samples.wValidBitsPerSample = 32;
    format.SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
    return format;
}

class LoopbackCaptureTest : public testing::Test {
protected:
    LoopbackCaptureTest() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~LoopbackCaptureTest() override {
        loopback.Close();
        CoUninitialize();
    }

    struct Delivered {
        std::vector<unsigned char> bytes;
        std::uint64_t position;
        std::uint64_t counter;
    };
    void Collect() {
        loopback.SetDispatcher(
            [this](unsigned char* data, int size, std::uint64_t position, std::uint64_t counter) {
                const MutexLock lock(mutex);
                delivered.push_back({{data, data + size}, position, counter});
            });
    }
    std::size_t Count() {
        const MutexLock lock(mutex);
        return delivered.size();
    }

    FakeEndpoints endpoints;
    Mutex mutex;
    std::vector<Delivered> delivered;
    LoopbackCapture loopback;
};

TEST_F(LoopbackCaptureTest, TakesTheLastDeviceOfANameElseTheDefaultOne) {
    FakeDevice& first = endpoints.Add(L"Speakers", FloatFormat(48'000, 2));
    FakeDevice& last = endpoints.Add(L"Speakers", FloatFormat(44'100, 2));
    FakeDevice& other = endpoints.Add(L"Other", FloatFormat(96'000, 8));
    endpoints.default_device = endpoints.devices[0];

    EXPECT_EQ(loopback.Initialize(L"Speakers"), S_OK);
    EXPECT_EQ(last.streams, 1);
    EXPECT_EQ(loopback.DeviceName(), L"Speakers");
    EXPECT_EQ(loopback.MixFormat()->nSamplesPerSec, 44'100u);

    // Its own name, which it writes; what was open is closed.
    EXPECT_EQ(loopback.Initialize(loopback.DeviceName()), S_OK);
    EXPECT_EQ(last.streams, 1);

    for (const wchar_t* unknown : {L"", L"Speaker", L"Speakers "}) {
        EXPECT_EQ(loopback.Initialize(unknown), S_OK);
        EXPECT_EQ(first.streams, 1);
        EXPECT_EQ(last.streams, 0);
        EXPECT_EQ(loopback.DeviceName(), L"Speakers");
    }
    EXPECT_EQ(other.streams, 0);

    endpoints.default_device = nullptr;
    EXPECT_EQ(loopback.Initialize(L"unknown"), HRESULT_FROM_WIN32(ERROR_NOT_FOUND));
    EXPECT_FALSE(loopback.StartThreads());
    EXPECT_EQ(loopback.MixFormat(), nullptr);
}

TEST_F(LoopbackCaptureTest, FormatsBecomeSixteenBitsOrFail) {
    WAVEFORMATEXTENSIBLE plain = FloatFormat(48'000, 6);
    plain.Format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    plain.Format.cbSize = 0;
    WAVEFORMATEXTENSIBLE integers = FloatFormat(48'000, 2);
    integers.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    WAVEFORMATEXTENSIBLE plain_integers = plain;
    plain_integers.Format.wFormatTag = WAVE_FORMAT_PCM;
    const std::pair<WAVEFORMATEXTENSIBLE, HRESULT> rows[] = {
        {FloatFormat(48'000, 6), S_OK},
        {plain, S_OK},
        {integers, E_UNEXPECTED},
        {plain_integers, E_UNEXPECTED},
    };
    for (const auto& [format, expected] : rows) {
        FakeDevice& device = endpoints.Add(L"Speakers", format);
        ASSERT_EQ(loopback.Initialize(L"Speakers"), expected);
        if (FAILED(expected)) continue;
        const WAVEFORMATEX& given = device.initialized_format;
        EXPECT_EQ(given.wBitsPerSample, 16);
        EXPECT_EQ(given.nBlockAlign, 12);
        EXPECT_EQ(given.nAvgBytesPerSec, 12u * 48'000);
        if (given.wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
            const auto& whole =
                *reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(loopback.MixFormat());
            EXPECT_TRUE(whole.SubFormat == KSDATAFORMAT_SUBTYPE_PCM);
            EXPECT_EQ(whole.Samples.wValidBitsPerSample, 16);
        } else {
            EXPECT_EQ(given.wFormatTag, WAVE_FORMAT_PCM);
        }
    }
}

TEST_F(LoopbackCaptureTest, PacketsAreReleasedAndThenDelivered) {
    FakeDevice& device = endpoints.Add(L"Speakers", FloatFormat(8'000, 1));
    device.period = 30'000;
    ASSERT_EQ(loopback.Initialize(L"Speakers"), S_OK);
    std::atomic<int> released_before{-1};
    loopback.SetDispatcher([&](unsigned char*, int, std::uint64_t, std::uint64_t) {
        released_before = device.releases.load();
    });
    ASSERT_TRUE(loopback.StartThreads());
    // The streams of sound and of silence.
    EXPECT_EQ(device.running, 2);
    EXPECT_TRUE(WaitUntil([&] { return device.silence >= 480 + 80; }));
    device.Queue({std::vector<BYTE>(20, 1), 10, 7, 8});
    ASSERT_TRUE(WaitUntil([&] { return released_before == 1; }));

    Collect();
    // Larger than a second and the least buffer.
    device.Queue({std::vector<BYTE>(60'000, 5), 30'000, 100, 200});
    device.Queue({{1, 2, 3, 4}, 2, 300, 400});
    ASSERT_TRUE(WaitUntil([&] { return Count() == 2; }));
    loopback.StopThreads();
    EXPECT_EQ(device.running, 0);
    EXPECT_EQ(delivered[0].bytes, std::vector<unsigned char>(60'000, 5));
    EXPECT_EQ(delivered[0].position, 100u);
    EXPECT_EQ(delivered[1].bytes, (std::vector<unsigned char>{1, 2, 3, 4}));
    EXPECT_EQ(delivered[1].counter, 400u);
    loopback.StopThreads();
}

TEST_F(LoopbackCaptureTest, FailuresWithinTheThreadsAreNotReported) {
    FakeDevice& device = endpoints.Add(L"Speakers", FloatFormat(48'000, 2));
    device.render_initialize = E_FAIL;
    ASSERT_EQ(loopback.Initialize(L"Speakers"), S_OK);
    Collect();
    ASSERT_TRUE(loopback.StartThreads());
    device.Queue({std::vector<BYTE>(8), 2, 0, 0});
    EXPECT_TRUE(WaitUntil([&] { return Count() == 1; }));
    device.get_buffer = E_FAIL;
    device.Queue({std::vector<BYTE>(8), 2, 0, 0});
    EXPECT_TRUE(WaitUntil([&] { return device.releases == 2; }));
    EXPECT_EQ(Count(), 1u);

    device.start = E_FAIL;
    EXPECT_TRUE(loopback.StartThreads());
    loopback.StopThreads();

    device.get_service = E_NOINTERFACE;
    EXPECT_EQ(loopback.Initialize(L"Speakers"), E_NOINTERFACE);
    EXPECT_FALSE(loopback.StartThreads());
    device.initialize = E_ACCESSDENIED;
    EXPECT_EQ(loopback.Initialize(L"Speakers"), E_ACCESSDENIED);
    loopback.Close();
    EXPECT_EQ(device.streams, 0);
}

TEST_F(LoopbackCaptureTest, VolumeInPerCent) {
    EXPECT_EQ(loopback.GetVolumePercent(), -1);
    EXPECT_FALSE(loopback.SetVolumePercent(50));
    FakeDevice& device = endpoints.Add(L"Speakers", FloatFormat(48'000, 2));
    ASSERT_EQ(loopback.Initialize(L"Speakers"), S_OK);
    for (int percent : {0, 1, 29, 57, 58, 99, 100}) {
        EXPECT_TRUE(loopback.SetVolumePercent(percent));
        EXPECT_EQ(loopback.GetVolumePercent(), percent);
    }
    EXPECT_FALSE(loopback.SetVolumePercent(101));
    loopback.SetMute(true);
    EXPECT_TRUE(loopback.GetMute());
    device.has_volume = false;
    ASSERT_EQ(loopback.Initialize(L"Speakers"), S_OK);
    EXPECT_EQ(loopback.GetVolumePercent(), -1);
    EXPECT_FALSE(loopback.GetMute());
}

// Threads that come and go while packets arrive.
TEST_F(LoopbackCaptureTest, ManyStartsLeaveNothing) {
    FakeDevice& device = endpoints.Add(L"Speakers", FloatFormat(48'000, 2));
    device.period = 10'000;
    Collect();
    for (int round = 0; round < 200; ++round) {
        if (round % 10 == 0) {
            ASSERT_EQ(loopback.Initialize(L"Speakers"), S_OK);
        }
        device.Queue({std::vector<BYTE>(8), 2, 0, 0});
        ASSERT_TRUE(loopback.StartThreads());
        loopback.StopThreads();
    }
    loopback.Close();
    EXPECT_EQ(device.streams, 0);
    EXPECT_EQ(device.running, 0);
}

}  // namespace
}  // namespace Vimbrel
