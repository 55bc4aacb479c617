#include <windows.h>

#include <audioclient.h>
#include <endpointvolume.h>
#include <functiondiscoverykeys_devpkey.h>
#include <gmock/gmock.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

#include "base/ObjectCreation.h"
#include "com/Utf8.h"
#include "tests/support/SoundServer.h"
#include "tests/support/WaitUntil.h"

namespace Vimbrel {
namespace {

using namespace std::chrono_literals;
using test::SoundServer;
using test::SoundServerKind;
using test::WaitUntil;
using testing::UnorderedElementsAre;

constexpr WAVEFORMATEX engine_format = {WAVE_FORMAT_PCM, 2, 44'100, 176'400, 4, 16, 0};
const HRESULT not_found = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);

std::string NameOf(const ComPtr<IMMDevice>& device) {
    ComPtr<IPropertyStore> store;
    PROPVARIANT name{};
    if (!device || FAILED(device->OpenPropertyStore(STGM_READ, store.Put())) ||
        FAILED(store->GetValue(PKEY_Device_FriendlyName, &name)))
        return "?";
    const std::string text = ToUtf8(name.pwszVal);
    PropVariantClear(&name);
    return text;
}

ComPtr<IMMDeviceEnumerator> MakeEnumerator() {
    ComPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(CreateObject(CLSID_MMDeviceEnumerator, enumerator), S_OK);
    return enumerator;
}

std::vector<ComPtr<IMMDevice>> Endpoints(EDataFlow flow) {
    ComPtr<IMMDeviceCollection> listed;
    EXPECT_EQ(MakeEnumerator()->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, listed.Put()), S_OK);
    std::vector<ComPtr<IMMDevice>> devices;
    UINT count = 0;
    if (listed) listed->GetCount(&count);
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IMMDevice> device;
        EXPECT_EQ(listed->Item(i, device.Put()), S_OK);
        devices.push_back(device);
    }
    return devices;
}

std::vector<std::string> Names(EDataFlow flow) {
    std::vector<std::string> names;
    for (const auto& device : Endpoints(flow)) names.push_back(NameOf(device));
    return names;
}

template <class Interface>
ComPtr<Interface> Activate(const ComPtr<IMMDevice>& device) {
    ComPtr<Interface> made;
    void* object = nullptr;
    EXPECT_EQ(device->Activate(__uuidof(Interface), CLSCTX_ALL, nullptr, &object), S_OK);
    made.Attach(static_cast<Interface*>(object));
    return made;
}

ComPtr<IMMDevice> DeviceNamed(EDataFlow flow, const std::string& name) {
    for (const auto& device : Endpoints(flow)) {
        if (NameOf(device) == name) return device;
    }
    ADD_FAILURE() << "no device " << name;
    return {};
}

// A running recording of what a sink plays, or of a source.
class Recording {
public:
    explicit Recording(const ComPtr<IMMDevice>& device, DWORD flags = AUDCLNT_STREAMFLAGS_LOOPBACK,
                       const WAVEFORMATEX& format = engine_format)
        : client(Activate<IAudioClient>(device)) {
        EXPECT_EQ(client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, 0, 0, &format, nullptr),
                  S_OK);
        void* service = nullptr;
        EXPECT_EQ(client->GetService(__uuidof(IAudioCaptureClient), &service), S_OK);
        packets.Attach(static_cast<IAudioCaptureClient*>(service));
        EXPECT_EQ(client->Start(), S_OK);
    }

    // Takes all packets that wait.
    HRESULT Drain() {
        for (;;) {
            UINT32 next = 0;
            HRESULT hr = packets->GetNextPacketSize(&next);
            if (FAILED(hr) || next == 0) return hr;
            BYTE* data = nullptr;
            UINT32 frames = 0;
            DWORD flags = 0;
            UINT64 position = 0;
            UINT64 counter = 0;
            hr = packets->GetBuffer(&data, &frames, &flags, &position, &counter);
            if (FAILED(hr)) return hr;
            EXPECT_EQ(frames, next);
            if (last_counter && *last_counter != position) ++breaks;
            last_counter = counter;
            const auto* first = reinterpret_cast<const std::int16_t*>(data);
            samples.insert(samples.end(), first, first + std::size_t{frames} * 2);
            EXPECT_EQ(packets->ReleaseBuffer(frames), S_OK);
        }
    }
    // Until so many frames are there.
    bool Record(std::size_t frames) {
        return WaitUntil([&] { return FAILED(Drain()) || samples.size() >= 2 * frames; }, 20s) &&
               samples.size() >= 2 * frames;
    }

    ComPtr<IAudioClient> client;
    ComPtr<IAudioCaptureClient> packets;
    std::vector<std::int16_t> samples;
    std::optional<UINT64> last_counter;
    int breaks = 0;  // packets that do not begin where the one before ended
};

// Never 0, and without a repetition: one place in it is known by its neighbours.
std::vector<std::int16_t> Noise(std::size_t samples) {
    std::vector<std::int16_t> noise(samples);
    std::uint32_t state = 12345;
    for (auto& sample : noise) {
        state = state * 1'664'525 + 1'013'904'223;
        sample = static_cast<std::int16_t>((state >> 17) | 1);
    }
    return noise;
}

class CoreAudio : public testing::TestWithParam<SoundServerKind> {
protected:
    SoundServer server{GetParam()};
};

TEST_P(CoreAudio, ListsSinksAndSourcesWithoutMonitors) {
    EXPECT_THAT(Names(eCapture), UnorderedElementsAre("Microphone"));
    const std::vector<std::string> sinks = Names(eRender);
    EXPECT_EQ(sinks.size(), 2u);
    EXPECT_EQ(std::count(sinks.begin(), sinks.end(), "Speakers"), 1);

    ComPtr<IMMDevice> device;
    const auto enumerator = MakeEnumerator();
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
    EXPECT_EQ(NameOf(device), "Speakers");
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eCapture, eMultimedia, device.Put()), S_OK);
    EXPECT_EQ(NameOf(device), "Microphone");

    WAVEFORMATEX* mix = nullptr;
    ASSERT_EQ(Activate<IAudioClient>(DeviceNamed(eRender, "Speakers"))->GetMixFormat(&mix), S_OK);
    EXPECT_EQ(mix->wFormatTag, WAVE_FORMAT_EXTENSIBLE);
    EXPECT_EQ(mix->nChannels, 2);
    EXPECT_TRUE(reinterpret_cast<WAVEFORMATEXTENSIBLE*>(mix)->SubFormat ==
                KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
    CoTaskMemFree(mix);
}

// Plays noise while it is recorded, with a stall of the reader, which must lose nothing and move no
// time. What is wrong then, or nothing.
std::string PlayAndCompare(SoundServer& server, const ComPtr<IMMDevice>& device, unsigned rate) {
    const std::vector<std::int16_t> noise = Noise(std::size_t{4} * rate);
    const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, rate, rate * 4, 4, 16, 0};
    Recording recording(device, AUDCLNT_STREAMFLAGS_LOOPBACK, format);
    if (!recording.Record(rate / 10)) return "nothing comes";
    const auto player = server.Play("speakers", noise, rate);
    if (!recording.Record(rate)) return "it stops";
    std::this_thread::sleep_for(300ms);
    if (!recording.Record(rate * 7 / 2)) return "it stops after the stall";
    // The times are those of the clock.
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    EXPECT_LT(std::abs(now.QuadPart - static_cast<LONGLONG>(*recording.last_counter)), 2'000'000);
    if (recording.breaks != 0) return "the times have gaps";
    const auto& recorded = recording.samples;
    const auto found =
        std::search(recorded.begin(), recorded.end(), noise.begin() + 1000, noise.begin() + 1032);
    if (recorded.end() - found < 2 * rate) return "the sound is not there";
    const auto length = std::min<std::ptrdiff_t>(recorded.end() - found, 3 * rate);
    return std::equal(found, found + length, noise.begin() + 1000) ? "" : "the sound differs";
}

// At the sink's own rate, since others are resampled. A server or a player that gets no processor
// time for a while drops sound, so there are several attempts: what we lose is lost in each.
TEST_P(CoreAudio, WhatIsPlayedIsRecordedBitByBitAndWithoutAGapInItsTimes) {
    const auto device = DeviceNamed(eRender, "Speakers");
    WAVEFORMATEX* mix = nullptr;
    ASSERT_EQ(Activate<IAudioClient>(device)->GetMixFormat(&mix), S_OK);
    const unsigned rate = mix->nSamplesPerSec;
    CoTaskMemFree(mix);
    server.Control("set-sink-volume speakers 100%");
    std::string wrong = "not tried";
    for (int attempt = 0; attempt < 10 && !wrong.empty(); ++attempt)
        wrong = PlayAndCompare(server, device, rate);
    EXPECT_EQ(wrong, "");
}

