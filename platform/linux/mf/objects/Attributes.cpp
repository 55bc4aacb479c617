#include <mfapi.h>

#include "platform/linux/mf/objects/AttributesObject.h"

namespace Vimbrel {

namespace {

class Attributes final : public AttributesObject<Implements<IMFAttributes>> {};

}  // namespace

}  // namespace Vimbrel

extern "C" HRESULT WINAPI MFCreateAttributes(IMFAttributes** attributes, UINT32) {
    if (!attributes) return E_POINTER;
    return Vimbrel::CreateCom<Vimbrel::Attributes>(attributes);
}
