// Windows, monitors and versions as they are.
#pragma once

#include "ScreenCapture/system/WindowSystem.h"

namespace Vimbrel {

class WindowsWindowSystem final : public WindowSystem {
public:
    BOOL IsWindow(HWND window) override { return ::IsWindow(window); }
    HWND GetParent(HWND window) override { return ::GetParent(window); }
    HWND GetActiveWindow() override { return ::GetActiveWindow(); }
    BOOL IsIconic(HWND window) override { return ::IsIconic(window); }
    BOOL GetClientRect(HWND window, RECT* rect) override { return ::GetClientRect(window, rect); }
    BOOL GetWindowRect(HWND window, RECT* rect) override { return ::GetWindowRect(window, rect); }
    HMONITOR MonitorFromRect(const RECT* rect, DWORD flags) override {
        return ::MonitorFromRect(rect, flags);
    }
    BOOL EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                             LPARAM parameter) override {
        return ::EnumDisplayMonitors(context, clip, visit, parameter);
    }
    BOOL GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) override {
        return ::GetMonitorInfoW(monitor, info);
    }
    BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* wanted, DWORD types, ULONGLONG conditions) override {
        return ::VerifyVersionInfoW(wanted, types, conditions);
    }
    DWORD GetFileVersionInfoSizeW(LPCWSTR file, DWORD* ignored) override {
        return ::GetFileVersionInfoSizeW(file, ignored);
    }
    BOOL GetFileVersionInfoW(LPCWSTR file, DWORD ignored, DWORD size, void* block) override {
        return ::GetFileVersionInfoW(file, ignored, size, block);
    }
    BOOL VerQueryValueW(const void* block, LPCWSTR path, void** value, UINT* size) override {
        return ::VerQueryValueW(block, path, value, size);
    }
    HMODULE LoadLibraryW(LPCWSTR name) override { return ::LoadLibraryW(name); }
    FARPROC GetProcAddress(HMODULE library, LPCSTR name) override {
        return ::GetProcAddress(library, name);
    }
    BOOL FreeLibrary(HMODULE library) override { return ::FreeLibrary(library); }
};

}  // namespace Vimbrel
