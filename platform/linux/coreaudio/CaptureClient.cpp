#include "platform/linux/coreaudio/CaptureClient.h"

#include <utility>

namespace Vimbrel {

HRESULT CaptureClient::GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                                 UINT64* qpc_position) {
    if (!data || !frames || !flags) return E_POINTER;
    *data = nullptr;
    *frames = 0;
    *flags = 0;
    if (taken_ != 0) return AUDCLNT_E_OUT_OF_ORDER;
    RecordStream::Packet packet{};
    const HRESULT hr = stream_->Peek(packet);
    if (FAILED(hr)) return hr;
    if (packet.frames == 0) return AUDCLNT_S_BUFFER_EMPTY;
    taken_ = packet.frames;
    *data = const_cast<BYTE*>(packet.data);
    *frames = packet.frames;
    if (device_position) *device_position = static_cast<UINT64>(packet.start);
    if (qpc_position) *qpc_position = static_cast<UINT64>(packet.end);
    return S_OK;
}

HRESULT CaptureClient::ReleaseBuffer(UINT32 frames) {
    if (frames == 0) {
        taken_ = 0;
        return S_OK;
    }
    if (taken_ == 0) return AUDCLNT_E_OUT_OF_ORDER;
    if (frames != taken_) return AUDCLNT_E_INVALID_SIZE;
    taken_ = 0;
    return stream_->Drop();
}

HRESULT CaptureClient::GetNextPacketSize(UINT32* frames) {
    if (!frames) return E_POINTER;
    RecordStream::Packet packet{};
    const HRESULT hr = stream_->Peek(packet);
    *frames = packet.frames;
    return hr;
}

}  // namespace Vimbrel
