// Base of the objects that have attributes beside what else they are.
#pragma once

#include <mfobjects.h>

#include "com/ComObject.h"
#include "platform/linux/mf/objects/AttributeStore.h"

namespace Vimbrel {

// `List` is the Implements<...> of an interface that derives from IMFAttributes.
template <class List>
class AttributesObject : public ComObject<List> {
public:
    HRESULT STDMETHODCALLTYPE GetItem(REFGUID key, PROPVARIANT* value) override {
        return store_.GetItem(key, value);
    }
    HRESULT STDMETHODCALLTYPE GetItemType(REFGUID key, MF_ATTRIBUTE_TYPE* type) override {
        return store_.GetItemType(key, type);
    }
    HRESULT STDMETHODCALLTYPE GetUINT32(REFGUID key, UINT32* value) override {
        return store_.GetUINT32(key, value);
    }
    HRESULT STDMETHODCALLTYPE GetUINT64(REFGUID key, UINT64* value) override {
        return store_.GetUINT64(key, value);
    }
    HRESULT STDMETHODCALLTYPE GetDouble(REFGUID key, double* value) override {
        return store_.GetDouble(key, value);
    }
    HRESULT STDMETHODCALLTYPE GetGUID(REFGUID key, GUID* value) override {
        return store_.GetGUID(key, value);
    }
    HRESULT STDMETHODCALLTYPE GetStringLength(REFGUID key, UINT32* length) override {
        return store_.GetStringLength(key, length);
    }
    HRESULT STDMETHODCALLTYPE GetString(REFGUID key, LPWSTR value, UINT32 size,
                                        UINT32* length) override {
        return store_.GetString(key, value, size, length);
    }
    HRESULT STDMETHODCALLTYPE GetBlobSize(REFGUID key, UINT32* size) override {
        return store_.GetBlobSize(key, size);
    }
    HRESULT STDMETHODCALLTYPE GetBlob(REFGUID key, UINT8* value, UINT32 size,
                                      UINT32* blob_size) override {
        return store_.GetBlob(key, value, size, blob_size);
    }
    HRESULT STDMETHODCALLTYPE GetUnknown(REFGUID key, REFIID iid, LPVOID* object) override {
        return store_.GetUnknown(key, iid, object);
    }
    HRESULT STDMETHODCALLTYPE SetItem(REFGUID key, REFPROPVARIANT value) override {
        return store_.Set(key, value);
    }
    HRESULT STDMETHODCALLTYPE DeleteItem(REFGUID key) override { return store_.Delete(key); }
    HRESULT STDMETHODCALLTYPE DeleteAllItems() override { return store_.DeleteAll(); }
    HRESULT STDMETHODCALLTYPE SetUINT32(REFGUID key, UINT32 value) override {
        PROPVARIANT item{};
        item.vt = MF_ATTRIBUTE_UINT32;
        item.ulVal = value;
        return store_.Set(key, item);
    }
    HRESULT STDMETHODCALLTYPE SetUINT64(REFGUID key, UINT64 value) override {
        PROPVARIANT item{};
        item.vt = MF_ATTRIBUTE_UINT64;
        item.uhVal.QuadPart = value;
        return store_.Set(key, item);
    }
    HRESULT STDMETHODCALLTYPE SetDouble(REFGUID key, double value) override {
        PROPVARIANT item{};
        item.vt = MF_ATTRIBUTE_DOUBLE;
        item.dblVal = value;
        return store_.Set(key, item);
    }
    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID key, REFGUID value) override {
        return store_.SetGUID(key, value);
    }
    HRESULT STDMETHODCALLTYPE SetString(REFGUID key, LPCWSTR value) override {
        return store_.SetString(key, value);
    }
    HRESULT STDMETHODCALLTYPE SetBlob(REFGUID key, const UINT8* value, UINT32 size) override {
        return store_.SetBlob(key, value, size);
    }
    HRESULT STDMETHODCALLTYPE SetUnknown(REFGUID key, IUnknown* object) override {
        PROPVARIANT item{};
        item.vt = MF_ATTRIBUTE_IUNKNOWN;
        item.punkVal = object;
        return store_.Set(key, item);
    }
    HRESULT STDMETHODCALLTYPE GetCount(UINT32* count) override { return store_.GetCount(count); }
    HRESULT STDMETHODCALLTYPE GetItemByIndex(UINT32 index, GUID* key, PROPVARIANT* value) override {
        return store_.GetItemByIndex(index, key, value);
    }
    HRESULT STDMETHODCALLTYPE CopyAllItems(IMFAttributes* target) override {
        return store_.CopyTo(target);
    }

private:
    AttributeStore store_;
};

}  // namespace Vimbrel
