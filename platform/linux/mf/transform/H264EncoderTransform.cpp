#include "platform/linux/mf/transform/H264EncoderTransform.h"

#include <codecapi.h>
#include <mfapi.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <span>
#include <vector>

#include "platform/linux/codec/H264Stream.h"
#include "platform/linux/mf/objects/MediaType.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetOutputStreamInfo(DWORD stream,
                                                                    MFT_OUTPUT_STREAM_INFO* info) {
    if (!info) return E_POINTER;
    *info = {};
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    info->dwFlags = MFT_OUTPUT_STREAM_WHOLE_SAMPLES | MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER;
    // An access unit that waits has its own size. Otherwise more than the picture itself, with room
    // for headers.
    constexpr DWORD headers = 65536;
    const auto waiting = static_cast<DWORD>(encoder_.AccessUnit().size());
    info->cbSize = waiting != 0 ? waiting : settings_.width * settings_.height * 2 + headers;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetOutputAvailableType(DWORD stream, DWORD index,
                                                                       IMFMediaType** type) {
    if (index != 0) return MF_E_NO_MORE_TYPES;
    return GetOutputCurrentType(stream, type);
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::SetOutputType(DWORD stream, IMFMediaType* type,
                                                              DWORD) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    output_type_.Reset();
    input_type_.Reset();
    open_ = false;
    if (!type) return S_OK;
    LiveVideoSettings settings;
    if (!IsMediaType(type, MFMediaType_Video, MFVideoFormat_H264) ||
        FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &settings.width, &settings.height)) ||
        FAILED(MFGetAttributeRatio(type, MF_MT_FRAME_RATE, &settings.fps_num, &settings.fps_den)) ||
        FAILED(type->GetUINT32(MF_MT_AVG_BITRATE, &settings.bit_rate))) {
        return MF_E_INVALIDMEDIATYPE;
    }
    settings.profile = MFGetAttributeUINT32(type, MF_MT_MPEG2_PROFILE, settings.profile);
    settings.level = MFGetAttributeUINT32(type, MF_MT_MPEG2_LEVEL, 0);
    // With no frames between key frames, as below one frame per second, each frame is one.
    if (UINT32 spacing = 0; SUCCEEDED(type->GetUINT32(MF_MT_MAX_KEYFRAME_SPACING, &spacing)))
        settings.key_interval = std::max(spacing, 1U);
    settings_ = settings;
    output_type_ = ComPtr<IMFMediaType>(type);
    return S_OK;
}

// Opens the encoder, so that formats it does not take are refused while another encoder can still
// be chosen.
HRESULT STDMETHODCALLTYPE H264EncoderTransform::SetInputType(DWORD stream, IMFMediaType* type,
                                                             DWORD) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    input_type_.Reset();
    if (!type) return S_OK;
    if (!output_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    UINT32 width = 0;
    UINT32 height = 0;
    if (!IsMediaType(type, MFMediaType_Video, MFVideoFormat_NV12) ||
        FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height)) ||
        width != settings_.width || height != settings_.height) {
        return MF_E_INVALIDMEDIATYPE;
    }
    const HRESULT hr = Open();
    if (FAILED(hr)) return hr == E_INVALIDARG ? MF_E_INVALIDMEDIATYPE : hr;
    input_type_ = ComPtr<IMFMediaType>(type);
    return S_OK;
}

