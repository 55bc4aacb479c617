// Making attribute stores of the media platform.
#pragma once

#include <mfapi.h>

#include "com/ComPtr.h"

namespace Vimbrel {

// Sets values in a new attribute store, up to the first that fails.
class AttributeWriter {
public:
    AttributeWriter(ComPtr<IMFAttributes>& attributes, UINT32 size)
        : result(MFCreateAttributes(attributes.Put(), size)), target(attributes) {}

    AttributeWriter& Number(REFGUID key, UINT32 value) {
        if (SUCCEEDED(result)) result = target->SetUINT32(key, value);
        return *this;
    }
    AttributeWriter& Pair(REFGUID key, UINT32 high, UINT32 low) {
        if (SUCCEEDED(result)) result = target->SetUINT64(key, UINT64{high} << 32 | low);
        return *this;
    }
    AttributeWriter& Guid(REFGUID key, REFGUID value) {
        if (SUCCEEDED(result)) result = target->SetGUID(key, value);
        return *this;
    }
    // A failure of this one is ignored.
    AttributeWriter& Wish(REFGUID key, UINT32 value) {
        if (SUCCEEDED(result)) target->SetUINT32(key, value);
        return *this;
    }
    HRESULT Result() const { return result; }

private:
    HRESULT result;
    ComPtr<IMFAttributes>& target;
};

}  // namespace Vimbrel
