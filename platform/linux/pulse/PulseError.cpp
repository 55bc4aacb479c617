#include "platform/linux/pulse/PulseError.h"

#include <audioclient.h>
#include <pulse/def.h>
#include <pulse/error.h>

#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

HRESULT Map(int error) {
    switch (error) {
        case PA_ERR_NOENTITY:
            return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        case PA_ERR_CONNECTIONREFUSED:
        case PA_ERR_CONNECTIONTERMINATED:
        case PA_ERR_INVALIDSERVER:
        case PA_ERR_AUTHKEY:
        case PA_ERR_PROTOCOL:
        case PA_ERR_VERSION:
        case PA_ERR_FORKED:
            return AUDCLNT_E_SERVICE_NOT_RUNNING;
        case PA_ERR_KILLED:
        case PA_ERR_MODINITFAILED:
            return AUDCLNT_E_DEVICE_INVALIDATED;
        case PA_ERR_TIMEOUT:
            return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
        case PA_ERR_ACCESS:
            return E_ACCESSDENIED;
        case PA_ERR_INVALID:
            return E_INVALIDARG;
        case PA_ERR_NOTSUPPORTED:
            return AUDCLNT_E_UNSUPPORTED_FORMAT;
        case PA_ERR_TOOLARGE:
            return E_OUTOFMEMORY;
        default:
            return E_FAIL;
    }
}

}  // namespace

HRESULT ResultFromPulse(int error, const char* step) {
    const HRESULT hr = Map(error);
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE, "pulse: %s: %s - 0x%08X", step,
                  pa_strerror(error), static_cast<unsigned>(hr));
    return hr;
}

}  // namespace Vimbrel
