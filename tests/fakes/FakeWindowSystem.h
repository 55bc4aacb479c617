// Versions, monitors and windows as a test wants them.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "ScreenCapture/system/WindowSystem.h"

namespace Vimbrel::test {

class FakeWindowSystem final : public WindowSystem {
public:
    struct Version {
        DWORD major = 10, minor = 0, service_pack = 0, build = 19045;
    };

    BOOL IsWindow(HWND) override { return exists; }
    HWND GetParent(HWND window) override {
        return parents.count(window) ? parents[window] : nullptr;
    }
    HWND GetActiveWindow() override { return nullptr; }
    BOOL IsIconic(HWND window) override { return window == iconic; }
    BOOL GetClientRect(HWND, RECT* rect) override {
        *rect = client;
        return exists;
    }
    BOOL GetWindowRect(HWND, RECT* rect) override {
        *rect = outer;
        return exists;
    }
    HMONITOR MonitorFromRect(const RECT*, DWORD) override { return nullptr; }
    BOOL EnumDisplayMonitors(HDC, const RECT*, MONITORENUMPROC visit, LPARAM parameter) override {
        RECT place{};
        for (int i = 0; i < monitors; ++i) visit(nullptr, nullptr, &place, parameter);
        return count_works;
    }
    BOOL GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) override {
        info->dwFlags = monitor == primary ? MONITORINFOF_PRIMARY : 0;
        return TRUE;
    }
    BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* wanted, DWORD types, ULONGLONG conditions) override {
        // All three, each as "at least": 3 in the three bits of its type (major 2, minor 1, service
        // pack 0x20).
        last_question_fits = types == 0x23 && conditions == (3u | 3u << 3 | 3u << 15);
        if (version.major != wanted->dwMajorVersion) return version.major > wanted->dwMajorVersion;
        if (version.minor != wanted->dwMinorVersion) return version.minor > wanted->dwMinorVersion;
        return version.service_pack >= wanted->wServicePackMajor;
    }
    DWORD GetFileVersionInfoSizeW(LPCWSTR, DWORD*) override { return resource_size; }
    BOOL GetFileVersionInfoW(LPCWSTR, DWORD, DWORD, void*) override { return TRUE; }
    BOOL VerQueryValueW(const void*, LPCWSTR, void** value, UINT* size) override {
        resource = {};
        resource.dwFileVersionMS = version.major << 16 | version.minor;
        resource.dwFileVersionLS = version.build << 16 | 7;
        *value = &resource;
        *size = resource_size;
        return TRUE;
    }
    HMODULE LoadLibraryW(LPCWSTR name) override {
        libraries.emplace_back(name);
        ++loaded;
        return library_exists ? reinterpret_cast<HMODULE>(this) : nullptr;
    }
    FARPROC GetProcAddress(HMODULE, LPCSTR name) override {
        return std::strcmp(name, "GetDpiForWindow") == 0 ? window_dpi : monitor_dpi;
    }
    BOOL FreeLibrary(HMODULE) override {
        --loaded;
        return TRUE;
    }

    Version version;
    int monitors = 1;
    BOOL count_works = TRUE;
    bool last_question_fits = false;
    HMONITOR primary = nullptr;
    DWORD resource_size = sizeof(VS_FIXEDFILEINFO);
    BOOL exists = TRUE;
    RECT client{0, 0, 4, 2};
    RECT outer{0, 0, 4, 2};
    HWND iconic = nullptr;
    std::map<HWND, HWND> parents;
    bool library_exists = true;
    FARPROC window_dpi = nullptr;
    FARPROC monitor_dpi = nullptr;
    std::vector<std::wstring> libraries;  // asked for
    int loaded = 0;                       // and not freed

private:
    VS_FIXEDFILEINFO resource{};
};

}  // namespace Vimbrel::test
