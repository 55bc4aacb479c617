// Start-up of COM per thread, and its memory.
#include <objbase.h>

#include <cstdlib>

namespace {

struct ThreadState {
    ULONG count = 0;
    DWORD model = 0;
};
thread_local ThreadState thread_state;

}  // namespace

extern "C" {

HRESULT WINAPI CoInitializeEx(void*, DWORD model) {
    ThreadState& state = thread_state;
    const DWORD wanted = model & COINIT_APARTMENTTHREADED;
    if (state.count == 0) {
        state = {1, wanted};
        return S_OK;
    }
    if (state.model != wanted) return RPC_E_CHANGED_MODE;
    ++state.count;
    return S_FALSE;
}

void WINAPI CoUninitialize() {
    if (thread_state.count > 0) --thread_state.count;
}

void* WINAPI CoTaskMemAlloc(SIZE_T size) { return std::malloc(size ? size : 1); }
void WINAPI CoTaskMemFree(void* memory) { std::free(memory); }

}  // extern "C"
