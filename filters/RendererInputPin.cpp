#include "filters/RendererInputPin.h"

#include "filters/BaseRenderer.h"

namespace Vimbrel {

RendererInputPin::RendererInputPin(CBaseRenderer& renderer)
    : CBaseInputPin(renderer, L"In"), renderer_(renderer) {}

HRESULT STDMETHODCALLTYPE RendererInputPin::Receive(IMediaSample* sample) {
    return sample ? renderer_.Receive(sample) : E_POINTER;
}

HRESULT STDMETHODCALLTYPE RendererInputPin::EndOfStream() { return renderer_.EndOfStream(); }

HRESULT STDMETHODCALLTYPE RendererInputPin::BeginFlush() {
    CBaseInputPin::BeginFlush();
    return renderer_.BeginFlush();
}

HRESULT STDMETHODCALLTYPE RendererInputPin::EndFlush() {
    renderer_.EndFlush();
    return CBaseInputPin::EndFlush();
}

HRESULT RendererInputPin::CheckMediaType(const CMediaType* type) {
    return renderer_.CheckMediaType(type);
}

HRESULT RendererInputPin::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CBaseInputPin::SetMediaType(type);
    return SUCCEEDED(hr) ? renderer_.SetMediaType(type) : hr;
}

HRESULT RendererInputPin::CompleteConnect(IPin* pin) { return renderer_.CompleteConnect(pin); }

void RendererInputPin::BreakConnect() {
    renderer_.BreakConnect();
    CBaseInputPin::BreakConnect();
}

}  // namespace Vimbrel
