// What a generator of events tells. It does not change but for its attributes.
#pragma once

#include <mfobjects.h>

#include "platform/linux/mf/objects/AttributesObject.h"

namespace Vimbrel {

class MediaEvent final : public AttributesObject<Implements<IMFMediaEvent, IMFAttributes>> {
public:
    // `value` may be null. E_INVALIDARG for a value that cannot be copied.
    static HRESULT Create(MediaEventType type, REFGUID extended_type, HRESULT status,
                          const PROPVARIANT* value, ComPtr<IMFMediaEvent>& event);

    MediaEvent(MediaEventType type, REFGUID extended_type, HRESULT status, PropertyValue value)
        : type_(type), extended_type_(extended_type), status_(status), value_(std::move(value)) {}

    HRESULT STDMETHODCALLTYPE GetType(MediaEventType* type) override;
    HRESULT STDMETHODCALLTYPE GetExtendedType(GUID* type) override;
    HRESULT STDMETHODCALLTYPE GetStatus(HRESULT* status) override;
    HRESULT STDMETHODCALLTYPE GetValue(PROPVARIANT* value) override;

private:
    const MediaEventType type_;
    const GUID extended_type_;
    const HRESULT status_;
    const PropertyValue value_;
};

}  // namespace Vimbrel
