#include "Source/record/SourceOp.h"

namespace Vimbrel {

SourceOp::SourceOp(Operation operation) : op(operation) { PropVariantInit(&data); }

SourceOp::~SourceOp() { PropVariantClear(&data); }

HRESULT SourceOp::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid != __uuidof(IUnknown)) return E_NOINTERFACE;
    *object = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
}

HRESULT SourceOp::SetData(const PROPVARIANT& value) {
    PropVariantClear(&data);
    return PropVariantCopy(&data, &value);
}

}  // namespace Vimbrel
