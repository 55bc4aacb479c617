// A PROPVARIANT that is cleared when it goes.
#pragma once

#include <propidl.h>

#include <utility>

namespace Vimbrel {

class PropertyValue {
public:
    PropertyValue() = default;
    PropertyValue(PropertyValue&& other) noexcept
        : value_(std::exchange(other.value_, PROPVARIANT{})) {}
    PropertyValue& operator=(PropertyValue&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~PropertyValue() { PropVariantClear(&value_); }

    const PROPVARIANT& Get() const { return value_; }
    // To be filled. Clears what was held.
    PROPVARIANT* Put() {
        PropVariantClear(&value_);
        return &value_;
    }
    HRESULT CopyFrom(const PROPVARIANT& source) { return PropVariantCopy(Put(), &source); }

private:
    PROPVARIANT value_{};
};

}  // namespace Vimbrel
