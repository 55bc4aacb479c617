// Metadata of a file or frame that is being written.
#pragma once

#include <wincodec.h>

#include <memory>
#include <span>
#include <string>

#include "base/ThreadSafety.h"
#include "platform/linux/wic/gif/MetadataTable.h"

namespace Vimbrel {

// An item that may be set.
struct MetadataField {
    const char* key;
    VARTYPE type;
    // What else is asked of its value; may be null.
    HRESULT (*check)(const MetadataItem& item);
};

// Takes items until it is sealed. May be used by several threads.
class WritableMetadata {
public:
    // `fields` outlives this.
    explicit WritableMetadata(std::span<const MetadataField> fields) : fields_(fields) {}

    // WINCODEC_ERR_PROPERTYNOTFOUND for an item that is not among the fields,
    // WINCODEC_ERR_WRONGSTATE once sealed, WINCODEC_ERR_VALUEOUTOFRANGE for another number than the
    // one that is fixed.
    HRESULT Write(LPCWSTR path, const PROPVARIANT* value);
    HRESULT Read(LPCWSTR path, PROPVARIANT* value) const;

    // From now on this item can only have this number. WINCODEC_ERR_VALUEOUTOFRANGE if it has
    // another.
    HRESULT Fix(const char* key, std::uint16_t number);

    // No item is taken any more; returns them.
    MetadataTable Seal();

private:
    const std::span<const MetadataField> fields_;
    mutable Mutex lock_;
    MetadataTable table_ GUARDED_BY(lock_);
    MetadataTable fixed_ GUARDED_BY(lock_);
    bool sealed_ GUARDED_BY(lock_) = false;
};

HRESULT CreateMetadataWriter(std::shared_ptr<WritableMetadata> metadata,
                             IWICMetadataQueryWriter** writer);

}  // namespace Vimbrel
