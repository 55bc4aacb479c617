// The last filter of a stream: waits until each sample is due and renders it.
#pragma once

#include "filters/BaseFilter.h"
#include "filters/Face.h"
#include "filters/PosPassThru.h"
#include "filters/RendererInputPin.h"
#include "filters/RendererWait.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class RendererFlags final : public Face<IAMFilterMiscFlags> {
public:
    explicit RendererFlags(IUnknown& owner) : Face(owner) {}
    ULONG STDMETHODCALLTYPE GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
};

// The streaming thread keeps its first sample in Pause, waits for the clock while running, and
// leaves at a flush or a stop. Both wait for a rendering that is under way, so that DoRenderSample
// must not control the graph, nor wait for a thread that does.
class CBaseRenderer : public CBaseFilter {
public:
    HRESULT STDMETHODCALLTYPE Stop() override;
    // S_FALSE until there is a sample, or the end.
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    // VFW_S_STATE_INTERMEDIATE if the time comes before the first sample.
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override;
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &input_ : nullptr; }

    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    // On the streaming thread, without a lock. The result is ignored.
    virtual HRESULT DoRenderSample(IMediaSample* sample) = 0;
    virtual HRESULT SetMediaType(const CMediaType* type);
    virtual HRESULT CompleteConnect(IPin* pin);
    virtual HRESULT BreakConnect();

    // What the input pin passes on.
    HRESULT Receive(IMediaSample* sample);
    HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();
    // How long before its time a sample is rendered, for a device that takes it in advance.
    virtual REFERENCE_TIME Lead() const { return 0; }

protected:
    explicit CBaseRenderer(REFCLSID clsid);
    ~CBaseRenderer() override = default;

    void* FindInterface(REFIID iid) override;
    RendererInputPin& Input() { return input_; }
    const RendererInputPin& Input() const { return input_; }

private:
    HRESULT Activate() REQUIRES(state_lock_);

    RendererInputPin input_;
    CPosPassThru positions_;
    RendererFlags flags_;
    RendererWait wait_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
