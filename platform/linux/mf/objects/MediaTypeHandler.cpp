#include "platform/linux/mf/objects/MediaTypeHandler.h"

#include <mfapi.h>

namespace Vimbrel {

namespace {

bool SameGuid(IMFMediaType* a, IMFMediaType* b, REFGUID key) {
    GUID of_a{};
    GUID of_b{};
    return SUCCEEDED(a->GetGUID(key, &of_a)) && SUCCEEDED(b->GetGUID(key, &of_b)) && of_a == of_b;
}

}  // namespace

HRESULT STDMETHODCALLTYPE MediaTypeHandler::IsMediaTypeSupported(IMFMediaType* type,
                                                                 IMFMediaType** closest) {
    if (closest) *closest = nullptr;
    if (!type) return E_POINTER;
    for (const ComPtr<IMFMediaType>& each : types_) {
        if (SameGuid(each.Get(), type, MF_MT_MAJOR_TYPE) &&
            SameGuid(each.Get(), type, MF_MT_SUBTYPE))
            return S_OK;
    }
    return MF_E_INVALIDMEDIATYPE;
}

HRESULT STDMETHODCALLTYPE MediaTypeHandler::GetMediaTypeCount(DWORD* count) {
    if (!count) return E_POINTER;
    *count = static_cast<DWORD>(types_.size());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaTypeHandler::GetMediaTypeByIndex(DWORD index, IMFMediaType** type) {
    if (!type) return E_POINTER;
    *type = nullptr;
    return index < types_.size() ? types_[index].CopyTo(type) : MF_E_NO_MORE_TYPES;
}

HRESULT STDMETHODCALLTYPE MediaTypeHandler::SetCurrentMediaType(IMFMediaType* type) {
    if (const HRESULT hr = IsMediaTypeSupported(type, nullptr); FAILED(hr)) return hr;
    ComPtr<IMFMediaType> given(type);  // afterwards the old one
    const MutexLock guard(lock_);
    std::swap(current_, given);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaTypeHandler::GetCurrentMediaType(IMFMediaType** type) {
    if (!type) return E_POINTER;
    *type = nullptr;
    const MutexLock guard(lock_);
    return current_ ? current_.CopyTo(type) : MF_E_NOT_INITIALIZED;
}

HRESULT STDMETHODCALLTYPE MediaTypeHandler::GetMajorType(GUID* type) {
    if (!type) return E_POINTER;
    ComPtr<IMFMediaType> asked;
    {
        const MutexLock guard(lock_);
        asked = current_;
    }
    if (!asked && !types_.empty()) asked = types_.front();
    return asked ? asked->GetMajorType(type) : MF_E_ATTRIBUTENOTFOUND;
}

}  // namespace Vimbrel
