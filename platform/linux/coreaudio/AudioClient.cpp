#include "platform/linux/coreaudio/AudioClient.h"

#include <ksmedia.h>

#include <algorithm>
#include <new>
#include <utility>

#include "base/ChannelMask.h"
#include "platform/linux/coreaudio/CaptureClient.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

// In units of 100 ns: what a packet of the server has, and the shortest that is published.
constexpr REFERENCE_TIME packet_period = 100'000;
constexpr REFERENCE_TIME shortest_period = 30'000;

constexpr std::uint8_t max_channels = 8;

}  // namespace

std::shared_ptr<RecordStream> AudioClient::Stream() {
    const MutexLock lock(mutex_);
    return stream_;
}

HRESULT AudioClient::Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME, REFERENCE_TIME,
                                const WAVEFORMATEX* format, const GUID*) try {
    if (!format) return E_POINTER;
    if (mode != AUDCLNT_SHAREMODE_SHARED) return AUDCLNT_E_UNSUPPORTED_FORMAT;
    const bool loopback = (flags & AUDCLNT_STREAMFLAGS_LOOPBACK) != 0;
    if (flow_ == eRender && !loopback) {
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE,
                      "pulse: nothing is rendered, as monitors deliver without it");
        return AUDCLNT_E_ENDPOINT_CREATE_FAILED;
    }
    if (flow_ == eCapture && loopback) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    const MutexLock lock(mutex_);
    if (stream_) return AUDCLNT_E_ALREADY_INITIALIZED;
    std::unique_ptr<RecordStream> stream;
    const HRESULT hr =
        RecordStream::Open(connection_, loopback ? device_.monitor : device_.name, *format, stream);
    if (SUCCEEDED(hr)) stream_ = std::move(stream);
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT AudioClient::GetBufferSize(UINT32* frames) {
    if (!frames) return E_POINTER;
    *frames = 0;
    const std::shared_ptr<RecordStream> stream = Stream();
    if (!stream) return AUDCLNT_E_NOT_INITIALIZED;
    *frames = stream->BufferFrames();
    return S_OK;
}

HRESULT AudioClient::GetCurrentPadding(UINT32* frames) {
    if (!frames) return E_POINTER;
    *frames = 0;
    const std::shared_ptr<RecordStream> stream = Stream();
    return stream ? stream->Waiting(*frames) : AUDCLNT_E_NOT_INITIALIZED;
}

HRESULT AudioClient::GetMixFormat(WAVEFORMATEX** format) {
    if (!format) return E_POINTER;
    *format = nullptr;
    auto* const mix =
        static_cast<WAVEFORMATEXTENSIBLE*>(CoTaskMemAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
    if (!mix) return E_OUTOFMEMORY;
    const std::uint8_t channels = std::clamp<std::uint8_t>(device_.channels, 1, max_channels);
    constexpr WORD bits = 32;
    const auto align = static_cast<WORD>(channels * bits / 8);
    mix->Format = {WAVE_FORMAT_EXTENSIBLE,
                   channels,
                   device_.rate,
                   device_.rate * align,
                   align,
                   bits,
                   sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX)};
    mix->Samples.wValidBitsPerSample = bits;
    mix->dwChannelMask = ChannelMask(channels);
    mix->SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
    *format = &mix->Format;
    return S_OK;
}

HRESULT AudioClient::GetDevicePeriod(REFERENCE_TIME* default_period,
                                     REFERENCE_TIME* minimum_period) {
    if (!default_period && !minimum_period) return E_POINTER;
    if (default_period) *default_period = packet_period;
    if (minimum_period) *minimum_period = shortest_period;
    return S_OK;
}

HRESULT AudioClient::Start() {
    const std::shared_ptr<RecordStream> stream = Stream();
    return stream ? stream->Start() : AUDCLNT_E_NOT_INITIALIZED;
}

HRESULT AudioClient::Stop() {
    const std::shared_ptr<RecordStream> stream = Stream();
    return stream ? stream->Stop() : AUDCLNT_E_NOT_INITIALIZED;
}

HRESULT AudioClient::SetEventHandle(HANDLE event) {
    if (!event) return E_INVALIDARG;
    return Stream() ? AUDCLNT_E_EVENTHANDLE_NOT_EXPECTED : AUDCLNT_E_NOT_INITIALIZED;
}

HRESULT AudioClient::GetService(REFIID iid, void** service) {
    if (!service) return E_POINTER;
    *service = nullptr;
    std::shared_ptr<RecordStream> stream = Stream();
    if (!stream) return AUDCLNT_E_NOT_INITIALIZED;
    if (iid == __uuidof(IAudioRenderClient)) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    if (iid != __uuidof(IAudioCaptureClient)) return E_NOINTERFACE;
    return CreateCom<CaptureClient>(iid, service, std::move(stream));
}

}  // namespace Vimbrel
