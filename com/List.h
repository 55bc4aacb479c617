// A doubly-linked list around one sentinel node, which follows the last value.
#pragma once

#include <unknwn.h>

#include <cstddef>
#include <new>

namespace Vimbrel {

// NOLINTBEGIN(clang-analyzer-cplusplus.NewDelete): it does not see that no pointer to a removed
// node is left
template <class T>
class List {
public:
    struct Node {
        Node* previous = nullptr;
        Node* next = nullptr;
        T value{};
    };

    List() {
        sentinel.previous = &sentinel;
        sentinel.next = &sentinel;
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    // In front of `before`; in front of End is at the end.
    virtual HRESULT InsertNode(const T& value, Node* before) {
        if (!before) return E_POINTER;
        Node* const node = new (std::nothrow) Node{before->previous, before, value};
        if (!node) return E_OUTOFMEMORY;
        before->previous->next = node;
        before->previous = node;
        ++count;
        return S_OK;
    }

    virtual HRESULT GetNodeValue(Node* node, T* value) {
        if (!node || !value) return E_POINTER;
        if (node == &sentinel) return E_INVALIDARG;
        *value = node->value;
        return S_OK;
    }

    // `value` may be null.
    virtual HRESULT RemoveNode(Node* node, T* value) {
        if (!node) return E_POINTER;
        if (node == &sentinel) return E_INVALIDARG;
        if (value) *value = node->value;
        node->previous->next = node->next;
        node->next->previous = node->previous;
        delete node;
        --count;
        return S_OK;
    }

    virtual ~List() { List::Clear(); }

    virtual void Clear() {
        while (sentinel.next != &sentinel) List::RemoveNode(sentinel.next, nullptr);
    }

    HRESULT PushBack(const T& value) { return InsertNode(value, &sentinel); }
    // E_INVALIDARG if the list is empty.
    HRESULT Front(T* value) { return GetNodeValue(sentinel.next, value); }
    HRESULT PopFront(T* value) { return RemoveNode(sentinel.next, value); }

    Node* Begin() { return sentinel.next; }
    Node* End() { return &sentinel; }
    std::size_t Count() const { return count; }
    bool IsEmpty() const { return count == 0; }

private:
    Node sentinel;
    std::size_t count = 0;
};
// NOLINTEND(clang-analyzer-cplusplus.NewDelete)

}  // namespace Vimbrel