TEST_P(CoreAudio, ASourceIsRecordedItself) {
    Recording recording(DeviceNamed(eCapture, "Microphone"), 0);
    const auto player = server.Play("micin", Noise(44'100 * 2));
    EXPECT_TRUE(WaitUntil([&] {
        recording.Drain();
        return std::count_if(recording.samples.begin(), recording.samples.end(),
                             [](std::int16_t sample) { return sample != 0; }) > 22'050;
    }));
}

TEST_P(CoreAudio, AStreamEndsWithItsSinkAndTakesNoOther) {
    const std::string other = server.LoadModule(
        "module-null-sink sink_name=other sink_properties=device.description=Other");
    Recording recording(DeviceNamed(eRender, "Other"));
    ASSERT_TRUE(recording.Record(2'205));
    const auto player = server.Play("speakers", Noise(10 * 44'100 * 2));
    server.Control("unload-module " + other);
    ASSERT_TRUE(WaitUntil([&] { return recording.Drain() == AUDCLNT_E_DEVICE_INVALIDATED; }, 5s));
    EXPECT_TRUE(std::all_of(recording.samples.begin(), recording.samples.end(),
                            [](std::int16_t sample) { return sample == 0; }));
    // Its name is unknown now.
    ComPtr<IMMDevice> gone;
    EXPECT_EQ(Names(eRender).size(), 2u);
}

TEST_P(CoreAudio, EveryPerCentOfTheVolumeReturns) {
    const auto volume = Activate<IAudioEndpointVolume>(DeviceNamed(eRender, "Speakers"));
    // From silence the channels rise evenly.
    for (int percent = 0; percent <= 100; ++percent) {
        ASSERT_EQ(volume->SetMasterVolumeLevelScalar(percent * 0.01F, nullptr), S_OK);
        FLOAT level = -1;
        ASSERT_EQ(volume->GetMasterVolumeLevelScalar(&level), S_OK);
        EXPECT_EQ(std::lround(level * 100), percent);
    }
    server.Control("set-sink-volume speakers 150%");
    FLOAT level = -1;
    ASSERT_EQ(volume->GetMasterVolumeLevelScalar(&level), S_OK);
    EXPECT_EQ(level, 1.0F);
    EXPECT_EQ(volume->SetMasterVolumeLevelScalar(1.01F, nullptr), E_INVALIDARG);

    BOOL muted = TRUE;
    EXPECT_EQ(volume->GetMute(&muted), S_OK);
    EXPECT_FALSE(muted);
    EXPECT_EQ(volume->SetMute(TRUE, nullptr), S_OK);
    EXPECT_EQ(volume->SetMute(TRUE, nullptr), S_FALSE);
    EXPECT_THAT(server.Control("get-sink-mute speakers"), testing::HasSubstr("yes"));
}

TEST_P(CoreAudio, AKilledServerFailsEveryCallAtOnce) {
    Recording recording(DeviceNamed(eRender, "Speakers"));
    const auto volume = Activate<IAudioEndpointVolume>(DeviceNamed(eRender, "Speakers"));
    ASSERT_TRUE(recording.Record(2'205));
    server.Kill();
    EXPECT_TRUE(WaitUntil([&] { return recording.Drain() == AUDCLNT_E_SERVICE_NOT_RUNNING; }, 5s));
    const auto start = std::chrono::steady_clock::now();
    FLOAT level = 0;
    EXPECT_EQ(volume->GetMasterVolumeLevelScalar(&level), AUDCLNT_E_SERVICE_NOT_RUNNING);
    ComPtr<IMMDevice> device;
    EXPECT_EQ(MakeEnumerator()->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()),
              AUDCLNT_E_SERVICE_NOT_RUNNING);
    EXPECT_FALSE(device);
    recording.client->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
}

TEST_P(CoreAudio, AFrozenServerHoldsACallForThreeSecondsAndAStopForLess) {
    Recording recording(DeviceNamed(eRender, "Speakers"));
    const auto volume = Activate<IAudioEndpointVolume>(DeviceNamed(eRender, "Speakers"));
    server.Freeze();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(recording.client->Stop(), HRESULT_FROM_WIN32(ERROR_TIMEOUT));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_EQ(recording.client->Stop(), S_FALSE);
    start = std::chrono::steady_clock::now();
    FLOAT level = 0;
    EXPECT_EQ(volume->GetMasterVolumeLevelScalar(&level), HRESULT_FROM_WIN32(ERROR_TIMEOUT));
    auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 2900ms);
    EXPECT_LT(took, 5s);
    // Who looks for a device falls back to the default one, without waiting again.
    const auto enumerator = MakeEnumerator();
    start = std::chrono::steady_clock::now();
    ComPtr<IMMDeviceCollection> listed;
    ComPtr<IMMDevice> device;
    EXPECT_TRUE(FAILED(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, listed.Put())));
    EXPECT_TRUE(FAILED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put())));
    took = std::chrono::steady_clock::now() - start;
    EXPECT_LT(took, 5s);
}

TEST(CoreAudioServer, AnEnumeratorFindsTheServerThatWasStartedAnew) {
    SoundServer server(SoundServerKind::pulse_audio);
    const auto enumerator = MakeEnumerator();
    ComPtr<IMMDevice> device;
    ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
    server.Kill();
    const auto fails = [&] {
        return enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()) ==
               AUDCLNT_E_SERVICE_NOT_RUNNING;
    };
    EXPECT_TRUE(WaitUntil(fails));
    server.Restart();
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
    EXPECT_EQ(NameOf(device), "Speakers");
    // Also without a failure in between.
    server.Restart();
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Servers, CoreAudio,
                         testing::Values(SoundServerKind::pulse_audio, SoundServerKind::pipe_wire),
                         testing::PrintToStringParamName());

TEST(CoreAudioCalls, AreCheckedBeforeTheServerIsAsked) {
    const auto enumerator = MakeEnumerator();
    ComPtr<IMMDeviceCollection> devices;
    ComPtr<IMMDevice> device;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, 2, devices.Put()), E_INVALIDARG);
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, nullptr), E_POINTER);
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eAll, eConsole, device.Put()), E_INVALIDARG);
}

