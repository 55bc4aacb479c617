// A media sample that is a packet of a demuxer.
#pragma once

#include <optional>

#include "com/ComObject.h"
#include "platform/linux/ds/media/StreamTypes.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Belongs to no allocator: packets differ too much in size to be copied into equal buffers. One
// thread at a time.
class PacketSample final : public ComObject<Implements<IMediaSample>, Implements<IPacketSample>> {
public:
    explicit PacketSample(FfmpegPtr<AVPacket> packet);

    const AVPacket* Packet() override { return packet_.get(); }

    HRESULT STDMETHODCALLTYPE GetPointer(BYTE** buffer) override;
    LONG STDMETHODCALLTYPE GetSize() override { return packet_->size; }
    HRESULT STDMETHODCALLTYPE GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    HRESULT STDMETHODCALLTYPE SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    HRESULT STDMETHODCALLTYPE IsSyncPoint() override;
    HRESULT STDMETHODCALLTYPE SetSyncPoint(BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsPreroll() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetPreroll(BOOL) override { return E_NOTIMPL; }
    LONG STDMETHODCALLTYPE GetActualDataLength() override { return packet_->size; }
    HRESULT STDMETHODCALLTYPE SetActualDataLength(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMediaType(AM_MEDIA_TYPE** type) override;
    HRESULT STDMETHODCALLTYPE SetMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT STDMETHODCALLTYPE IsDiscontinuity() override { return discontinuity_ ? S_OK : S_FALSE; }
    HRESULT STDMETHODCALLTYPE SetDiscontinuity(BOOL value) override;
    HRESULT STDMETHODCALLTYPE GetMediaTime(LONGLONG*, LONGLONG*) override {
        return VFW_E_MEDIA_TIME_NOT_SET;
    }
    HRESULT STDMETHODCALLTYPE SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

private:
    const FfmpegPtr<AVPacket> packet_;
    std::optional<REFERENCE_TIME> start_;
    REFERENCE_TIME end_ = 0;
    std::optional<CMediaType> type_;
    bool discontinuity_ = false;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
