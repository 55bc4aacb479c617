// libpulse's errors as result codes.
#pragma once

#include <windows.h>

namespace Vimbrel {

// For a PA_ERR_ code. `step` names what failed; it goes to the log at trace level together with
// libpulse's own words. A stream that its server ended is AUDCLNT_E_DEVICE_INVALIDATED, a server
// that is gone AUDCLNT_E_SERVICE_NOT_RUNNING, one that does not answer ERROR_TIMEOUT's result code.
HRESULT ResultFromPulse(int error, const char* step);

}  // namespace Vimbrel
