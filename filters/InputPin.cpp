#include "filters/InputPin.h"

#include "base/ObjectCreation.h"
#include "filters/BaseFilter.h"

namespace Vimbrel {

void* CBaseInputPin::FindInterface(REFIID iid) {
    return iid == __uuidof(IMemInputPin) ? static_cast<IMemInputPin*>(this)
                                         : CBasePin::FindInterface(iid);
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::BeginFlush() {
    flushing_ = true;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::EndFlush() {
    flushing_ = false;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop,
                                                    double rate) {
    segment_start_ = start;
    segment_stop_ = stop;
    segment_rate_ = rate;
    return S_OK;
}

ComPtr<IMemAllocator> CBaseInputPin::Allocator() {
    const MutexLock guard(allocator_lock_);
    return allocator_;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
    if (!allocator) return E_POINTER;
    *allocator = nullptr;
    ComPtr<IMemAllocator> found = Allocator();
    if (!found) {
        const HRESULT hr = CreateObject(CLSID_MemoryAllocator, found);
        if (FAILED(hr)) return hr;
        const MutexLock guard(allocator_lock_);
        allocator_ = found;
    }
    return found.CopyTo(allocator);
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL read_only) {
    if (!allocator) return E_POINTER;
    ComPtr<IMemAllocator> kept(allocator);
    read_only_ = read_only != FALSE;
    const MutexLock guard(allocator_lock_);
    std::swap(allocator_, kept);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::CheckStreaming() {
    if (!IsConnected()) return VFW_E_NOT_CONNECTED;
    if (Filter().State() == State_Stopped) return VFW_E_WRONG_STATE;
    return flushing_ ? S_FALSE : S_OK;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::Receive(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    AM_MEDIA_TYPE* type = nullptr;
    if (sample->GetMediaType(&type) != S_OK || !type) return S_OK;
    const CMediaType changed(*type);
    DeleteMediaType(type);
    hr = CheckMediaType(&changed);
    if (hr == S_OK) return SetMediaType(&changed);
    // There is no way to go on with a stream that cannot be understood.
    EndRefused();
    Filter().NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

HRESULT STDMETHODCALLTYPE CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count,
                                                         LONG* processed) {
    if (!samples || !processed) return E_POINTER;
    *processed = 0;
    HRESULT hr = S_OK;
    while (*processed < count && hr == S_OK) {
        hr = Receive(samples[*processed]);
        if (hr == S_OK) ++*processed;
    }
    return hr;
}

// Receivers wait for clocks and for room.
HRESULT STDMETHODCALLTYPE CBaseInputPin::ReceiveCanBlock() { return S_OK; }

void CBaseInputPin::BreakConnect() {
    CBasePin::BreakConnect();
    ComPtr<IMemAllocator> released;
    const MutexLock guard(allocator_lock_);
    std::swap(released, allocator_);
}

void CBaseInputPin::Inactive() {
    flushing_ = false;
    // Frees a thread that waits for a buffer.
    if (const ComPtr<IMemAllocator> allocator = Allocator()) allocator->Decommit();
}

}  // namespace Vimbrel
