#include "platform/linux/coreaudio/PropertyStore.h"

#include <functiondiscoverykeys_devpkey.h>

#include "com/Utf8.h"

namespace Vimbrel {

PropertyStore::PropertyStore(std::string_view friendly_name)
    : friendly_name_(FromUtf8(friendly_name)) {}

HRESULT PropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
    if (!value) return E_POINTER;
    PropVariantInit(value);
    const PROPERTYKEY& known = PKEY_Device_FriendlyName;
    if (key.fmtid != known.fmtid || key.pid != known.pid) return S_OK;
    PROPVARIANT name{};
    name.vt = VT_LPWSTR;
    name.pwszVal = friendly_name_.data();
    return PropVariantCopy(value, &name);
}

}  // namespace Vimbrel
