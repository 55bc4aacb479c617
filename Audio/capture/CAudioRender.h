// The sound sink of filter graphs.
#pragma once

#include "filters/BaseRenderer.h"
#include "vimbrel/DSRenderAudio.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Fields are written while stopped.
class CAudioRender final : public CBaseRenderer, public IDSRenderAudio {
public:
    CAudioRender();

    void SetDispatcher(CDispatcher* newDispatcher) override { dispatcher = newDispatcher; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return CBaseRenderer::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE Release() override { return CBaseRenderer::Release(); }
    bool IsConnected() override { return connected; }
    void GetFormat(WAVEFORMATEX* target) override { *target = format; }
    void SetRequiredFormat(const WAVEFORMATEX* required) override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT DoRenderSample(IMediaSample* sample) override;

private:
    CDispatcher* dispatcher = nullptr;
    bool connected = false;
    WAVEFORMATEX required_format{};
    WAVEFORMATEX format{};
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
