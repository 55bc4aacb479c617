// An interface as a member of the object that it belongs to.
#pragma once

#include "filters/FilterNames.h"

namespace Vimbrel {

// Answers through a pointer of the caller's, which may be null by mistake.
template <class Value>
HRESULT Give(Value* target, Value value) {
    if (!target) return E_POINTER;
    *target = value;
    return S_OK;
}

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Its references and its queries are the owner's.
template <class Interface>
class Face : public Interface {
public:
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return owner_.QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }

protected:
    explicit Face(IUnknown& owner) : owner_(owner) {}
    ~Face() = default;

private:
    IUnknown& owner_;
};

// Of an interface that derives from the scripting one. There are no scripts.
template <class Interface>
class DispatchFace : public Face<Interface> {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }

protected:
    explicit DispatchFace(IUnknown& owner) : Face<Interface>(owner) {}
    ~DispatchFace() = default;
};

#pragma GCC diagnostic pop

}  // namespace Vimbrel
