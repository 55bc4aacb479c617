// Contexts of bindings.
#include <objbase.h>

#include "com/ComObject.h"

namespace {

class BindContext final : public Vimbrel::ComObject<Vimbrel::Implements<IBindCtx>> {};

}  // namespace

extern "C" HRESULT WINAPI CreateBindCtx(DWORD reserved, IBindCtx** context) {
    if (!context) return E_POINTER;
    *context = nullptr;
    if (reserved != 0) return E_INVALIDARG;
    *context = Vimbrel::MakeCom<BindContext>().Detach();
    return S_OK;
}
