// Media types: copies, comparison, release.
#pragma once

#include "filters/FilterNames.h"

namespace Vimbrel {

// Overwrites `target`, whatever it holds. A failure leaves it empty: E_OUTOFMEMORY.
HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source);
// Frees what the type owns and makes it empty.
void FreeMediaType(AM_MEDIA_TYPE& type);
// A copy from the task allocator; null if there is no memory.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source);
// Frees a type from the task allocator; takes null.
void DeleteMediaType(AM_MEDIA_TYPE* type);

// An owning copy. A copy that runs out of memory is empty.
class CMediaType : public AM_MEDIA_TYPE {
public:
    CMediaType() : AM_MEDIA_TYPE{} {}
    explicit CMediaType(const AM_MEDIA_TYPE& type) { CopyMediaType(*this, type); }
    CMediaType(const CMediaType& other) : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other)) {}
    CMediaType& operator=(const CMediaType& other);
    ~CMediaType() { FreeMediaType(*this); }

    HRESULT Set(const AM_MEDIA_TYPE& type);
    // `size` bytes of `format`, or zeros if it is null.
    HRESULT SetFormat(REFGUID type, const void* format, ULONG size);

    bool operator==(const CMediaType& other) const;
    // Whether it leaves a part open, which then matches anything.
    bool IsPartial() const;
    bool Matches(const AM_MEDIA_TYPE& partial) const;

    // The format block as a structure; null if it has another type or is too short.
    template <class Format>
    const Format* FormatAs(REFGUID type) const {
        return formattype == type && pbFormat && cbFormat >= sizeof(Format)
                   ? reinterpret_cast<const Format*>(pbFormat)
                   : nullptr;
    }
};

}  // namespace Vimbrel
