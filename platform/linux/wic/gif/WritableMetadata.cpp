#include "platform/linux/wic/gif/WritableMetadata.h"

#include <algorithm>
#include <new>

#include "com/ComObject.h"

namespace Vimbrel {

namespace {

class MetadataWriter final
    : public ComObject<Implements<IWICMetadataQueryWriter, IWICMetadataQueryReader>> {
public:
    explicit MetadataWriter(std::shared_ptr<WritableMetadata> metadata)
        : metadata_(std::move(metadata)) {}

    HRESULT STDMETHODCALLTYPE GetMetadataByName(LPCWSTR path, PROPVARIANT* value) override {
        return metadata_->Read(path, value);
    }
    HRESULT STDMETHODCALLTYPE SetMetadataByName(LPCWSTR path, const PROPVARIANT* value) override {
        return metadata_->Write(path, value);
    }

private:
    std::shared_ptr<WritableMetadata> metadata_;
};

}  // namespace

HRESULT WritableMetadata::Write(LPCWSTR path, const PROPVARIANT* value) {
    if (!value) return E_INVALIDARG;
    try {
        std::string key;
        HRESULT hr = NormalizeMetadataPath(path, key);
        if (FAILED(hr)) return hr;
        const auto field = std::find_if(fields_.begin(), fields_.end(),
                                        [&](const MetadataField& each) { return key == each.key; });
        if (field == fields_.end()) return WINCODEC_ERR_PROPERTYNOTFOUND;
        MetadataItem item;
        hr = item.FromVariant(*value, field->type);
        if (SUCCEEDED(hr) && field->check) hr = field->check(item);
        if (FAILED(hr)) return hr;
        const MutexLock guard(lock_);
        if (sealed_) return WINCODEC_ERR_WRONGSTATE;
        const MetadataItem* fixed = fixed_.Find(key);
        if (fixed && fixed->number != item.number) return WINCODEC_ERR_VALUEOUTOFRANGE;
        table_.Set(key, std::move(item));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT WritableMetadata::Read(LPCWSTR path, PROPVARIANT* value) const {
    const MutexLock guard(lock_);
    return table_.Read(path, value);
}

HRESULT WritableMetadata::Fix(const char* key, std::uint16_t number) {
    const MutexLock guard(lock_);
    const MetadataItem* given = table_.Find(key);
    if (given && given->number != number) return WINCODEC_ERR_VALUEOUTOFRANGE;
    fixed_.SetNumber(key, VT_UI2, number);
    return S_OK;
}

MetadataTable WritableMetadata::Seal() {
    const MutexLock guard(lock_);
    sealed_ = true;
    return table_;
}

HRESULT CreateMetadataWriter(std::shared_ptr<WritableMetadata> metadata,
                             IWICMetadataQueryWriter** writer) {
    return CreateCom<MetadataWriter>(writer, std::move(metadata));
}

}  // namespace Vimbrel
