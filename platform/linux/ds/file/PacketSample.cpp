#include "platform/linux/ds/file/PacketSample.h"

namespace Vimbrel {

PacketSample::PacketSample(FfmpegPtr<AVPacket> packet) : packet_(std::move(packet)) {
    if (packet_->pts == AV_NOPTS_VALUE) return;
    start_ = packet_->pts;
    end_ = packet_->pts + std::max<std::int64_t>(packet_->duration, 1);
}

HRESULT STDMETHODCALLTYPE PacketSample::GetPointer(BYTE** buffer) {
    if (!buffer) return E_POINTER;
    *buffer = packet_->data;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    if (!start || !end) return E_POINTER;
    if (!start_) return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = *start_;
    *end = end_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    start_.reset();
    if (!start) return S_OK;
    start_ = *start;
    end_ = end ? *end : *start + 1;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketSample::IsSyncPoint() {
    return (packet_->flags & AV_PKT_FLAG_KEY) != 0 ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE PacketSample::GetMediaType(AM_MEDIA_TYPE** type) {
    if (!type) return E_POINTER;
    *type = type_ ? CreateMediaType(*type_) : nullptr;
    if (!type_) return S_FALSE;
    return *type ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE PacketSample::SetMediaType(AM_MEDIA_TYPE* type) {
    type_.reset();
    if (type) type_.emplace(*type);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PacketSample::SetDiscontinuity(BOOL value) {
    discontinuity_ = value != FALSE;
    return S_OK;
}

}  // namespace Vimbrel
