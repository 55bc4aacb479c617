// The one pin of a renderer.
#pragma once

#include "filters/InputPin.h"

namespace Vimbrel {

class CBaseRenderer;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Passes everything on to the renderer.
class RendererInputPin final : public CBaseInputPin {
public:
    explicit RendererInputPin(CBaseRenderer& renderer);

    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE EndOfStream() override;
    HRESULT STDMETHODCALLTYPE BeginFlush() override;
    HRESULT STDMETHODCALLTYPE EndFlush() override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    void BreakConnect() override;

private:
    CBaseRenderer& renderer_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
