#include "platform/linux/mf/objects/PresentationDescriptor.h"

#include <new>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE PresentationDescriptor::GetStreamDescriptorCount(DWORD* count) {
    if (!count) return E_POINTER;
    const MutexLock guard(lock_);
    *count = static_cast<DWORD>(streams_.size());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PresentationDescriptor::GetStreamDescriptorByIndex(
    DWORD index, BOOL* selected, IMFStreamDescriptor** descriptor) {
    if (!selected || !descriptor) return E_POINTER;
    *descriptor = nullptr;
    const MutexLock guard(lock_);
    if (index >= streams_.size()) return E_INVALIDARG;
    *selected = streams_[index].selected ? TRUE : FALSE;
    return streams_[index].descriptor.CopyTo(descriptor);
}

HRESULT PresentationDescriptor::Select(DWORD index, bool selected) {
    const MutexLock guard(lock_);
    if (index >= streams_.size()) return E_INVALIDARG;
    streams_[index].selected = selected;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE PresentationDescriptor::Clone(IMFPresentationDescriptor** copy) try {
    if (!copy) return E_POINTER;
    *copy = nullptr;
    std::vector<Stream> streams;
    {
        const MutexLock guard(lock_);
        streams = streams_;
    }
    ComPtr<PresentationDescriptor> made = MakeCom<PresentationDescriptor>(std::move(streams));
    if (const HRESULT hr = CopyAllItems(made.Get()); FAILED(hr)) return hr;
    *copy = made.Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreatePresentationDescriptor(
    DWORD count, IMFStreamDescriptor** streams, IMFPresentationDescriptor** descriptor) try {
    using namespace Vimbrel;
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    if (count > 0 && !streams) return E_INVALIDARG;
    std::vector<PresentationDescriptor::Stream> held;
    for (DWORD i = 0; i < count; ++i) {
        if (!streams[i]) return E_INVALIDARG;
        held.push_back({ComPtr<IMFStreamDescriptor>(streams[i]), false});
    }
    return CreateCom<PresentationDescriptor>(descriptor, std::move(held));
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}
