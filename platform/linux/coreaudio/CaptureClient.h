// The packets of a recording stream.
#pragma once

#include <audioclient.h>

#include <memory>

#include "com/ComObject.h"
#include "platform/linux/pulse/RecordStream.h"

namespace Vimbrel {

// One thread at a time. The device position is the time of a packet's first frame, the counter that
// of its end, both in units of 100 ns of QueryPerformanceCounter: a consumer that compares one
// packet's position with the counter of the packet before then finds no gap where there is none.
class CaptureClient final : public ComObject<Implements<IAudioCaptureClient>> {
public:
    explicit CaptureClient(std::shared_ptr<RecordStream> stream) : stream_(std::move(stream)) {}

    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* frames, DWORD* flags,
                                        UINT64* device_position, UINT64* qpc_position) override;
    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames) override;
    HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32* frames) override;

private:
    const std::shared_ptr<RecordStream> stream_;
    UINT32 taken_ = 0;  // frames of the packet between GetBuffer and ReleaseBuffer
};

}  // namespace Vimbrel
