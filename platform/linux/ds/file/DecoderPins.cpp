#include "platform/linux/ds/file/DecoderPins.h"

#include "platform/linux/ds/file/DecoderFilter.h"

namespace Vimbrel {

DecoderInput::DecoderInput(DecoderFilter& filter) : CBaseInputPin(filter, L"In"), filter_(filter) {}

HRESULT STDMETHODCALLTYPE DecoderInput::Receive(IMediaSample* sample) {
    return sample ? filter_.Receive(sample) : E_POINTER;
}

HRESULT STDMETHODCALLTYPE DecoderInput::EndOfStream() { return filter_.EndOfStream(); }

HRESULT DecoderInput::EndRefused() { return filter_.Output().DeliverEndOfStream(); }

HRESULT STDMETHODCALLTYPE DecoderInput::BeginFlush() {
    CBaseInputPin::BeginFlush();
    return filter_.Output().DeliverBeginFlush();
}

HRESULT STDMETHODCALLTYPE DecoderInput::EndFlush() {
    const HRESULT hr = filter_.EndFlush();
    CBaseInputPin::EndFlush();
    return hr;
}

HRESULT STDMETHODCALLTYPE DecoderInput::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                                   double rate) {
    CBaseInputPin::NewSegment(start, stop, rate);
    return filter_.NewSegment(start, stop, rate);
}

HRESULT DecoderInput::CheckMediaType(const CMediaType* type) { return filter_.CheckInput(*type); }

HRESULT DecoderInput::CompleteConnect(IPin* pin) {
    const HRESULT hr = CBaseInputPin::CompleteConnect(pin);
    return SUCCEEDED(hr) ? filter_.SetInput(ConnectionType()) : hr;
}

HRESULT DecoderInput::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CBaseInputPin::SetMediaType(type);
    // While connecting, CompleteConnect opens the codec.
    return SUCCEEDED(hr) && Filter().State() != State_Stopped ? filter_.SetInput(*type) : hr;
}

void DecoderInput::BreakConnect() {
    CBaseInputPin::BreakConnect();
    filter_.ForgetInput();
}

DecoderOutput::DecoderOutput(DecoderFilter& filter)
    : CBaseOutputPin(filter, L"Out"), filter_(filter), positions_(*this, filter.Input()) {}

void* DecoderOutput::FindInterface(REFIID iid) {
    void* const found = positions_.FindInterface(iid);
    return found ? found : CBaseOutputPin::FindInterface(iid);
}

HRESULT DecoderOutput::CheckMediaType(const CMediaType* type) { return filter_.CheckOutput(*type); }

std::vector<CMediaType> DecoderOutput::OfferedTypes() { return filter_.OutputTypes(); }

HRESULT DecoderOutput::DecideBufferSize(IMemAllocator* allocator,
                                        ALLOCATOR_PROPERTIES* properties) {
    const HRESULT hr = filter_.DecideBuffers(ConnectionType(), *properties);
    ALLOCATOR_PROPERTIES actual{};
    return SUCCEEDED(hr) ? allocator->SetProperties(properties, &actual) : hr;
}

}  // namespace Vimbrel