HRESULT H264EncoderTransform::Open() try {
    open_ = false;
    settings_.quality_percent =
        rate_control_ == eAVEncCommonRateControlMode_Quality ? quality_percent_ : 0;
    const HRESULT hr = encoder_.Open(settings_, hardware_);
    open_ = SUCCEEDED(hr);
    has_sequence_header_ = false;
    stamps_.clear();
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::ProcessMessage(MFT_MESSAGE_TYPE message,
                                                               ULONG_PTR) {
    switch (message) {
        case MFT_MESSAGE_COMMAND_FLUSH:
            if (!encoder_.AccessUnit().empty()) stamps_.pop_front();
            encoder_.DropAccessUnit();
            return S_OK;
        case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
            if (!input_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
            return open_ ? S_OK : Open();
        default:
            return S_OK;
    }
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::ProcessInput(DWORD stream, IMFSample* sample,
                                                             DWORD) try {
    if (!sample) return E_POINTER;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!input_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (!encoder_.AccessUnit().empty()) return MF_E_NOTACCEPTING;
    if (!open_) {
        if (const HRESULT hr = Open(); FAILED(hr)) return hr;
    }
    const LockedSample frame(sample);
    if (FAILED(frame.Result())) return frame.Result();
    if (frame.Length() < settings_.width * settings_.height / 2 * 3) return MF_E_BUFFERTOOSMALL;
    Stamp stamp{};
    sample->GetSampleTime(&stamp.time);
    sample->GetSampleDuration(&stamp.duration);
    stamps_.push_back(stamp);
    const HRESULT hr = encoder_.Encode(frame.Data());
    if (FAILED(hr)) {
        stamps_.pop_back();
        return hr;
    }
    return encoder_.IsKey() && !has_sequence_header_ ? KeepSequenceHeader() : S_OK;
} catch (const std::bad_alloc&) {
    // The frame is lost, and later ones would refer to it: the next one opens the encoder anew and
    // becomes a key frame.
    encoder_.DropAccessUnit();
    open_ = false;
    return E_OUTOFMEMORY;
}

HRESULT H264EncoderTransform::KeepSequenceHeader() {
    const std::vector<std::uint8_t> header = H264ParameterSets(encoder_.AccessUnit());
    has_sequence_header_ = true;
    return output_type_->SetBlob(MF_MT_MPEG_SEQUENCE_HEADER, header.data(),
                                 static_cast<UINT32>(header.size()));
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::ProcessOutput(DWORD, DWORD count,
                                                              MFT_OUTPUT_DATA_BUFFER* samples,
                                                              DWORD* status) {
    if (!samples || !status || !samples->pSample) return E_POINTER;
    if (count != 1 || samples->dwStreamID != 0) return E_INVALIDARG;
    const std::span<const std::uint8_t> access_unit = encoder_.AccessUnit();
    if (access_unit.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    IMFSample* const sample = samples->pSample;
    LockedSample target(sample);
    if (FAILED(target.Result())) return target.Result();
    if (target.Capacity() < access_unit.size()) return MF_E_BUFFERTOOSMALL;
    std::memcpy(target.Data(), access_unit.data(), access_unit.size());
    const HRESULT hr = target.SetLength(static_cast<DWORD>(access_unit.size()));
    const bool key = encoder_.IsKey();
    encoder_.DropAccessUnit();
    const Stamp stamp = stamps_.front();
    stamps_.pop_front();
    sample->SetSampleTime(stamp.time);
    sample->SetSampleDuration(stamp.duration);
    sample->SetUINT64(MFSampleExtension_DecodeTimestamp, static_cast<UINT64>(stamp.time));
    sample->SetUINT32(MFSampleExtension_CleanPoint, key ? 1 : 0);
    return hr;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::IsSupported(const GUID* api) {
    if (!api) return E_POINTER;
    return *api == CODECAPI_AVEncCommonRateControlMode || *api == CODECAPI_AVEncCommonQuality
               ? S_OK
               : E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::IsModifiable(const GUID* api) {
    return IsSupported(api);
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetParameterRange(const GUID*, VARIANT*, VARIANT*,
                                                                  VARIANT*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetParameterValues(const GUID*, VARIANT**, ULONG*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetDefaultValue(const GUID*, VARIANT*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::GetValue(const GUID* api, VARIANT* value) {
    if (!value) return E_POINTER;
    if (const HRESULT hr = IsSupported(api); FAILED(hr)) return hr;
    *value = {};
    value->vt = VT_UI4;
    value->ulVal = *api == CODECAPI_AVEncCommonQuality ? quality_percent_ : rate_control_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE H264EncoderTransform::SetValue(const GUID* api, VARIANT* value) {
    if (!value) return E_POINTER;
    if (const HRESULT hr = IsSupported(api); FAILED(hr)) return hr;
    if (value->vt != VT_UI4) return E_INVALIDARG;
    if (*api == CODECAPI_AVEncCommonQuality) {
        if (value->ulVal < 1 || value->ulVal > 100) return E_INVALIDARG;
        quality_percent_ = value->ulVal;
    } else {
        if (value->ulVal > eAVEncCommonRateControlMode_Quality) return E_INVALIDARG;
        rate_control_ = value->ulVal;
    }
    // Applied when streaming begins.
    open_ = false;
    return S_OK;
}

HRESULT CreateSoftwareH264Encoder(REFIID iid, void** object) {
    return CreateCom<H264EncoderTransform>(iid, object, nullptr);
}

}  // namespace Vimbrel
