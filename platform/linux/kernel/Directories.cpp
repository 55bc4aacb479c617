// Directories on POSIX calls.
#include <windows.h>

#include <sys/stat.h>

extern "C" {

DWORD WINAPI GetFileAttributesA(LPCSTR path) {
    struct stat status;
    if (stat(path, &status) != 0) return INVALID_FILE_ATTRIBUTES;
    return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
}

BOOL WINAPI CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES*) { return mkdir(path, 0777) == 0; }

}  // extern "C"
