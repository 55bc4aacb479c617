// The main program and libraries that are loaded: paths and dynamic symbols.
#include <windows.h>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "com/Utf8.h"
#include "platform/linux/kernel/NativePath.h"

namespace {

// The program's own entry of the dynamic loader's list, which is the first.
int TakeFirst(dl_phdr_info* info, std::size_t, void* address) {
    *static_cast<ElfW(Addr)*>(address) = info->dlpi_addr;
    return 1;
}

ElfW(Addr) ProgramBase() {
    ElfW(Addr) address = 0;
    dl_iterate_phdr(TakeFirst, &address);
    return address;
}

// Where the module is loaded. The loader's handle of the program has no map of its own in every C
// library.
ElfW(Addr) BaseOf(HMODULE module) {
    if (module == GetModuleHandleW(nullptr)) return ProgramBase();
    link_map* map = nullptr;
    return dlinfo(module, RTLD_DI_LINKMAP, &map) == 0 && map ? map->l_addr : 0;
}

}  // namespace

extern "C" {

HMODULE WINAPI GetModuleHandleW(LPCWSTR name) {
    if (name) return nullptr;
    // Never closed: it is the program itself.
    static void* const program = dlopen(nullptr, RTLD_LAZY);
    return static_cast<HMODULE>(program);
}

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size) {
    if (module || size == 0) return 0;
    char link[4096];
    const ssize_t length = readlink("/proc/self/exe", link, sizeof link);
    if (length <= 0) return 0;
    const std::size_t kept = std::min<std::size_t>(static_cast<std::size_t>(length), size - 1);
    std::memcpy(path, link, kept);
    path[kept] = '\0';
    return kept < static_cast<std::size_t>(length) ? size : static_cast<DWORD>(kept);
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD size) try {
    char bytes[4096];
    const DWORD length = GetModuleFileNameA(module, bytes, sizeof bytes);
    if (length == 0 || size == 0) return 0;
    const std::wstring wide = Vimbrel::FromUtf8({bytes, length});
    const std::size_t kept = std::min<std::size_t>(wide.size(), size - 1);
    wide.copy(path, kept);
    path[kept] = L'\0';
    return kept < wide.size() ? size : static_cast<DWORD>(kept);
} catch (const std::bad_alloc&) {
    return 0;
}

HMODULE WINAPI LoadLibraryW(LPCWSTR path) try {
    if (!path) return nullptr;
    std::string name = Vimbrel::NativePath(path);
    std::replace(name.begin(), name.end(), '\\', '/');
    return static_cast<HMODULE>(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL));
} catch (const std::bad_alloc&) {
    return nullptr;
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    if (!module || !name) return nullptr;
    void* const symbol = dlsym(module, name);
    if (!symbol) return nullptr;
    // The loader also looks into the libraries that the module loads; one of those does not speak
    // for it.
    Dl_info info{};
    link_map* map = nullptr;
    if (!dladdr1(symbol, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map)
        return nullptr;
    if (map->l_addr != BaseOf(module)) return nullptr;
    return reinterpret_cast<FARPROC>(symbol);
}

}  // extern "C"
