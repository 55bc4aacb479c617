// Metadata items by path, and the query objects over them.
#pragma once

#include <wincodec.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Vimbrel {

// A value of one of the types that GIF metadata has: VT_UI1, VT_UI2 and VT_BOOL as a number, byte
// vectors and text as bytes.
struct MetadataItem {
    VARTYPE type = VT_EMPTY;
    std::uint16_t number = 0;
    std::vector<std::uint8_t> bytes;

    // A new value that PropVariantClear frees.
    HRESULT ToVariant(PROPVARIANT* value) const;
    // WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE if the value is not of type `wanted`.
    HRESULT FromVariant(const PROPVARIANT& value, VARTYPE wanted);
};

// Writes the path as keys have it: in lower case. WINCODEC_ERR_INVALIDQUERYREQUEST unless it is two
// names behind slashes.
HRESULT NormalizeMetadataPath(LPCWSTR path, std::string& key);

class MetadataTable {
public:
    void SetNumber(const char* key, VARTYPE type, std::uint16_t number) {
        Set(key, {type, number, {}});
    }
    void SetBytes(const char* key, VARTYPE type, std::vector<std::uint8_t> bytes) {
        Set(key, {type, 0, std::move(bytes)});
    }
    void Set(const std::string& key, MetadataItem item) { items_[key] = std::move(item); }

    // Null if there is none.
    const MetadataItem* Find(const std::string& key) const;
    // As IWICMetadataQueryReader::GetMetadataByName.
    HRESULT Read(LPCWSTR path, PROPVARIANT* value) const;

private:
    std::map<std::string, MetadataItem, std::less<>> items_;
};

HRESULT CreateMetadataReader(std::shared_ptr<const MetadataTable> table,
                             IWICMetadataQueryReader** reader);

}  // namespace Vimbrel
