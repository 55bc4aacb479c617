// The properties of an endpoint.
#pragma once

#include <propsys.h>

#include <string>
#include <string_view>

#include "com/ComObject.h"

namespace Vimbrel {

class PropertyStore final : public ComObject<Implements<IPropertyStore>> {
public:
    // UTF-8.
    explicit PropertyStore(std::string_view friendly_name);

    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;

private:
    std::wstring friendly_name_;
};

}  // namespace Vimbrel
