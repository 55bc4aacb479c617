#include "Audio/capture/LoopbackCapture.h"

#include <avrt.h>
#include <functiondiscoverykeys_devpkey.h>
#include <ksmedia.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "Audio/capture/LoopbackSilence.h"
#include "base/ObjectCreation.h"

namespace Vimbrel {

namespace {

constexpr std::uint32_t least_buffer_bytes = 20'480;
constexpr REFERENCE_TIME ticks_per_millisecond = 10'000;
constexpr REFERENCE_TIME longest_wait_ms = 20;

bool HasName(IMMDevice& device, const std::wstring& name) {
    ComPtr<IPropertyStore> properties;
    if (FAILED(device.OpenPropertyStore(STGM_READ, properties.Put()))) return false;
    PROPVARIANT value;
    PropVariantInit(&value);
    const HRESULT hr = properties->GetValue(PKEY_Device_FriendlyName, &value);
    const bool same =
        SUCCEEDED(hr) && value.vt == VT_LPWSTR && value.pwszVal && name == value.pwszVal;
    PropVariantClear(&value);
    return same;
}

template <class Interface>
HRESULT Activate(IMMDevice& device, DWORD context, ComPtr<Interface>& made) {
    void* object = nullptr;
    made.Reset();
    const HRESULT hr = device.Activate(__uuidof(Interface), context, nullptr, &object);
    if (SUCCEEDED(hr)) made.Attach(static_cast<Interface*>(object));
    return hr;
}

}  // namespace

LoopbackCapture::LoopbackCapture()
    : started_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      capture_stop_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      playback_stop_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

LoopbackCapture::~LoopbackCapture() {
    Close();
    CloseHandle(started_event);
    CloseHandle(capture_stop_event);
    CloseHandle(playback_stop_event);
}

HRESULT LoopbackCapture::Initialize(const std::wstring& name) {
    Close();
    HRESULT hr = FindDevice(name);
    if (SUCCEEDED(hr)) hr = ActivateClient();
    if (SUCCEEDED(hr) && convert_to_pcm16) hr = ConvertToPcm16();
    if (SUCCEEDED(hr)) hr = AllocateBuffer();
    if (FAILED(hr)) return hr;
    hr = audio_client->Initialize(AUDCLNT_SHAREMODE_SHARED, AUDCLNT_STREAMFLAGS_LOOPBACK, 0, 0,
                                  mix_format, nullptr);
    if (FAILED(hr)) return hr;
    void* service = nullptr;
    hr = audio_client->GetService(__uuidof(IAudioCaptureClient), &service);
    if (FAILED(hr)) return hr;
    capture_client.Attach(static_cast<IAudioCaptureClient*>(service));
    // Without it the device has no volume here, but is recorded all the same.
    static_cast<void>(Activate(*device.Get(), CLSCTX_INPROC_SERVER, endpoint_volume));
    return S_OK;
}

HRESULT LoopbackCapture::FindDevice(const std::wstring& name) {
    ComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT hr = CreateObject(CLSID_MMDeviceEnumerator, enumerator);
    if (FAILED(hr)) return hr;
    ComPtr<IMMDeviceCollection> endpoints;
    hr = enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, endpoints.Put());
    UINT count = 0;
    if (SUCCEEDED(hr)) endpoints->GetCount(&count);
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IMMDevice> endpoint;
        if (FAILED(endpoints->Item(i, endpoint.Put())) || !HasName(*endpoint.Get(), name)) continue;
        device = endpoint;
        device_name = name;
    }
    if (!device) hr = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put());
    if (!device) return hr;
    // Kept: the direction is read and not acted on, because the default device is an output anyway.
    EDataFlow flow = eRender;
    if (const auto endpoint = device.As<IMMEndpoint>()) endpoint->GetDataFlow(&flow);
    return S_OK;
}

HRESULT LoopbackCapture::ActivateClient() {
    HRESULT hr = Activate(*device.Get(), CLSCTX_ALL, audio_client);
    if (FAILED(hr)) return hr;
    hr = audio_client->GetDevicePeriod(&device_period, nullptr);
    return SUCCEEDED(hr) ? audio_client->GetMixFormat(&mix_format) : hr;
}

HRESULT LoopbackCapture::ConvertToPcm16() {
    constexpr WORD bits = 16;
    if (mix_format->wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
        mix_format->wFormatTag = WAVE_FORMAT_PCM;
    } else if (mix_format->wFormatTag == WAVE_FORMAT_EXTENSIBLE) {
        auto* const extensible = reinterpret_cast<WAVEFORMATEXTENSIBLE*>(mix_format);
        if (extensible->SubFormat != KSDATAFORMAT_SUBTYPE_IEEE_FLOAT) return E_UNEXPECTED;
        extensible->SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
        extensible->Samples.wValidBitsPerSample = bits;
    } else {
        return E_UNEXPECTED;
    }
    mix_format->wBitsPerSample = bits;
    mix_format->nBlockAlign = static_cast<WORD>(mix_format->nChannels * bits / 8);
    mix_format->nAvgBytesPerSec = mix_format->nBlockAlign * mix_format->nSamplesPerSec;
    return S_OK;
}

