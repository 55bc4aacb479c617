// Values of metadata. None of them owns what it points to.
#pragma once

#include <propidl.h>

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

inline PROPVARIANT ByteVector(UCHAR* bytes, std::size_t size) {
    PROPVARIANT value{};
    value.vt = VT_VECTOR | VT_UI1;
    value.caub.cElems = static_cast<ULONG>(size);
    value.caub.pElems = bytes;
    return value;
}

inline PROPVARIANT Text(char* text) {
    PROPVARIANT value{};
    value.vt = VT_LPSTR;
    value.pszVal = text;
    return value;
}

inline PROPVARIANT Word(std::uint32_t number) {
    PROPVARIANT value{};
    value.vt = VT_UI2;
    value.uiVal = static_cast<USHORT>(number);
    return value;
}

inline PROPVARIANT Byte(std::uint8_t number) {
    PROPVARIANT value{};
    value.vt = VT_UI1;
    value.bVal = number;
    return value;
}

inline PROPVARIANT Flag(bool on) {
    PROPVARIANT value{};
    value.vt = VT_BOOL;
    value.boolVal = on ? VARIANT_TRUE : VARIANT_FALSE;
    return value;
}

}  // namespace Vimbrel
