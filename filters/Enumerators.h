// Lists of filters, pins and media types as the published enumerators.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "com/ComObject.h"
#include "filters/MediaType.h"

namespace Vimbrel {

// One thread at a time, like every enumerator.
template <class Enumerator, class Interface>
class ObjectEnumerator final : public ComObject<Implements<Enumerator>> {
public:
    using Objects = std::vector<ComPtr<Interface>>;
    explicit ObjectEnumerator(Objects objects, std::size_t next = 0)
        : objects_(std::move(objects)), next_(next) {}

    HRESULT STDMETHODCALLTYPE Next(ULONG count, Interface** items, ULONG* fetched) override {
        if (!items || (count > 1 && !fetched)) return E_POINTER;
        ULONG taken = 0;
        for (; taken < count && next_ < objects_.size(); ++taken)
            objects_[next_++].CopyTo(&items[taken]);
        if (fetched) *fetched = taken;
        return taken == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        const std::size_t left = objects_.size() - next_;
        next_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        next_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Enumerator** enumerator) override {
        if (!enumerator) return E_POINTER;
        *enumerator = MakeCom<ObjectEnumerator>(objects_, next_).Detach();
        return S_OK;
    }

private:
    const Objects objects_;
    std::size_t next_;
};

using PinEnumerator = ObjectEnumerator<IEnumPins, IPin>;
using FilterEnumerator = ObjectEnumerator<IEnumFilters, IBaseFilter>;

class MediaTypeEnumerator final : public ComObject<Implements<IEnumMediaTypes>> {
public:
    explicit MediaTypeEnumerator(std::vector<CMediaType> types, std::size_t next = 0)
        : types_(std::move(types)), next_(next) {}

    HRESULT STDMETHODCALLTYPE Next(ULONG count, AM_MEDIA_TYPE** items, ULONG* fetched) override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumMediaTypes** enumerator) override;

private:
    const std::vector<CMediaType> types_;
    std::size_t next_;
};

// All pins of a filter, all types that a pin offers, in their order. Empty after a failure.
std::vector<ComPtr<IPin>> PinsOf(IBaseFilter& filter);
std::vector<CMediaType> TypesOf(IPin& pin);

}  // namespace Vimbrel