HRESULT LoopbackCapture::AllocateBuffer() {
    block_align = mix_format->nBlockAlign;
    buffer_size = std::max<std::uint32_t>(mix_format->nAvgBytesPerSec, least_buffer_bytes);
    buffer.reset(new (std::nothrow) unsigned char[buffer_size]);
    return buffer ? S_OK : E_OUTOFMEMORY;
}

void LoopbackCapture::Close() {
    StopThreads();
    if (audio_client) {
        audio_client->SetEventHandle(nullptr);
        audio_client->Stop();
    }
    audio_client.Reset();
    capture_client.Reset();
    endpoint_volume.Reset();
    CoTaskMemFree(std::exchange(mix_format, nullptr));
    device.Reset();
}

bool LoopbackCapture::StartThreads() {
    if (!device || !audio_client || !capture_client) return false;
    StopThreads();
    capturing = true;
    ResetEvent(started_event);
    ResetEvent(capture_stop_event);
    ResetEvent(playback_stop_event);
    playback_thread =
        std::thread([this] { PlaySilence(*device.Get(), started_event, playback_stop_event); });
    WaitForSingleObject(started_event, INFINITE);
    ResetEvent(started_event);
    capture_thread = std::thread([this] { Capture(); });
    WaitForSingleObject(started_event, INFINITE);
    return true;
}

void LoopbackCapture::StopThreads() {
    capturing = false;
    StopThread(capture_thread, capture_stop_event);
    StopThread(playback_thread, playback_stop_event);
}

void LoopbackCapture::StopThread(std::thread& thread, HANDLE stop_event) {
    if (!thread.joinable()) return;
    SetEvent(stop_event);
    thread.join();
}

void LoopbackCapture::Capture() {
    DWORD index = 0;
    // Without it the thread runs at the usual priority.
    HANDLE task = AvSetMmThreadCharacteristicsW(L"Audio", &index);
    const bool started = SUCCEEDED(audio_client->Start());
    if (started) {
        packet_count = 0;
        SetEvent(started_event);
        const auto interval =
            static_cast<DWORD>(std::min(device_period / ticks_per_millisecond, longest_wait_ms));
        while (WaitForSingleObject(capture_stop_event, interval) == WAIT_TIMEOUT) Drain();
        audio_client->Stop();
    }
    if (task) AvRevertMmThreadCharacteristics(task);
    if (!started) SetEvent(started_event);
}

void LoopbackCapture::Drain() {
    UINT32 frames = 0;
    while (SUCCEEDED(capture_client->GetNextPacketSize(&frames)) && frames > 0) {
        BYTE* data = nullptr;
        DWORD flags = 0;
        UINT64 device_position = 0;
        UINT64 qpc_position = 0;
        if (FAILED(capture_client->GetBuffer(&data, &frames, &flags, &device_position,
                                             &qpc_position))) {
            capture_client->ReleaseBuffer(frames);
            return;
        }
        const std::uint32_t bytes = frames * block_align;
        if (bytes > buffer_size) {
            auto larger = std::unique_ptr<unsigned char[]>(
                new (std::nothrow) unsigned char[std::size_t{2} * bytes]);
            if (!larger) {
                capture_client->ReleaseBuffer(frames);
                return;
            }
            buffer_size = 2 * bytes;
            buffer = std::move(larger);
        }
        if (frames > 0) std::memcpy(buffer.get(), data, bytes);
        // Before the delivery, so that a slow dispatcher does not hold the device's buffer.
        capture_client->ReleaseBuffer(frames);
        if (frames == 0) return;
        ++packet_count;
        Deliver(static_cast<int>(bytes), device_position, qpc_position);
    }
}

void LoopbackCapture::Deliver(int bytes, std::uint64_t device_position,
                              std::uint64_t qpc_position) {
    std::shared_ptr<const Dispatcher> receiver;
    {
        const MutexLock lock(dispatcher_mutex);
        receiver = dispatcher;
    }
    if (capturing && receiver && *receiver)
        (*receiver)(buffer.get(), bytes, device_position, qpc_position);
}

void LoopbackCapture::SetDispatcher(Dispatcher receiver) {
    auto shared = std::make_shared<const Dispatcher>(std::move(receiver));
    const MutexLock lock(dispatcher_mutex);
    dispatcher = std::move(shared);
}

int LoopbackCapture::GetVolumePercent() {
    FLOAT level = 1.0F;
    if (!endpoint_volume || FAILED(endpoint_volume->GetMasterVolumeLevelScalar(&level))) return -1;
    return static_cast<int>(std::lround(level * 100));
}

bool LoopbackCapture::SetVolumePercent(int percent) {
    volume = percent;
    return endpoint_volume && SUCCEEDED(endpoint_volume->SetMasterVolumeLevelScalar(
                                  static_cast<FLOAT>(percent / 100.0), nullptr));
}

void LoopbackCapture::SetMute(bool mute) {
    if (endpoint_volume) endpoint_volume->SetMute(mute ? TRUE : FALSE, nullptr);
}

bool LoopbackCapture::GetMute() {
    BOOL mute = FALSE;
    return endpoint_volume && SUCCEEDED(endpoint_volume->GetMute(&mute)) && mute != FALSE;
}

}  // namespace Vimbrel
