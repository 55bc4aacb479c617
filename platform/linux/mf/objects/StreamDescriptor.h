// One stream of a source.
#pragma once

#include <mfidl.h>

#include "platform/linux/mf/objects/AttributesObject.h"
#include "platform/linux/mf/objects/MediaTypeHandler.h"

namespace Vimbrel {

class StreamDescriptor final
    : public AttributesObject<Implements<IMFStreamDescriptor, IMFAttributes>> {
public:
    StreamDescriptor(DWORD identifier, ComPtr<MediaTypeHandler> handler)
        : identifier_(identifier), handler_(std::move(handler)) {}

    HRESULT STDMETHODCALLTYPE GetStreamIdentifier(DWORD* identifier) override;
    HRESULT STDMETHODCALLTYPE GetMediaTypeHandler(IMFMediaTypeHandler** handler) override;

private:
    const DWORD identifier_;
    const ComPtr<MediaTypeHandler> handler_;
};

}  // namespace Vimbrel
