#include "platform/linux/ds/device/MicrophonePin.h"

#include <algorithm>

#include "platform/linux/ds/device/Microphone.h"

namespace Vimbrel {

namespace {

constexpr LONG default_buffers = 8;
constexpr LONG default_buffer_bytes = 4096;

constexpr DWORD mixed_rate = 44'100;

CMediaType StereoType(DWORD rate) {
    const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, rate, rate * 4, 4, 16, 0};
    CMediaType type;
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format.nBlockAlign;
    type.SetFormat(FORMAT_WaveFormatEx, &format, sizeof format);
    return type;
}

}  // namespace

MicrophonePin::MicrophonePin(Microphone& filter, DWORD frames_per_second)
    : CBaseOutputPin(filter, L"Capture"),
      microphone_(filter),
      types_{StereoType(mixed_rate)},
      suggested_{-1, -1, -1, -1} {
    if (frames_per_second != mixed_rate) types_.push_back(StereoType(frames_per_second));
}

void* MicrophonePin::FindInterface(REFIID iid) {
    return iid == __uuidof(IAMBufferNegotiation) ? static_cast<IAMBufferNegotiation*>(this)
                                                 : CBaseOutputPin::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE
MicrophonePin::SuggestAllocatorProperties(const ALLOCATOR_PROPERTIES* properties) {
    if (!properties) return E_POINTER;
    if (IsConnected()) return VFW_E_ALREADY_CONNECTED;
    suggested_ = *properties;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MicrophonePin::GetAllocatorProperties(ALLOCATOR_PROPERTIES* properties) {
    if (!properties) return E_POINTER;
    return Allocator() ? Allocator()->GetProperties(properties) : VFW_E_NOT_CONNECTED;
}

HRESULT MicrophonePin::CheckMediaType(const CMediaType* type) {
    return std::find(types_.begin(), types_.end(), *type) != types_.end() ? S_OK
                                                                          : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT MicrophonePin::SetMediaType(const CMediaType* type) {
    if (const auto* const wave = type->FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx)) format_ = *wave;
    return CBaseOutputPin::SetMediaType(type);
}

HRESULT MicrophonePin::DecideBufferSize(IMemAllocator* allocator,
                                        ALLOCATOR_PROPERTIES* properties) {
    const LONG bytes = suggested_.cbBuffer > 0 ? suggested_.cbBuffer : default_buffer_bytes;
    // Whole frames.
    properties->cbBuffer = std::max<LONG>(bytes / format_.nBlockAlign, 1) * format_.nBlockAlign;
    properties->cBuffers = suggested_.cBuffers > 0 ? suggested_.cBuffers : default_buffers;
    if (suggested_.cbAlign > 0) properties->cbAlign = suggested_.cbAlign;
    if (suggested_.cbPrefix >= 0) properties->cbPrefix = suggested_.cbPrefix;
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = allocator->SetProperties(properties, &actual);
    if (FAILED(hr)) return hr;
    return actual.cbBuffer >= format_.nBlockAlign ? S_OK : E_FAIL;
}

HRESULT MicrophonePin::Active() {
    const HRESULT hr = microphone_.OpenStream();
    return SUCCEEDED(hr) ? CBaseOutputPin::Active() : hr;
}

void MicrophonePin::Inactive() {
    // A thread that waits for a buffer leaves with it.
    CBaseOutputPin::Inactive();
    microphone_.CloseStream();
}

MicrophoneLevel::MicrophoneLevel(Microphone& microphone)
    : Face(static_cast<IBaseFilter&>(microphone)), microphone_(microphone) {}

double MicrophoneLevel::Effective() {
    const MutexLock guard(lock_);
    return enabled_ ? level_ : 0;
}

HRESULT STDMETHODCALLTYPE MicrophoneLevel::put_Enable(BOOL enable) {
    {
        const MutexLock guard(lock_);
        enabled_ = enable != FALSE;
    }
    return microphone_.ApplyLevel();
}

HRESULT STDMETHODCALLTYPE MicrophoneLevel::get_Enable(BOOL* enable) {
    if (!enable) return E_POINTER;
    const MutexLock guard(lock_);
    *enable = enabled_ ? TRUE : FALSE;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MicrophoneLevel::put_MixLevel(double level) {
    if (!(level >= 0 && level <= 1)) return E_INVALIDARG;
    {
        const MutexLock guard(lock_);
        level_ = level;
    }
    return microphone_.ApplyLevel();
}

HRESULT STDMETHODCALLTYPE MicrophoneLevel::get_MixLevel(double* level) {
    if (!level) return E_POINTER;
    const MutexLock guard(lock_);
    *level = level_;
    return S_OK;
}

}  // namespace Vimbrel
