#include "filters/MediaType.h"

#include <cstring>

namespace Vimbrel {

HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) {
    target = source;
    if (source.cbFormat == 0 || !source.pbFormat) {
        target.cbFormat = 0;
        target.pbFormat = nullptr;
    } else {
        target.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source.cbFormat));
        if (!target.pbFormat) {
            target = {};
            return E_OUTOFMEMORY;
        }
        std::memcpy(target.pbFormat, source.pbFormat, source.cbFormat);
    }
    if (target.pUnk) target.pUnk->AddRef();
    return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) {
    CoTaskMemFree(type.pbFormat);
    if (type.pUnk) type.pUnk->Release();
    type = {};
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source) {
    auto* const type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (type && FAILED(CopyMediaType(*type, source))) {
        CoTaskMemFree(type);
        return nullptr;
    }
    return type;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return;
    FreeMediaType(*type);
    CoTaskMemFree(type);
}

CMediaType& CMediaType::operator=(const CMediaType& other) {
    if (&other != this) Set(other);
    return *this;
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& type) {
    if (&type == this) return S_OK;
    FreeMediaType(*this);
    return CopyMediaType(*this, type);
}

HRESULT CMediaType::SetFormat(REFGUID type, const void* format, ULONG size) {
    auto* const bytes = static_cast<BYTE*>(CoTaskMemAlloc(size));
    if (!bytes) return E_OUTOFMEMORY;
    if (format) {
        std::memcpy(bytes, format, size);
    } else {
        std::memset(bytes, 0, size);
    }
    CoTaskMemFree(pbFormat);
    pbFormat = bytes;
    cbFormat = size;
    formattype = type;
    return S_OK;
}

bool CMediaType::operator==(const CMediaType& other) const {
    return majortype == other.majortype && subtype == other.subtype &&
           formattype == other.formattype && cbFormat == other.cbFormat &&
           (cbFormat == 0 || std::memcmp(pbFormat, other.pbFormat, cbFormat) == 0);
}

bool CMediaType::IsPartial() const { return majortype == GUID_NULL || formattype == GUID_NULL; }

bool CMediaType::Matches(const AM_MEDIA_TYPE& partial) const {
    if (partial.majortype != GUID_NULL && partial.majortype != majortype) return false;
    if (partial.subtype != GUID_NULL && partial.subtype != subtype) return false;
    if (partial.formattype == GUID_NULL) return true;
    return formattype == partial.formattype && cbFormat == partial.cbFormat &&
           (cbFormat == 0 || std::memcmp(pbFormat, partial.pbFormat, cbFormat) == 0);
}

}  // namespace Vimbrel
