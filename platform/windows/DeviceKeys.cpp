// Identifiers of sound devices that no library of mingw-w64 defines.
#include <initguid.h>
#include <windows.h>
#include <wtypes.h>

#include <functiondiscoverykeys_devpkey.h>
#include <mmdeviceapi.h>
