#include "platform/linux/ds/device/CaptureFilter.h"

namespace Vimbrel {

namespace {

constexpr CLSID capture_class{
    0x5D4E27B1, 0x90C6, 0x4F1A, {0x8B, 0x3D, 0x61, 0xE2, 0x7A, 0x0C, 0x94, 0x53}};

}  // namespace

CaptureFilter::CaptureFilter(std::unique_ptr<V4l2Device> device)
    : CBaseFilter(capture_class), output_(*this, std::move(device)), flags_(*this) {}

void* CaptureFilter::FindInterface(REFIID iid) {
    return iid == __uuidof(IAMFilterMiscFlags) ? &flags_ : CBaseFilter::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE CaptureFilter::Pause() {
    output_.Pause();
    const HRESULT hr = CBaseFilter::Pause();
    return FAILED(hr) ? hr : output_.Lost();
}

HRESULT STDMETHODCALLTYPE CaptureFilter::Run(REFERENCE_TIME start) {
    const HRESULT hr = CBaseFilter::Run(start);
    return FAILED(hr) ? hr : output_.Run(start);
}

HRESULT STDMETHODCALLTYPE CaptureFilter::GetState(DWORD milliseconds, FILTER_STATE* state) {
    const HRESULT hr = CBaseFilter::GetState(milliseconds, state);
    if (SUCCEEDED(hr) && FAILED(output_.Lost())) return output_.Lost();
    return hr == S_OK && *state == State_Paused ? VFW_S_CANT_CUE : hr;
}

}  // namespace Vimbrel
