// Globally unique identifiers, and __uuidof for interfaces declared with VIMBREL_INTERFACE_ID.
#pragma once

#include <cstdint>
#include <cstring>

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool operator==(REFGUID a, REFGUID b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(REFGUID a, REFGUID b) { return !(a == b); }
inline bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
inline bool IsEqualIID(REFIID a, REFIID b) { return a == b; }

inline constexpr GUID GUID_NULL{};

#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    inline constexpr GUID name {                                     \
        l, w1, w2, { b1, b2, b3, b4, b5, b6, b7, b8 }                \
    }

// Holds the identifier of an interface; specialised beside each interface's declaration.
template <class Interface>
struct VimbrelInterfaceId;

// Declares IID_<type> and makes __uuidof(type) work. Goes at global scope after the interface.
#define VIMBREL_INTERFACE_ID(type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    DEFINE_GUID(IID_##type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8);       \
    template <>                                                               \
    struct VimbrelInterfaceId<type> {                                         \
        static constexpr const GUID& value = IID_##type;                      \
    }

template <class Interface>
struct VimbrelRemoveQualifiers {
    using type = Interface;
};
template <class Interface>
struct VimbrelRemoveQualifiers<Interface&> : VimbrelRemoveQualifiers<Interface> {};
template <class Interface>
struct VimbrelRemoveQualifiers<const Interface> : VimbrelRemoveQualifiers<Interface> {};

#define __uuidof(expression) \
    (VimbrelInterfaceId<typename VimbrelRemoveQualifiers<__typeof__(expression)>::type>::value)
