#include "filters/TransInPlacePins.h"

#include "filters/Enumerators.h"
#include "filters/TransInPlaceFilter.h"

namespace Vimbrel {

TransInPlaceInput::TransInPlaceInput(CTransInPlaceFilter& filter)
    : CBaseInputPin(filter, L"In"), filter_(filter) {}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::Receive(IMediaSample* sample) {
    return sample ? filter_.Receive(sample) : E_POINTER;
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::EndOfStream() {
    const HRESULT hr = CheckStreaming();
    return hr == S_OK ? filter_.Output().DeliverEndOfStream() : hr;
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::BeginFlush() {
    CBaseInputPin::BeginFlush();
    return filter_.Output().DeliverBeginFlush();
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::EndFlush() {
    const HRESULT hr = filter_.FinishFlush();
    CBaseInputPin::EndFlush();
    return hr;
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                                        double rate) {
    CBaseInputPin::NewSegment(start, stop, rate);
    return filter_.Output().DeliverNewSegment(start, stop, rate);
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::GetAllocator(IMemAllocator** allocator) {
    IMemInputPin* const downstream = filter_.Output().Downstream();
    return downstream ? downstream->GetAllocator(allocator)
                      : CBaseInputPin::GetAllocator(allocator);
}

HRESULT STDMETHODCALLTYPE TransInPlaceInput::NotifyAllocator(IMemAllocator* allocator,
                                                             BOOL read_only) {
    const HRESULT hr = CBaseInputPin::NotifyAllocator(allocator, read_only);
    return SUCCEEDED(hr) ? filter_.Output().FollowInput() : hr;
}

HRESULT STDMETHODCALLTYPE
TransInPlaceInput::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) {
    IMemInputPin* const downstream = filter_.Output().Downstream();
    return downstream ? downstream->GetAllocatorRequirements(properties) : E_NOTIMPL;
}

HRESULT TransInPlaceInput::CheckMediaType(const CMediaType* type) {
    const HRESULT hr = filter_.CheckInputType(type);
    const ComPtr<IPin> downstream = filter_.Output().Peer();
    return hr == S_OK && downstream ? downstream->QueryAccept(type) : hr;
}

HRESULT TransInPlaceInput::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CBaseInputPin::SetMediaType(type);
    return SUCCEEDED(hr) ? filter_.SetMediaType(PINDIR_INPUT, type) : hr;
}

std::vector<CMediaType> TransInPlaceInput::OfferedTypes() {
    const ComPtr<IPin> downstream = filter_.Output().Peer();
    return downstream ? TypesOf(*downstream.Get()) : std::vector<CMediaType>();
}

void TransInPlaceInput::Connected() {
    // Both sides have one type. The newer connection decides.
    const CMediaType type = ConnectionType();
    if (filter_.Output().IsConnected() && !(filter_.Output().ConnectionType() == type))
        filter_.Reconnect(filter_.Output(), type);
}

TransInPlaceOutput::TransInPlaceOutput(CTransInPlaceFilter& filter)
    : CBaseOutputPin(filter, L"Out"), filter_(filter), positions_(*this, filter.Input()) {}

void* TransInPlaceOutput::FindInterface(REFIID iid) {
    void* const found = positions_.FindInterface(iid);
    return found ? found : CBaseOutputPin::FindInterface(iid);
}

HRESULT TransInPlaceOutput::CheckMediaType(const CMediaType* type) {
    const HRESULT hr = filter_.CheckInputType(type);
    if (hr != S_OK) return hr;
    const ComPtr<IPin> upstream = filter_.Input().Peer();
    if (!upstream || filter_.Input().ConnectionType() == *type) return S_OK;
    return upstream->QueryAccept(type);
}

HRESULT TransInPlaceOutput::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CBaseOutputPin::SetMediaType(type);
    return SUCCEEDED(hr) ? filter_.SetMediaType(PINDIR_OUTPUT, type) : hr;
}

std::vector<CMediaType> TransInPlaceOutput::OfferedTypes() {
    std::vector<CMediaType> types;
    const ComPtr<IPin> upstream = filter_.Input().Peer();
    if (!upstream) return types;
    types.push_back(filter_.Input().ConnectionType());
    for (const CMediaType& each : TypesOf(*upstream.Get())) types.push_back(each);
    return types;
}

// Of copies: as many and as large as the samples that come in.
HRESULT TransInPlaceOutput::DecideBufferSize(IMemAllocator* allocator,
                                             ALLOCATOR_PROPERTIES* properties) {
    const ComPtr<IMemAllocator> upstream = filter_.Input().Allocator();
    ALLOCATOR_PROPERTIES wanted{};
    const HRESULT hr = upstream ? upstream->GetProperties(&wanted) : VFW_E_NO_ALLOCATOR;
    if (FAILED(hr)) return hr;
    properties->cBuffers = wanted.cBuffers;
    properties->cbBuffer = wanted.cbBuffer;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(properties, &actual);
}

HRESULT TransInPlaceOutput::DecideAllocator(IMemInputPin* receiver,
                                            ComPtr<IMemAllocator>& allocator) {
    const ComPtr<IMemAllocator> upstream = filter_.Input().Allocator();
    const bool read_only = filter_.Input().IsReadOnly();
    copies_ = upstream && read_only && filter_.ModifiesData();
    if (copies_) return CBaseOutputPin::DecideAllocator(receiver, allocator);
    // Before the input is connected, the receiver's own will do.
    if (!upstream) return receiver->GetAllocator(allocator.Put());
    allocator = upstream;
    return receiver->NotifyAllocator(upstream.Get(), read_only);
}

HRESULT TransInPlaceOutput::FollowInput() { return Receiver() ? ChooseAllocator() : S_OK; }

}  // namespace Vimbrel
