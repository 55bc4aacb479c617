// A camera as the source of a graph.
#pragma once

#include <memory>

#include "filters/BaseFilter.h"
#include "platform/linux/ds/device/CapturePin.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Live: nothing comes in Pause. After the loss of the device Pause, Run and GetState fail with its
// reason until the filter stops.
class CaptureFilter final : public CBaseFilter {
public:
    explicit CaptureFilter(std::unique_ptr<V4l2Device> device);

    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override;
    // VFW_S_CANT_CUE while paused.
    HRESULT STDMETHODCALLTYPE GetState(DWORD milliseconds, FILTER_STATE* state) override;
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int index) override { return index == 0 ? &output_ : nullptr; }

protected:
    ~CaptureFilter() override = default;
    void* FindInterface(REFIID iid) override;

private:
    class Flags final : public Face<IAMFilterMiscFlags> {
    public:
        explicit Flags(CaptureFilter& filter) : Face(static_cast<IBaseFilter&>(filter)) {}
        ULONG STDMETHODCALLTYPE GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }
    };

    CapturePin output_;
    Flags flags_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
