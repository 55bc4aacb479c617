#include "platform/linux/screen/LinuxWindowSystem.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/screen/ScreenOutputs.h"
#include "platform/linux/x11/XConnection.h"
#include "platform/linux/x11/XWindows.h"

namespace Vimbrel {

namespace {

constexpr DWORD stood_for_major = 10;
constexpr DWORD stood_for_minor = 0;
constexpr DWORD stood_for_build = 19045;
constexpr DWORD stood_for_service_pack = 0;

// Pictures of the portal are taken as they come.
constexpr UINT cast_dpi = 96;

// The server draws every window as large as its program asked for, so a window has no scale of its
// own: it is the desktop's.
UINT WINAPI DpiOfWindow(HWND window) {
    if (CastScreen::OfWindow(window)) return cast_dpi;
    const auto connection = XConnection::Shared();
    XWindowPlace place;
    if (!connection || !ReadWindowPlace(*connection, ToXWindow(window), place)) return 0;
    return static_cast<UINT>(connection->Dpi());
}

struct Entry {
    std::wstring_view library;
    std::string_view name;
    FARPROC function;
};

const Entry entries[] = {
    {L"User32.dll", "GetDpiForWindow",
     reinterpret_cast<FARPROC>(reinterpret_cast<void*>(DpiOfWindow))},
};

// The first entry of the library stands for it.
HMODULE FindLibrary(std::wstring_view name) {
    for (const Entry& entry : entries) {
        if (entry.library == name) return reinterpret_cast<HMODULE>(const_cast<Entry*>(&entry));
    }
    return nullptr;
}

constexpr int condition_bits = 3;

// The place of a type's bits in a mask of conditions: types are single bits.
int ConditionShift(DWORD type) {
    int shift = 0;
    for (; type > 1; type >>= 1) shift += condition_bits;
    return shift;
}

}  // namespace

BOOL LinuxWindowSystem::IsWindow(HWND window) {
    // One that the desktop has ended is gone, as if it were closed.
    if (const auto cast = CastScreen::OfWindow(window)) return !cast->IsLost();
    const auto connection = XConnection::Shared();
    XWindowPlace place;
    return connection && ReadWindowPlace(*connection, ToXWindow(window), place);
}

HWND LinuxWindowSystem::GetParent(HWND window) {
    if (CastScreen::OfWindow(window)) return nullptr;
    const auto connection = XConnection::Shared();
    return connection ? ToHandle(ParentWindow(*connection, ToXWindow(window))) : nullptr;
}

// Asked for as a focus window, which nothing here needs.
HWND LinuxWindowSystem::GetActiveWindow() { return nullptr; }

BOOL LinuxWindowSystem::IsIconic(HWND window) { return ::IsIconic(window); }

BOOL LinuxWindowSystem::GetClientRect(HWND window, RECT* rect) {
    return ::GetClientRect(window, rect);
}

BOOL LinuxWindowSystem::GetWindowRect(HWND window, RECT* rect) {
    if (CastScreen::OfWindow(window)) return ::GetClientRect(window, rect);
    const auto connection = XConnection::Shared();
    XWindowPlace place;
    if (!connection || !ReadWindowPlace(*connection, ToXWindow(window), place)) return FALSE;
    *rect = OuterPlace(*connection, ToXWindow(window), place);
    return TRUE;
}

HMONITOR LinuxWindowSystem::MonitorFromRect(const RECT* rect, DWORD) try {
    const POINT middle{rect->left + (rect->right - rect->left) / 2,
                       rect->top + (rect->bottom - rect->top) / 2};
    const XOutput* nearest = nullptr;
    LONGLONG nearest_distance = 0;
    const std::vector<XOutput> outputs = ListScreenOutputs();
    for (const XOutput& output : outputs) {
        if (!output.attached) continue;
        const LONGLONG x =
            std::clamp(middle.x, output.place.left, output.place.right - 1) - middle.x;
        const LONGLONG y =
            std::clamp(middle.y, output.place.top, output.place.bottom - 1) - middle.y;
        const LONGLONG distance = x * x + y * y;
        if (nearest && distance >= nearest_distance) continue;
        nearest = &output;
        nearest_distance = distance;
    }
    return nearest ? reinterpret_cast<HMONITOR>(static_cast<std::uintptr_t>(nearest->id)) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

BOOL LinuxWindowSystem::EnumDisplayMonitors(HDC context, const RECT* clip, MONITORENUMPROC visit,
                                            LPARAM parameter) {
    return ::EnumDisplayMonitors(context, clip, visit, parameter);
}

BOOL LinuxWindowSystem::GetMonitorInfoW(HMONITOR monitor, MONITORINFO* info) {
    return ::GetMonitorInfoW(monitor, info);
}

BOOL LinuxWindowSystem::VerifyVersionInfoW(OSVERSIONINFOEXW* wanted, DWORD types,
                                           ULONGLONG conditions) {
    // Major, minor and service pack count as one number, of which the parts that are asked for are
    // compared; the only comparison is that with "at least".
    struct Part {
        DWORD type;
        DWORD mine;
        DWORD theirs;
    };
    const Part parts[] = {
        {VER_MAJORVERSION, stood_for_major, wanted->dwMajorVersion},
        {VER_MINORVERSION, stood_for_minor, wanted->dwMinorVersion},
        {VER_SERVICEPACKMAJOR, stood_for_service_pack, wanted->wServicePackMajor}};
    for (const Part& part : parts) {
        if (!(types & part.type)) continue;
        if (((conditions >> ConditionShift(part.type)) & 7) != VER_GREATER_EQUAL) return FALSE;
        if (part.mine != part.theirs) return part.mine > part.theirs;
    }
    return TRUE;
}

DWORD LinuxWindowSystem::GetFileVersionInfoSizeW(LPCWSTR file, DWORD* ignored) {
    if (ignored) *ignored = 0;
    return file && std::wstring_view(file) == L"ntdll.dll" ? sizeof(VS_FIXEDFILEINFO) : 0;
}

BOOL LinuxWindowSystem::GetFileVersionInfoW(LPCWSTR file, DWORD, DWORD size, void* block) {
    if (GetFileVersionInfoSizeW(file, nullptr) == 0 || size < sizeof(VS_FIXEDFILEINFO))
        return FALSE;
    VS_FIXEDFILEINFO info{};
    info.dwFileVersionMS = stood_for_major << 16 | stood_for_minor;
    info.dwFileVersionLS = stood_for_build << 16;
    std::memcpy(block, &info, sizeof info);
    return TRUE;
}

BOOL LinuxWindowSystem::VerQueryValueW(const void* block, LPCWSTR path, void** value, UINT* size) {
    if (std::wstring_view(path) != L"\\") return FALSE;
    *value = const_cast<void*>(block);
    *size = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}

HMODULE LinuxWindowSystem::LoadLibraryW(LPCWSTR name) { return FindLibrary(name); }

FARPROC LinuxWindowSystem::GetProcAddress(HMODULE library, LPCSTR name) {
    for (const Entry& entry : entries) {
        if (FindLibrary(entry.library) == library && entry.name == name) return entry.function;
    }
    return nullptr;
}

BOOL LinuxWindowSystem::FreeLibrary(HMODULE library) { return library != nullptr; }

}  // namespace Vimbrel

extern "C" ULONGLONG WINAPI VerSetConditionMask(ULONGLONG mask, DWORD type, BYTE condition) {
    return mask | static_cast<ULONGLONG>(condition & 7) << Vimbrel::ConditionShift(type);
}
