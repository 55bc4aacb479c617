#include "ScreenCapture/OsVersion.h"

#include <vector>

namespace Vimbrel {

namespace {

constexpr std::int32_t normal_dpi = 96;
constexpr std::int32_t normal_percent = 100;
constexpr int effective_dpi = 0;

using GetDpiForWindowFunction = UINT(WINAPI*)(HWND window);
using GetDpiForMonitorFunction = HRESULT(WINAPI*)(HMONITOR monitor, int type, UINT* dpi_x,
                                                  UINT* dpi_y);

// A library for as long as one of its entries is used. Each call loads and frees it again, since
// the scale is asked for only when a capture starts.
class Library {
public:
    Library(WindowSystem& window_system, LPCWSTR name)
        : system(window_system), handle(system.LoadLibraryW(name)) {}
    ~Library() {
        if (handle) system.FreeLibrary(handle);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <class Function>
    Function Entry(LPCSTR name) const {
        return handle ? reinterpret_cast<Function>(
                            reinterpret_cast<void*>(system.GetProcAddress(handle, name)))
                      : nullptr;
    }

private:
    WindowSystem& system;
    HMODULE handle;
};

std::int32_t WindowDpiPercent(WindowSystem& system, HWND window) {
    const Library library(system, L"User32.dll");
    const auto get_dpi = library.Entry<GetDpiForWindowFunction>("GetDpiForWindow");
    return get_dpi ? static_cast<std::int32_t>(get_dpi(window)) * normal_percent / normal_dpi
                   : normal_percent;
}

std::int32_t MonitorDpiPercent(WindowSystem& system, HWND window) {
    const Library library(system, L"Shcore.dll");
    RECT place{};
    system.GetWindowRect(window, &place);
    HMONITOR monitor = system.MonitorFromRect(&place, MONITOR_DEFAULTTONEAREST);
    const auto get_dpi = library.Entry<GetDpiForMonitorFunction>("GetDpiForMonitor");
    UINT dpi_x = 0;
    UINT dpi_y = 0;
    if (!get_dpi || FAILED(get_dpi(monitor, effective_dpi, &dpi_x, &dpi_y))) return normal_percent;
    return static_cast<std::int32_t>(dpi_x) * normal_percent / normal_dpi;
}

std::uint16_t HighWord(DWORD value) { return static_cast<std::uint16_t>(value >> 16); }
std::uint16_t LowWord(DWORD value) { return static_cast<std::uint16_t>(value & 0xFFFF); }

}  // namespace

bool GetOsVersion(WindowSystem& system, std::uint16_t& major, std::uint16_t& minor,
                  std::uint16_t& build, std::uint16_t& revision) {
    constexpr LPCWSTR library = L"ntdll.dll";
    DWORD ignored = 0;
    const DWORD size = system.GetFileVersionInfoSizeW(library, &ignored);
    if (size == 0) return false;
    std::vector<BYTE> block(size);
    void* value = nullptr;
    UINT value_size = 0;
    if (system.GetFileVersionInfoW(library, 0, size, block.data()) &&
        system.VerQueryValueW(block.data(), L"\\", &value, &value_size) && value &&
        value_size >= sizeof(VS_FIXEDFILEINFO)) {
        const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
        major = HighWord(info->dwFileVersionMS);
        minor = LowWord(info->dwFileVersionMS);
        build = HighWord(info->dwFileVersionLS);
        revision = LowWord(info->dwFileVersionLS);
    }
    return true;
}

std::int32_t DpiPercent(WindowSystem& system, Gdi& gdi, const OsVersion& version, HWND window) {
    const unsigned major = version.versionMajor;
    const unsigned minor = version.versionMinor;
    const unsigned build = version.versionBuild;
    if (major < 6) return normal_percent;
    if (major == 6 && (minor == 0 || (minor == 1 && build < 7600))) return normal_percent;
    if (major >= 10 && !(major == 10 && minor == 0 && build < 14955))
        return WindowDpiPercent(system, window);
    if (major >= 7 || minor >= 3) return MonitorDpiPercent(system, window);
    HDC context = gdi.GetDC(window);
    const std::int32_t dpi = gdi.GetDeviceCaps(context, LOGPIXELSX);
    if (context) gdi.ReleaseDC(window, context);
    return dpi * normal_percent / normal_dpi;
}

}  // namespace Vimbrel
