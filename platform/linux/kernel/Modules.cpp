// The main program: its path and its dynamic symbols.
#include <windows.h>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace {

// The program's own entry of the dynamic loader's list, which is the first.
int TakeFirst(dl_phdr_info* info, std::size_t, void* address) {
    *static_cast<ElfW(Addr)*>(address) = info->dlpi_addr;
    return 1;
}

const void* ProgramBase() {
    ElfW(Addr) address = 0;
    dl_iterate_phdr(TakeFirst, &address);
    return reinterpret_cast<const void*>(address);
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

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    if (!module || !name) return nullptr;
    void* const symbol = dlsym(module, name);
    if (!symbol) return nullptr;
    // The loader also looks into the libraries that the program loads; one of those does not speak
    // for the host.
    Dl_info info{};
    link_map* map = nullptr;
    if (!dladdr1(symbol, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map)
        return nullptr;
    if (reinterpret_cast<const void*>(map->l_addr) != ProgramBase()) return nullptr;
    return reinterpret_cast<FARPROC>(symbol);
}

}  // extern "C"
