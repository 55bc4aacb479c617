// Keys of a device's properties. Inside the library only.
#pragma once

#include "propsys.h"

// VT_LPWSTR: the name that users see.
inline constexpr PROPERTYKEY PKEY_Device_FriendlyName = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 14};
