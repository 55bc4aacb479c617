// Owned reference to an interface.
#pragma once

#include <unknwn.h>

#include <utility>

namespace Vimbrel {

template <class Interface>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    // Adds a reference of its own.
    explicit ComPtr(Interface* object) : object_(object) {
        if (object_) object_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~ComPtr() { Reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    Interface* Get() const { return object_; }
    Interface* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    // Takes over a reference that the caller owns.
    void Attach(Interface* object) {
        Reset();
        object_ = object;
    }
    // Gives the reference up to the caller.
    [[nodiscard]] Interface* Detach() { return std::exchange(object_, nullptr); }

    // The pointer is cleared before the release, so that a release that comes back here finds it
    // null.
    void Reset() {
        if (Interface* object = std::exchange(object_, nullptr)) object->Release();
    }

    // For an operation that stores an added reference. Releases what was held.
    [[nodiscard]] Interface** Put() {
        Reset();
        return &object_;
    }

    // Stores an added reference in *target, which is what an operation with a `**` result does at
    // its end.
    HRESULT CopyTo(Interface** target) const {
        if (!target) return E_POINTER;
        if (object_) object_->AddRef();
        *target = object_;
        return S_OK;
    }

    // Null if the object does not have the interface.
    template <class Other>
    ComPtr<Other> As() const {
        ComPtr<Other> other;
        void* found = nullptr;
        if (object_ && SUCCEEDED(object_->QueryInterface(__uuidof(Other), &found)))
            other.Attach(static_cast<Other*>(found));
        return other;
    }

private:
    Interface* object_ = nullptr;
};

}  // namespace Vimbrel
