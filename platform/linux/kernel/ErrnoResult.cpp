#include "platform/linux/kernel/ErrnoResult.h"

#include <cerrno>

namespace Vimbrel {

HRESULT ResultFromErrno(int error) {
    switch (error) {
        case 0:
            return E_FAIL;
        case ENOENT:
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        case ENOTDIR:
            return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
        case EACCES:
        case EPERM:
        case EROFS:
        case EISDIR:
            return E_ACCESSDENIED;
        case EMFILE:
        case ENFILE:
            return HRESULT_FROM_WIN32(ERROR_TOO_MANY_OPEN_FILES);
        case ENOMEM:
            return E_OUTOFMEMORY;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return HRESULT_FROM_WIN32(ERROR_DISK_FULL);
        case ENAMETOOLONG:
            return HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE);
        case EINVAL:
            return E_INVALIDARG;
        default:
            return HRESULT_FROM_WIN32(ERROR_GEN_FAILURE);
    }
}

}  // namespace Vimbrel
