// What the tables of names are written with.
#pragma once

#include <cstddef>

constexpr bool Same(const GUID& a, const GUID& b) {
    for (int i = 0; i < 8; ++i) {
        if (a.Data4[i] != b.Data4[i]) return false;
    }
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
}

#define GUID_IS(name, l, w1, w2, ...) \
    static_assert(Same(name, GUID{l, w1, w2, {__VA_ARGS__}}), #name)
#define INTERFACE_IS(type, l, w1, w2, ...) \
    static_assert(Same(__uuidof(type), GUID{l, w1, w2, {__VA_ARGS__}}), #type)
#define VALUE_IS(name, value) static_assert(static_cast<unsigned long long>(name) == (value), #name)
#define RESULT_IS(name, value) static_assert(static_cast<unsigned>(name) == (value), #name)
#define SIZE_IS(type, size) static_assert(sizeof(type) == (size), #type)
#define OFFSET_IS(type, member, offset) \
    static_assert(offsetof(type, member) == (offset), #type "::" #member)
