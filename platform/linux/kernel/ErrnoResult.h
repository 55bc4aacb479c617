// The C library's errors as result codes.
#pragma once

#include <winerror.h>

namespace Vimbrel {

// E_FAIL for 0, so that a failed call never looks successful.
HRESULT ResultFromErrno(int error);

}  // namespace Vimbrel
