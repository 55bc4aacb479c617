#include "platform/linux/mf/objects/AttributeStore.h"

#include <mferror.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>

#include "com/ComPtr.h"

namespace Vimbrel {

namespace {

bool IsAttributeType(VARTYPE type) {
    switch (type) {
        case MF_ATTRIBUTE_UINT32:
        case MF_ATTRIBUTE_UINT64:
        case MF_ATTRIBUTE_DOUBLE:
        case MF_ATTRIBUTE_GUID:
        case MF_ATTRIBUTE_STRING:
        case MF_ATTRIBUTE_BLOB:
        case MF_ATTRIBUTE_IUNKNOWN:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::vector<AttributeStore::Item>::iterator AttributeStore::Find(REFGUID key) {
    return std::find_if(items_.begin(), items_.end(),
                        [&](const Item& item) { return item.key == key; });
}

template <class Use>
HRESULT AttributeStore::With(REFGUID key, VARTYPE type, const Use& use) const {
    const MutexLock guard(lock_);
    const auto item = const_cast<AttributeStore*>(this)->Find(key);
    if (item == items_.end()) return MF_E_ATTRIBUTENOTFOUND;
    const PROPVARIANT& value = item->value.Get();
    if (type != VT_EMPTY && value.vt != type) return MF_E_INVALIDTYPE;
    return use(value);
}

HRESULT AttributeStore::GetItem(REFGUID key, PROPVARIANT* value) const {
    return With(key, VT_EMPTY, [&](const PROPVARIANT& held) {
        return value ? PropVariantCopy(value, &held) : S_OK;
    });
}

HRESULT AttributeStore::GetItemType(REFGUID key, MF_ATTRIBUTE_TYPE* type) const {
    if (!type) return E_POINTER;
    return With(key, VT_EMPTY, [&](const PROPVARIANT& held) {
        *type = static_cast<MF_ATTRIBUTE_TYPE>(held.vt);
        return S_OK;
    });
}

HRESULT AttributeStore::GetUINT32(REFGUID key, UINT32* value) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_UINT32,
                [&](const PROPVARIANT& held) { return *value = held.ulVal, S_OK; });
}

HRESULT AttributeStore::GetUINT64(REFGUID key, UINT64* value) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_UINT64,
                [&](const PROPVARIANT& held) { return *value = held.uhVal.QuadPart, S_OK; });
}

HRESULT AttributeStore::GetDouble(REFGUID key, double* value) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_DOUBLE,
                [&](const PROPVARIANT& held) { return *value = held.dblVal, S_OK; });
}

HRESULT AttributeStore::GetGUID(REFGUID key, GUID* value) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_GUID,
                [&](const PROPVARIANT& held) { return *value = *held.puuid, S_OK; });
}

HRESULT AttributeStore::GetStringLength(REFGUID key, UINT32* length) const {
    if (!length) return E_POINTER;
    return With(key, MF_ATTRIBUTE_STRING, [&](const PROPVARIANT& held) {
        return *length = static_cast<UINT32>(std::wcslen(held.pwszVal)), S_OK;
    });
}

HRESULT AttributeStore::GetString(REFGUID key, LPWSTR value, UINT32 size, UINT32* length) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_STRING, [&](const PROPVARIANT& held) {
        const std::size_t held_length = std::wcslen(held.pwszVal);
        if (length) *length = static_cast<UINT32>(held_length);
        if (size <= held_length) return MF_E_BUFFERTOOSMALL;
        std::wmemcpy(value, held.pwszVal, held_length + 1);
        return S_OK;
    });
}

HRESULT AttributeStore::GetBlobSize(REFGUID key, UINT32* size) const {
    if (!size) return E_POINTER;
    return With(key, MF_ATTRIBUTE_BLOB,
                [&](const PROPVARIANT& held) { return *size = held.caub.cElems, S_OK; });
}

HRESULT AttributeStore::GetBlob(REFGUID key, UINT8* value, UINT32 size, UINT32* blob_size) const {
    if (!value) return E_POINTER;
    return With(key, MF_ATTRIBUTE_BLOB, [&](const PROPVARIANT& held) {
        if (blob_size) *blob_size = held.caub.cElems;
        if (size < held.caub.cElems) return MF_E_BUFFERTOOSMALL;
        if (held.caub.cElems > 0) std::memcpy(value, held.caub.pElems, held.caub.cElems);
        return S_OK;
    });
}