TEST(CoreAudioCalls, StatesAndFormatsOfAStream) {
    SoundServer server(SoundServerKind::pulse_audio);
    const auto sink = DeviceNamed(eRender, "Speakers");
    const auto source = DeviceNamed(eCapture, "Microphone");
    void* object = nullptr;
    EXPECT_EQ(source->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr, &object),
              E_NOINTERFACE);
    const auto client = Activate<IAudioClient>(sink);
    EXPECT_EQ(client->Start(), AUDCLNT_E_NOT_INITIALIZED);
    EXPECT_EQ(client->GetService(__uuidof(IAudioCaptureClient), &object),
              AUDCLNT_E_NOT_INITIALIZED);
    const auto initialize = [&](const WAVEFORMATEX& format, DWORD flags) {
        return client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, 0, 0, &format, nullptr);
    };
    EXPECT_EQ(initialize(engine_format, AUDCLNT_STREAMFLAGS_EVENTCALLBACK),
              AUDCLNT_E_ENDPOINT_CREATE_FAILED);
    for (const WAVEFORMATEX& format : {
             WAVEFORMATEX{WAVE_FORMAT_PCM, 9, 44'100, 793'800, 18, 16, 0},
             WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 44'100, 132'300, 3, 12, 0},
             WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 44'100, 176'400, 8, 16, 0},
             WAVEFORMATEX{WAVE_FORMAT_IEEE_FLOAT, 2, 44'100, 176'400, 4, 16, 0},
             WAVEFORMATEX{WAVE_FORMAT_EXTENSIBLE, 2, 44'100, 176'400, 4, 16, 0},
             WAVEFORMATEX{WAVE_FORMAT_PCM, 0, 44'100, 0, 0, 16, 0},
         })
        EXPECT_EQ(initialize(format, AUDCLNT_STREAMFLAGS_LOOPBACK), AUDCLNT_E_UNSUPPORTED_FORMAT);
    EXPECT_EQ(initialize(engine_format, AUDCLNT_STREAMFLAGS_LOOPBACK), S_OK);
    EXPECT_EQ(initialize(engine_format, AUDCLNT_STREAMFLAGS_LOOPBACK),
              AUDCLNT_E_ALREADY_INITIALIZED);
    EXPECT_EQ(client->Stop(), S_FALSE);
    EXPECT_EQ(client->Start(), S_OK);
    EXPECT_EQ(client->Start(), AUDCLNT_E_NOT_STOPPED);
    EXPECT_EQ(client->Stop(), S_OK);
    ComPtr<IMMDevice> none;
    server.Control("set-default-source speakers.monitor");
    EXPECT_EQ(MakeEnumerator()->GetDefaultAudioEndpoint(eCapture, eConsole, none.Put()), not_found);
}

}  // namespace
}  // namespace Vimbrel
