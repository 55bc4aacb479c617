#include "platform/linux/wic/gif/MetadataTable.h"

#include <cstring>
#include <new>
#include <string_view>

#include "com/ComObject.h"

namespace Vimbrel {

namespace {

class MetadataReader final : public ComObject<Implements<IWICMetadataQueryReader>> {
public:
    explicit MetadataReader(std::shared_ptr<const MetadataTable> table)
        : table_(std::move(table)) {}

    HRESULT STDMETHODCALLTYPE GetMetadataByName(LPCWSTR path, PROPVARIANT* value) override {
        return table_->Read(path, value);
    }

private:
    std::shared_ptr<const MetadataTable> table_;
};

}  // namespace

HRESULT MetadataItem::ToVariant(PROPVARIANT* value) const {
    PROPVARIANT result{};
    result.vt = type;
    switch (type) {
        case VT_UI1:
            result.bVal = static_cast<UCHAR>(number);
            break;
        case VT_BOOL:
            result.boolVal = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
            break;
        case VT_UI2:
            result.uiVal = number;
            break;
        default: {
            auto* copy = static_cast<UCHAR*>(CoTaskMemAlloc(bytes.size() + 1));
            if (!copy) return E_OUTOFMEMORY;
            if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
            copy[bytes.size()] = 0;
            if (type == VT_LPSTR) {
                result.pszVal = reinterpret_cast<LPSTR>(copy);
            } else {
                result.caub = {static_cast<ULONG>(bytes.size()), copy};
            }
            break;
        }
    }
    *value = result;
    return S_OK;
}

HRESULT MetadataItem::FromVariant(const PROPVARIANT& value, VARTYPE wanted) {
    if (value.vt != wanted) return WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE;
    type = wanted;
    switch (wanted) {
        case VT_UI1:
            number = value.bVal;
            break;
        case VT_BOOL:
            number = value.boolVal != VARIANT_FALSE;
            break;
        case VT_UI2:
            number = value.uiVal;
            break;
        case VT_LPSTR:
            if (!value.pszVal) return E_INVALIDARG;
            bytes.assign(value.pszVal, value.pszVal + std::strlen(value.pszVal));
            break;
        default:
            if (!value.caub.pElems && value.caub.cElems != 0) return E_INVALIDARG;
            bytes.assign(value.caub.pElems, value.caub.pElems + value.caub.cElems);
            break;
    }
    return S_OK;
}

HRESULT NormalizeMetadataPath(LPCWSTR path, std::string& key) {
    if (!path) return E_INVALIDARG;
    const std::wstring_view text(path);
    const std::size_t second = text.find(L'/', 1);
    if (text.empty() || text[0] != L'/' || second == std::wstring_view::npos || second == 1 ||
        second + 1 == text.size() || text.find(L'/', second + 1) != std::wstring_view::npos) {
        return WINCODEC_ERR_INVALIDQUERYREQUEST;
    }
    key.clear();
    // A character outside ASCII is in no name of ours.
    for (const wchar_t c : text) {
        key.push_back(c >= L'A' && c <= L'Z' ? static_cast<char>(c - L'A' + 'a')
                      : c < 0x80             ? static_cast<char>(c)
                                             : '?');
    }
    return S_OK;
}

const MetadataItem* MetadataTable::Find(const std::string& key) const {
    const auto found = items_.find(key);
    return found == items_.end() ? nullptr : &found->second;
}

HRESULT MetadataTable::Read(LPCWSTR path, PROPVARIANT* value) const {
    if (!value) return E_INVALIDARG;
    try {
        std::string key;
        const HRESULT hr = NormalizeMetadataPath(path, key);
        if (FAILED(hr)) return hr;
        const MetadataItem* item = Find(key);
        return item ? item->ToVariant(value) : WINCODEC_ERR_PROPERTYNOTFOUND;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CreateMetadataReader(std::shared_ptr<const MetadataTable> table,
                             IWICMetadataQueryReader** reader) {
    return CreateCom<MetadataReader>(reader, std::move(table));
}

}  // namespace Vimbrel
