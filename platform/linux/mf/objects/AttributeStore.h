// The items behind IMFAttributes.
#pragma once

#include <mfobjects.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "base/ThreadSafety.h"
#include "platform/linux/mf/objects/PropertyValue.h"

namespace Vimbrel {

class AttributeStore {
public:
    HRESULT GetItem(REFGUID key, PROPVARIANT* value) const;
    HRESULT GetItemType(REFGUID key, MF_ATTRIBUTE_TYPE* type) const;
    HRESULT GetUINT32(REFGUID key, UINT32* value) const;
    HRESULT GetUINT64(REFGUID key, UINT64* value) const;
    HRESULT GetDouble(REFGUID key, double* value) const;
    HRESULT GetGUID(REFGUID key, GUID* value) const;
    HRESULT GetStringLength(REFGUID key, UINT32* length) const;
    HRESULT GetString(REFGUID key, LPWSTR value, UINT32 size, UINT32* length) const;
    HRESULT GetBlobSize(REFGUID key, UINT32* size) const;
    HRESULT GetBlob(REFGUID key, UINT8* value, UINT32 size, UINT32* blob_size) const;
    HRESULT GetUnknown(REFGUID key, REFIID iid, LPVOID* object) const;
    // A copy of the value. MF_E_INVALIDTYPE for a type that is none of MF_ATTRIBUTE_TYPE.
    HRESULT Set(REFGUID key, const PROPVARIANT& value);
    HRESULT SetGUID(REFGUID key, REFGUID value);
    HRESULT SetString(REFGUID key, LPCWSTR value);
    HRESULT SetBlob(REFGUID key, const UINT8* value, UINT32 size);
    HRESULT Delete(REFGUID key);
    HRESULT DeleteAll();
    HRESULT GetCount(UINT32* count) const;
    HRESULT GetItemByIndex(UINT32 index, GUID* key, PROPVARIANT* value) const;
    HRESULT CopyTo(IMFAttributes* target) const;

private:
    struct Item {
        GUID key;
        PropertyValue value;
    };

    std::vector<Item>::iterator Find(REFGUID key) REQUIRES(lock_);
    // Calls `use` with the value under the lock, if it has that type.
    template <class Use>
    HRESULT With(REFGUID key, VARTYPE type, const Use& use) const;

    mutable Mutex lock_;
    // There are few, so searching them in a row is quickest.
    std::vector<Item> items_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel
