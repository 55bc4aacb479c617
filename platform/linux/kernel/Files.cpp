// Files that grow, on POSIX calls.
#include <windows.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "platform/linux/kernel/KernelObject.h"

namespace {

class File final : public Vimbrel::KernelObject {
public:
    explicit File(int owned) : descriptor(owned) {}
    ~File() override { close(descriptor); }

    const int descriptor;
};

int Descriptor(HANDLE handle) {
    return static_cast<File*>(static_cast<Vimbrel::KernelObject*>(handle))->descriptor;
}

}  // namespace

extern "C" {

HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD, SECURITY_ATTRIBUTES* security,
                          DWORD disposition, DWORD, HANDLE pattern) {
    if (access != FILE_APPEND_DATA || security || disposition != OPEN_ALWAYS || pattern)
        return INVALID_HANDLE_VALUE;
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) return INVALID_HANDLE_VALUE;
    File* const file = new (std::nothrow) File(descriptor);
    if (!file) {
        close(descriptor);
        return INVALID_HANDLE_VALUE;
    }
    return static_cast<Vimbrel::KernelObject*>(file);
}

BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position,
                             DWORD origin) {
    if (origin != FILE_END) return FALSE;
    const off_t result = lseek(Descriptor(file), distance.QuadPart, SEEK_END);
    if (result < 0) return FALSE;
    if (position) position->QuadPart = result;
    return TRUE;
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD length, DWORD* written,
                      OVERLAPPED* overlapped) {
    *written = 0;
    if (overlapped) return FALSE;
    ssize_t result;
    do {
        result = write(Descriptor(file), bytes, length);
    } while (result < 0 && errno == EINTR);
    if (result < 0) return FALSE;
    *written = static_cast<DWORD>(result);
    return TRUE;
}

BOOL WINAPI FlushFileBuffers(HANDLE file) { return fsync(Descriptor(file)) == 0; }

BOOL WINAPI CloseHandle(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE) return FALSE;
    delete static_cast<Vimbrel::KernelObject*>(handle);
    return TRUE;
}

}  // extern "C"
