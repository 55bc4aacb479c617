#include "platform/linux/ds/device/CapturePin.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

#include "base/Failure.h"
#include "filters/BaseFilter.h"

namespace Vimbrel {

namespace {

constexpr LONG sample_count = 4;

// Of the clock that stamps the pictures.
REFERENCE_TIME MonotonicTime() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count() / 100;
}

const BITMAPINFOHEADER* HeaderOf(const AM_MEDIA_TYPE& type, REFERENCE_TIME& frame_time) {
    if (type.formattype != FORMAT_VideoInfo || type.cbFormat < sizeof(VIDEOINFOHEADER) ||
        !type.pbFormat)
        return nullptr;
    const auto& info = *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
    frame_time = info.AvgTimePerFrame;
    return &info.bmiHeader;
}

// Whether somebody takes the pixels that the device is set to.
bool IsUsable(const V4l2Layout& layout) { return SubtypeOf(layout.format.pixel_format) != nullptr; }

}  // namespace

CapturePin::CapturePin(CBaseFilter& filter, std::unique_ptr<V4l2Device> device)
    : CBaseOutputPin(filter, L"Capture"),
      device_(std::move(device)),
      config_(*this),
      category_(*this) {
    for (const V4l2Format& each : device_->Formats()) {
        if (SubtypeOf(each.pixel_format)) formats_.push_back(each);
    }
    // A failure leaves no current format. Listing makes this object as well: it neither logs nor
    // changes the device, which another program may use.
    device_->GetCurrent(layout_);
}

CapturePin::~CapturePin() { Inactive(); }

void* CapturePin::FindInterface(REFIID iid) {
    if (iid == __uuidof(IAMStreamConfig)) return &config_;
    if (iid == __uuidof(IKsPropertySet)) return &category_;
    return CBaseOutputPin::FindInterface(iid);
}

std::vector<CMediaType> CapturePin::OfferedTypes() {
    if (!IsUsable(layout_)) return {};
    return {TypeOf(layout_.format)};
}

HRESULT CapturePin::CheckMediaType(const CMediaType* type) {
    const std::vector<CMediaType> offered = OfferedTypes();
    return !offered.empty() && *type == offered.front() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT STDMETHODCALLTYPE CapturePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    if (!IsUsable(layout_) && !formats_.empty()) {
        HRESULT hr = device_->SetFormat(formats_.front());
        if (SUCCEEDED(hr)) hr = device_->GetCurrent(layout_);
        if (FAILED(LogIfFailed(hr, "Camera - SetFormat"))) return hr;
    }
    return CBaseOutputPin::Connect(receiver, type);
}

HRESULT CapturePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* properties) {
    const auto needed =
        std::max<std::uint64_t>(TypeOf(layout_.format).lSampleSize, layout_.image_size);
    if (needed > 0x40000000) return E_OUTOFMEMORY;
    properties->cBuffers = std::max(properties->cBuffers, sample_count);
    properties->cbBuffer = std::max(properties->cbBuffer, static_cast<LONG>(needed));
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = allocator->SetProperties(properties, &actual);
    if (FAILED(hr)) return hr;
    return actual.cbBuffer < static_cast<LONG>(needed) ? E_FAIL : S_OK;
}

HRESULT CapturePin::Run(REFERENCE_TIME start) {
    if (const HRESULT lost = Lost(); FAILED(lost)) return lost;
    REFERENCE_TIME zero = MonotonicTime();
    REFERENCE_TIME now = 0;
    const ComPtr<IReferenceClock> clock = Filter().Clock();
    if (clock && SUCCEEDED(clock->GetTime(&now))) {
        zero += start - now;
    } else {
        zero -= last_end_;
    }
    base_ = zero;
    // The device may have filled its buffers while the last picture before the pause was held.
    resumed_ = thread_.joinable() ? MonotonicTime() : std::numeric_limits<REFERENCE_TIME>::min();
    delivering_ = true;
    if (thread_.joinable() || !IsConnected()) return S_OK;
    const HRESULT hr = LogIfFailed(device_->Start(), "Camera - Start");
    if (FAILED(hr)) return hr;
    dropped_ = true;
    reported_short_ = false;
    next_sequence_ = 0;
    try {
        thread_ = std::thread([this] { Capture(); });
    } catch (const std::system_error&) {
        device_->Stop();
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void CapturePin::Inactive() {
    delivering_ = false;
    CBaseOutputPin::Inactive();
    if (!thread_.joinable()) return;
    device_->Wake();
    thread_.join();
    device_->Stop();
    lost_ = S_OK;
    last_end_ = 0;
}

void CapturePin::Capture() {
    for (;;) {
        V4l2Picture picture;
        HRESULT hr = device_->Wait(picture);
        if (hr == S_FALSE) return;
        if (FAILED(hr)) return Report(hr);
        hr = delivering_ ? Carry(picture) : S_FALSE;
        if (hr != S_OK) dropped_ = true;
        device_->Return(picture);
    }
}

HRESULT CapturePin::Carry(const V4l2Picture& picture) {
    if (picture.time < resumed_) return S_FALSE;
    const bool gap = dropped_ || picture.sequence != next_sequence_;
    next_sequence_ = picture.sequence + 1;
    ComPtr<IMediaSample> sample;
    // A receiver that keeps all samples misses pictures; the device must not wait for it.
    const HRESULT got = GetDeliveryBuffer(sample.Put(), AM_GBF_NOWAIT);
    if (FAILED(got)) return got;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    const auto size =
        CopyPicture(layout_, picture, data, static_cast<std::size_t>(sample->GetSize()));
    if (!size) {
        if (!reported_short_) {
            APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN,
                          "Camera - damaged or short picture of %llu bytes, dropped",
                          static_cast<unsigned long long>(picture.size));
        }
        reported_short_ = true;
        return S_FALSE;
    }
    REFERENCE_TIME start = picture.time - base_;
    REFERENCE_TIME end = start + std::max<REFERENCE_TIME>(layout_.format.frame_time, 1);
    sample->SetActualDataLength(static_cast<LONG>(*size));
    sample->SetTime(&start, &end);
    sample->SetSyncPoint(TRUE);
    sample->SetDiscontinuity(gap ? TRUE : FALSE);
    dropped_ = false;
    last_end_ = end;
    return Deliver(sample.Get());
}

void CapturePin::Report(HRESULT reason) {
    LogIfFailed(reason, "Camera - Wait");
    lost_ = reason;
    Filter().NotifyEvent(
        EC_DEVICE_LOST,
        reinterpret_cast<LONG_PTR>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(&Filter()))),
        0);
}

