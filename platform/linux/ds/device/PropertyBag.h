// The properties of a device.
#pragma once

#include <string>

#include "com/ComObject.h"
#include "filters/FilterNames.h"

namespace Vimbrel {

// "FriendlyName" and "DevicePath". Any thread.
class PropertyBag final : public ComObject<Implements<IPropertyBag>> {
public:
    PropertyBag(std::wstring name, std::wstring path)
        : name_(std::move(name)), path_(std::move(path)) {}

    // E_INVALIDARG for a name that is not there, DISP_E_TYPEMISMATCH for another type than a text.
    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) override;
    HRESULT STDMETHODCALLTYPE Write(LPCOLESTR name, VARIANT* value) override;

private:
    const std::wstring name_;
    const std::wstring path_;  // empty: there is none
};

}  // namespace Vimbrel