HRESULT AttributeStore::GetUnknown(REFGUID key, REFIID iid, LPVOID* object) const {
    if (!object) return E_POINTER;
    *object = nullptr;
    ComPtr<IUnknown> held_object;
    const HRESULT hr = With(key, MF_ATTRIBUTE_IUNKNOWN, [&](const PROPVARIANT& held) {
        held_object = ComPtr<IUnknown>(held.punkVal);
        return S_OK;
    });
    if (FAILED(hr)) return hr;
    return held_object ? held_object->QueryInterface(iid, object) : E_NOINTERFACE;
}

HRESULT AttributeStore::Set(REFGUID key, const PROPVARIANT& value) try {
    if (!IsAttributeType(value.vt)) return MF_E_INVALIDTYPE;
    if ((value.vt == MF_ATTRIBUTE_GUID && !value.puuid) ||
        (value.vt == MF_ATTRIBUTE_STRING && !value.pwszVal))
        return E_INVALIDARG;
    PropertyValue copy;  // ends up with what was there before, which is released without the lock
    if (const HRESULT hr = copy.CopyFrom(value); FAILED(hr)) return hr;
    const MutexLock guard(lock_);
    if (const auto item = Find(key); item != items_.end()) {
        item->value = std::move(copy);
    } else {
        items_.push_back({key, std::move(copy)});
    }
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT AttributeStore::SetGUID(REFGUID key, REFGUID value) {
    PROPVARIANT item{};
    item.vt = MF_ATTRIBUTE_GUID;
    item.puuid = const_cast<GUID*>(&value);
    return Set(key, item);
}

HRESULT AttributeStore::SetString(REFGUID key, LPCWSTR value) {
    PROPVARIANT item{};
    item.vt = MF_ATTRIBUTE_STRING;
    item.pwszVal = const_cast<LPWSTR>(value);
    return Set(key, item);
}

HRESULT AttributeStore::SetBlob(REFGUID key, const UINT8* value, UINT32 size) {
    if (!value && size > 0) return E_INVALIDARG;
    PROPVARIANT item{};
    item.vt = MF_ATTRIBUTE_BLOB;
    item.caub = {size, const_cast<UINT8*>(value)};
    return Set(key, item);
}

HRESULT AttributeStore::Delete(REFGUID key) {
    PropertyValue old;
    const MutexLock guard(lock_);
    if (const auto item = Find(key); item != items_.end()) {
        old = std::move(item->value);
        items_.erase(item);
    }
    return S_OK;
}

HRESULT AttributeStore::DeleteAll() {
    std::vector<Item> old;
    const MutexLock guard(lock_);
    old.swap(items_);
    return S_OK;
}

HRESULT AttributeStore::GetCount(UINT32* count) const {
    if (!count) return E_POINTER;
    const MutexLock guard(lock_);
    *count = static_cast<UINT32>(items_.size());
    return S_OK;
}

HRESULT AttributeStore::GetItemByIndex(UINT32 index, GUID* key, PROPVARIANT* value) const {
    if (!key) return E_POINTER;
    const MutexLock guard(lock_);
    if (index >= items_.size()) return E_INVALIDARG;
    *key = items_[index].key;
    return value ? PropVariantCopy(value, &items_[index].value.Get()) : S_OK;
}

HRESULT AttributeStore::CopyTo(IMFAttributes* target) const try {
    if (!target) return E_POINTER;
    // The target has a lock of its own, and may be this one.
    std::vector<Item> copies;
    {
        const MutexLock guard(lock_);
        for (const Item& item : items_) {
            copies.push_back({item.key, {}});
            if (const HRESULT hr = copies.back().value.CopyFrom(item.value.Get()); FAILED(hr))
                return hr;
        }
    }
    HRESULT hr = target->DeleteAllItems();
    for (auto item = copies.begin(); SUCCEEDED(hr) && item != copies.end(); ++item)
        hr = target->SetItem(item->key, item->value.Get());
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace Vimbrel