const V4l2Format* CapturePin::FindFormat(const AM_MEDIA_TYPE& type) const {
    REFERENCE_TIME frame_time = 0;
    const BITMAPINFOHEADER* const header = HeaderOf(type, frame_time);
    if (!header || type.majortype != MEDIATYPE_Video) return nullptr;
    const V4l2Format* best = nullptr;
    int best_rank = -1;
    for (const V4l2Format& each : formats_) {
        if (*SubtypeOf(each.pixel_format) != type.subtype || each.width != header->biWidth ||
            each.height != header->biHeight)
            continue;
        // A type without a rate, or with another one, takes the first of its size. Of two kinds of
        // pixels that are one subtype, the device keeps the one that it has.
        const int rank = (each.frame_time == frame_time ? 2 : 0) +
                         (each.pixel_format == layout_.format.pixel_format ? 1 : 0);
        if (rank <= best_rank) continue;
        best = &each;
        best_rank = rank;
    }
    return best;
}

HRESULT STDMETHODCALLTYPE CapturePin::Config::SetFormat(AM_MEDIA_TYPE* type) {
    if (!type) return E_POINTER;
    if (pin_.IsConnected()) return VFW_E_ALREADY_CONNECTED;
    const V4l2Format* const format = pin_.FindFormat(*type);
    if (!format) return VFW_E_INVALIDMEDIATYPE;
    const HRESULT hr = pin_.device_->SetFormat(*format);
    // After a refusal the device stands where it stands.
    const HRESULT read = pin_.device_->GetCurrent(pin_.layout_);
    return FAILED(hr) ? hr : read;
}

HRESULT STDMETHODCALLTYPE CapturePin::Config::GetFormat(AM_MEDIA_TYPE** type) {
    if (!type) return E_POINTER;
    *type = nullptr;
    if (!IsUsable(pin_.layout_)) return VFW_E_INVALIDMEDIATYPE;
    *type = CreateMediaType(TypeOf(pin_.layout_.format));
    return *type ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE CapturePin::Config::GetNumberOfCapabilities(int* count, int* size) {
    if (!count || !size) return E_POINTER;
    *count = static_cast<int>(pin_.formats_.size());
    *size = static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CapturePin::Config::GetStreamCaps(int index, AM_MEDIA_TYPE** type,
                                                            BYTE* capability) {
    if (!type || !capability) return E_POINTER;
    *type = nullptr;
    if (index < 0) return E_INVALIDARG;
    if (static_cast<std::size_t>(index) >= pin_.formats_.size()) return S_FALSE;
    const V4l2Format& format = pin_.formats_[static_cast<std::size_t>(index)];
    *type = CreateMediaType(TypeOf(format));
    if (!*type) return E_OUTOFMEMORY;
    VIDEO_STREAM_CONFIG_CAPS caps{};
    caps.guid = FORMAT_VideoInfo;
    const SIZE size{format.width, format.height};
    caps.InputSize = caps.MinCroppingSize = caps.MaxCroppingSize = size;
    caps.MinOutputSize = caps.MaxOutputSize = size;
    caps.MinFrameInterval = caps.MaxFrameInterval = format.frame_time;
    std::memcpy(capability, &caps, sizeof caps);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CapturePin::Category::Set(REFGUID, DWORD, void*, DWORD, void*, DWORD) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE CapturePin::Category::Get(REFGUID set, DWORD id, void*, DWORD, void* data,
                                                    DWORD size, DWORD* returned) {
    if (set != AMPROPSETID_Pin || id != AMPROPERTY_PIN_CATEGORY) return E_INVALIDARG;
    if (!data || size < sizeof(GUID)) return E_INVALIDARG;
    std::memcpy(data, &PIN_CATEGORY_CAPTURE, sizeof(GUID));
    if (returned) *returned = sizeof(GUID);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CapturePin::Category::QuerySupported(REFGUID set, DWORD id,
                                                               DWORD* support) {
    if (set != AMPROPSETID_Pin || id != AMPROPERTY_PIN_CATEGORY) return E_INVALIDARG;
    if (support) *support = KSPROPERTY_SUPPORT_GET;
    return S_OK;
}

}  // namespace Vimbrel
