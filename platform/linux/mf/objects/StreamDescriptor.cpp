#include "platform/linux/mf/objects/StreamDescriptor.h"

#include <mferror.h>

#include <new>

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE StreamDescriptor::GetStreamIdentifier(DWORD* identifier) {
    if (!identifier) return E_POINTER;
    *identifier = identifier_;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE StreamDescriptor::GetMediaTypeHandler(IMFMediaTypeHandler** handler) {
    if (!handler) return E_POINTER;
    *handler = ComPtr<MediaTypeHandler>(handler_).Detach();
    return S_OK;
}

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateStreamDescriptor(DWORD identifier, DWORD type_count,
                                                   IMFMediaType** types,
                                                   IMFStreamDescriptor** descriptor) try {
    using namespace Vimbrel;
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    if (type_count == 0 || !types) return E_INVALIDARG;
    std::vector<ComPtr<IMFMediaType>> held;
    for (DWORD i = 0; i < type_count; ++i) {
        if (!types[i]) return E_INVALIDARG;
        held.emplace_back(types[i]);
    }
    *descriptor =
        MakeCom<StreamDescriptor>(identifier, MakeCom<MediaTypeHandler>(std::move(held))).Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}
