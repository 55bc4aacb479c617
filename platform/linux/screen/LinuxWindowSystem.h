// Windows, monitors and versions on the X server.
#pragma once

#include "ScreenCapture/system/WindowSystem.h"

namespace Vimbrel {

// Answers as a system of version 10.0 does: everything that newer versions brought is there.
class LinuxWindowSystem final : public WindowSystem {
public:
    BOOL IsWindow(HWND window) override;
    HWND GetParent(HWND window) override;
    HWND GetActiveWindow() override;
    BOOL IsIconic(HWND window) override;
    BOOL GetClientRect(HWND window, RECT* rect) override;
    BOOL GetWindowRect(HWND window, RECT* rect) override;
    HMONITOR MonitorFromRect(const RECT* rect, DWORD flags) override;
    BOOL EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                             LPARAM parameter) override;
    BOOL GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) override;
    BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* wanted, DWORD types, ULONGLONG conditions) override;
    DWORD GetFileVersionInfoSizeW(LPCWSTR file, DWORD* ignored) override;
    BOOL GetFileVersionInfoW(LPCWSTR file, DWORD ignored, DWORD size, void* block) override;
    BOOL VerQueryValueW(const void* block, LPCWSTR path, void** value, UINT* size) override;
    HMODULE LoadLibraryW(LPCWSTR name) override;
    FARPROC GetProcAddress(HMODULE library, LPCSTR name) override;
    BOOL FreeLibrary(HMODULE library) override;
};

}  // namespace Vimbrel
