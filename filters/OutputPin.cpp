#include "filters/OutputPin.h"

#include "base/ObjectCreation.h"
#include "filters/BaseFilter.h"

namespace Vimbrel {

HRESULT CBaseOutputPin::CompleteConnect(IPin* pin) {
    void* found = nullptr;
    HRESULT hr = pin->QueryInterface(__uuidof(IMemInputPin), &found);
    if (FAILED(hr)) return hr;
    receiver_.Attach(static_cast<IMemInputPin*>(found));
    return DecideAllocator(receiver_.Get(), allocator_);
}

void CBaseOutputPin::BreakConnect() {
    CBasePin::BreakConnect();
    if (allocator_) allocator_->Decommit();
    allocator_.Reset();
    receiver_.Reset();
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* receiver, ComPtr<IMemAllocator>& allocator) {
    ALLOCATOR_PROPERTIES wanted{};
    // What the receiver needs is optional: a failure leaves nothing asked for.
    receiver->GetAllocatorRequirements(&wanted);
    if (wanted.cbAlign == 0) wanted.cbAlign = 1;
    ALLOCATOR_PROPERTIES properties = wanted;
    if (SUCCEEDED(receiver->GetAllocator(allocator.Put())) && allocator &&
        SUCCEEDED(DecideBufferSize(allocator.Get(), &properties)) &&
        SUCCEEDED(receiver->NotifyAllocator(allocator.Get(), FALSE)))
        return S_OK;
    HRESULT hr = CreateObject(CLSID_MemoryAllocator, allocator);
    properties = wanted;
    if (SUCCEEDED(hr)) hr = DecideBufferSize(allocator.Get(), &properties);
    if (SUCCEEDED(hr)) hr = receiver->NotifyAllocator(allocator.Get(), FALSE);
    if (FAILED(hr)) allocator.Reset();
    return hr;
}

HRESULT CBaseOutputPin::Active() { return allocator_ ? allocator_->Commit() : VFW_E_NO_ALLOCATOR; }

void CBaseOutputPin::Inactive() {
    if (allocator_) allocator_->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, DWORD flags) {
    return allocator_ ? allocator_->GetBuffer(sample, nullptr, nullptr, flags) : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
    return receiver_ ? receiver_->Receive(sample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    const ComPtr<IPin> peer = Peer();
    return peer ? peer->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const ComPtr<IPin> peer = Peer();
    return peer ? peer->NewSegment(start, stop, rate) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
    const ComPtr<IPin> peer = Peer();
    return peer ? peer->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
    const ComPtr<IPin> peer = Peer();
    return peer ? peer->EndFlush() : VFW_E_NOT_CONNECTED;
}

}  // namespace Vimbrel
