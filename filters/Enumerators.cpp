#include "filters/Enumerators.h"

namespace Vimbrel {

HRESULT STDMETHODCALLTYPE MediaTypeEnumerator::Next(ULONG count, AM_MEDIA_TYPE** items,
                                                    ULONG* fetched) {
    if (!items || (count > 1 && !fetched)) return E_POINTER;
    ULONG taken = 0;
    for (; taken < count && next_ < types_.size(); ++taken) {
        items[taken] = CreateMediaType(types_[next_]);
        if (!items[taken]) break;
        ++next_;
    }
    if (fetched) *fetched = taken;
    return taken == count ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MediaTypeEnumerator::Skip(ULONG count) {
    const std::size_t left = types_.size() - next_;
    next_ += count < left ? count : left;
    return count <= left ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE MediaTypeEnumerator::Reset() {
    next_ = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE MediaTypeEnumerator::Clone(IEnumMediaTypes** enumerator) {
    if (!enumerator) return E_POINTER;
    *enumerator = MakeCom<MediaTypeEnumerator>(types_, next_).Detach();
    return S_OK;
}

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter& filter) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> enumerator;
    if (FAILED(filter.EnumPins(enumerator.Put())) || !enumerator) return pins;
    ComPtr<IPin> pin;
    while (enumerator->Next(1, pin.Put(), nullptr) == S_OK) pins.push_back(pin);
    return pins;
}

std::vector<CMediaType> TypesOf(IPin& pin) {
    std::vector<CMediaType> types;
    ComPtr<IEnumMediaTypes> enumerator;
    if (FAILED(pin.EnumMediaTypes(enumerator.Put())) || !enumerator) return types;
    AM_MEDIA_TYPE* type = nullptr;
    while (enumerator->Next(1, &type, nullptr) == S_OK) {
        types.emplace_back(*type);
        DeleteMediaType(type);
    }
    return types;
}

}  // namespace Vimbrel
