// The names of sound endpoints of platform/include against the published values, as Names.cpp has
// it for the others.
#include <windows.h>

#include <mmreg.h>
#include <objbase.h>
#include <propidl.h>

// The headers declare their identifiers through these macros; as constant expressions they can be
// compared here.
#undef DEFINE_GUID
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
#undef DEFINE_PROPERTYKEY
#define DEFINE_PROPERTYKEY(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8, pid) \
    constexpr PROPERTYKEY name = {{l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}, pid}
#include <audioclient.h>
#include <avrt.h>
#include <endpointvolume.h>
#include <functiondiscoverykeys_devpkey.h>
#include <mmdeviceapi.h>
#include <propsys.h>

#include "NameChecks.h"

namespace {

INTERFACE_IS(IPropertyStore, 0x886d8eeb, 0x8cf2, 0x4446, 0x8d, 0x02, 0xcd, 0xba, 0x1d, 0xbd, 0xcf,
             0x99);
INTERFACE_IS(IMMDevice, 0xd666063f, 0x1587, 0x4e43, 0x81, 0xf1, 0xb9, 0x48, 0xe8, 0x07, 0x36, 0x3f);
INTERFACE_IS(IMMDeviceCollection, 0x0bd7a1be, 0x7a1a, 0x44db, 0x83, 0x97, 0xcc, 0x53, 0x92, 0x38,
             0x7b, 0x5e);
INTERFACE_IS(IMMEndpoint, 0x1be09788, 0x6894, 0x4089, 0x85, 0x86, 0x9a, 0x2a, 0x6c, 0x26, 0x5a,
             0xc5);
INTERFACE_IS(IMMDeviceEnumerator, 0xa95664d2, 0x9614, 0x4f35, 0xa7, 0x46, 0xde, 0x8d, 0xb6, 0x36,
             0x17, 0xe6);
INTERFACE_IS(IAudioClient, 0x1cb9ad4c, 0xdbfa, 0x4c32, 0xb1, 0x78, 0xc2, 0xf5, 0x68, 0xa7, 0x03,
             0xb2);
INTERFACE_IS(IAudioCaptureClient, 0xc8adbd64, 0xe71e, 0x48a0, 0xa4, 0xde, 0x18, 0x5c, 0x39, 0x5c,
             0xd3, 0x17);
INTERFACE_IS(IAudioRenderClient, 0xf294acfc, 0x3146, 0x4483, 0xa7, 0xbf, 0xad, 0xdc, 0xa7, 0xc2,
             0x60, 0xe2);
INTERFACE_IS(IAudioEndpointVolume, 0x5cdf2c82, 0x841e, 0x4546, 0x97, 0x22, 0x0c, 0xf7, 0x40, 0x78,
             0x22, 0x9a);
static_assert(eRender == 0 && eCapture == 1 && eAll == 2);
static_assert(eConsole == 0 && eMultimedia == 1 && eCommunications == 2);
static_assert(DEVICE_STATE_ACTIVE == 1 && STGM_READ == 0);
static_assert(AUDCLNT_SHAREMODE_SHARED == 0 && AUDCLNT_SHAREMODE_EXCLUSIVE == 1);
static_assert(AUDCLNT_STREAMFLAGS_LOOPBACK == 0x20000);
static_assert(AUDCLNT_STREAMFLAGS_EVENTCALLBACK == 0x40000);
static_assert(AUDCLNT_BUFFERFLAGS_SILENT == 2);
static_assert(sizeof(REFERENCE_TIME) == 8 && sizeof(PROPERTYKEY) == 20);

RESULT_IS(AUDCLNT_E_NOT_INITIALIZED, 0x88890001);
RESULT_IS(AUDCLNT_E_ALREADY_INITIALIZED, 0x88890002);
RESULT_IS(AUDCLNT_E_WRONG_ENDPOINT_TYPE, 0x88890003);
RESULT_IS(AUDCLNT_E_DEVICE_INVALIDATED, 0x88890004);
RESULT_IS(AUDCLNT_E_NOT_STOPPED, 0x88890005);
RESULT_IS(AUDCLNT_E_OUT_OF_ORDER, 0x88890007);
RESULT_IS(AUDCLNT_E_UNSUPPORTED_FORMAT, 0x88890008);
RESULT_IS(AUDCLNT_E_INVALID_SIZE, 0x88890009);
RESULT_IS(AUDCLNT_E_ENDPOINT_CREATE_FAILED, 0x8889000F);
RESULT_IS(AUDCLNT_E_SERVICE_NOT_RUNNING, 0x88890010);
RESULT_IS(AUDCLNT_E_EVENTHANDLE_NOT_EXPECTED, 0x88890011);
RESULT_IS(AUDCLNT_S_BUFFER_EMPTY, 0x08890001);
static_assert(ERROR_NOT_FOUND == 1168 && ERROR_TIMEOUT == 1460);

}  // namespace
