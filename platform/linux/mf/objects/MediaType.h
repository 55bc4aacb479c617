// Media types. They are attributes and nothing else: the published interfaces of sound and picture
// add only what nobody calls here.
#pragma once

#include <mfobjects.h>

#include "platform/linux/mf/objects/AttributesObject.h"

namespace Vimbrel {

template <class List>
class MediaTypeObject final : public AttributesObject<List> {
public:
    HRESULT STDMETHODCALLTYPE GetMajorType(GUID* type) override;
};

using MediaType = MediaTypeObject<Implements<IMFMediaType, IMFAttributes>>;
using AudioMediaType = MediaTypeObject<Implements<IMFAudioMediaType, IMFMediaType, IMFAttributes>>;
using VideoMediaType = MediaTypeObject<Implements<IMFVideoMediaType, IMFMediaType, IMFAttributes>>;

bool IsMediaType(IMFMediaType* type, const GUID& major_type, const GUID& subtype);

}  // namespace Vimbrel
