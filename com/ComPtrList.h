// A list of owned references.
#pragma once

#include "com/List.h"

namespace Vimbrel {

// Values that are read, or removed with a result, come with a reference of their own. Null is a
// value only if NULLABLE is true.
template <class T, bool NULLABLE>
class ComPtrList final : public List<T*> {
public:
    using typename List<T*>::Node;

    HRESULT InsertNode(T* const& value, Node* before) override {
        if (!value && !NULLABLE) return E_POINTER;
        const HRESULT hr = List<T*>::InsertNode(value, before);
        if (SUCCEEDED(hr) && value) value->AddRef();
        return hr;
    }

    HRESULT GetNodeValue(Node* node, T** value) override {
        const HRESULT hr = List<T*>::GetNodeValue(node, value);
        if (SUCCEEDED(hr) && *value) (*value)->AddRef();
        return hr;
    }

    HRESULT RemoveNode(Node* node, T** value) override {
        T* removed = nullptr;
        const HRESULT hr = List<T*>::RemoveNode(node, &removed);
        if (FAILED(hr)) return hr;
        // The list's reference becomes the caller's.
        if (value) {
            *value = removed;
        } else if (removed) {
            removed->Release();
        }
        return hr;
    }

    ~ComPtrList() override { ComPtrList::Clear(); }

    void Clear() override {
        while (!this->IsEmpty()) ComPtrList::RemoveNode(this->Begin(), nullptr);
    }
};

}  // namespace Vimbrel
