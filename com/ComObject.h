// Reference counting and QueryInterface for classes that implement interfaces.
#pragma once

#include <atomic>
#include <new>
#include <utility>

#include "com/ComPtr.h"

namespace Vimbrel {

// One interface that an object answers for, with the interfaces it derives from (which need not be
// named if they are reached through the same pointer).
template <class Interface, class... Bases>
struct Implements {
    using Main = Interface;
    static bool Matches(REFIID iid) {
        return iid == __uuidof(Interface) || (... || (iid == __uuidof(Bases)));
    }
};

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Base of a counted object. `Lists` are Implements<...>; the object derives from the Main interface
// of each.
//
//     class Stream final : public ComObject<Implements<IWICStream, IStream>> { ... };
//     ComPtr<Stream> stream = MakeCom<Stream>(arguments...);
//
// IUnknown is answered through the first list.
template <class First, class... Rest>
class ComObject : public First::Main, public Rest::Main... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IUnknown) || First::Matches(iid)) {
            *object = static_cast<typename First::Main*>(this);
        } else {
            static_cast<void>((... || (Rest::Matches(iid) &&
                                       (*object = static_cast<typename Rest::Main*>(this), true))));
        }
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        return references_.fetch_add(1, std::memory_order_relaxed) + 1;
    }

    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    std::atomic<ULONG> references_{1};
#pragma GCC diagnostic pop
};

// Makes a counted object whose first reference belongs to the result.
template <class Class, class... Arguments>
ComPtr<Class> MakeCom(Arguments&&... arguments) {
    ComPtr<Class> object;
    object.Attach(new Class(std::forward<Arguments>(arguments)...));
    return object;
}

// The same for a caller's pointer, at an edge where no exception may pass. Without memory the
// result is E_OUTOFMEMORY and the pointer null.
template <class Class, class Interface, class... Arguments>
HRESULT CreateCom(Interface** object, Arguments&&... arguments) {
    *object = nullptr;
    try {
        *object = MakeCom<Class>(std::forward<Arguments>(arguments)...).Detach();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

// The same for one of the object's interfaces.
template <class Class, class... Arguments>
HRESULT CreateCom(REFIID iid, void** object, Arguments&&... arguments) {
    ComPtr<Class> made;
    const HRESULT hr = CreateCom<Class>(made.Put(), std::forward<Arguments>(arguments)...);
    return FAILED(hr) ? hr : made->QueryInterface(iid, object);
}

}  // namespace Vimbrel
