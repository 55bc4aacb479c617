// The main program's dynamic symbols.
#include <windows.h>

#include <dlfcn.h>
#include <link.h>

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

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    if (!module || !name) return nullptr;
    void* const symbol = dlsym(module, name);
    if (!symbol) return nullptr;
    // The loader also looks into the libraries that the program loads; one of those does not speak for the host.
    Dl_info info{};
    link_map* map = nullptr;
    if (!dladdr1(symbol, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map) return nullptr;
    if (reinterpret_cast<const void*>(map->l_addr) != ProgramBase()) return nullptr;
    return reinterpret_cast<FARPROC>(symbol);
}

}  // extern "C"
