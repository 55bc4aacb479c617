// Windows, monitors and versions as the capture back ends ask for them. The operations have the
// system's names and behaviour. A test may replace the system.
#pragma once

#include <windows.h>

namespace Vimbrel {

class WindowSystem {
public:
    virtual BOOL IsWindow(HWND window) = 0;
    // Null for a top window.
    virtual HWND GetParent(HWND window) = 0;
    virtual HWND GetActiveWindow() = 0;
    virtual BOOL IsIconic(HWND window) = 0;
    virtual BOOL GetClientRect(HWND window, RECT* rect) = 0;
    // The outer corner included, in desktop coordinates.
    virtual BOOL GetWindowRect(HWND window, RECT* rect) = 0;

    virtual HMONITOR MonitorFromRect(const RECT* rect, DWORD flags) = 0;
    virtual BOOL EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                                     LPARAM parameter) = 0;
    virtual BOOL GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) = 0;

    virtual BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* wanted, DWORD types,
                                    ULONGLONG conditions) = 0;
    // 0 if the file has no version resource.
    virtual DWORD GetFileVersionInfoSizeW(LPCWSTR file, DWORD* ignored) = 0;
    virtual BOOL GetFileVersionInfoW(LPCWSTR file, DWORD ignored, DWORD size, void* block) = 0;
    // *value points into the block.
    virtual BOOL VerQueryValueW(const void* block, LPCWSTR path, void** value, UINT* size) = 0;

    virtual HMODULE LoadLibraryW(LPCWSTR name) = 0;
    virtual FARPROC GetProcAddress(HMODULE library, LPCSTR name) = 0;
    virtual BOOL FreeLibrary(HMODULE library) = 0;

protected:
    ~WindowSystem() = default;
};

}  // namespace Vimbrel
