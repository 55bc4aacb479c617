// The system's header, and the identifier that the toolchain's declaration of an interface lacks.
#pragma once

#include_next <strmif.h>

__CRT_UUID_DECL(ICodecAPI, 0x901db4c7, 0x31ce, 0x41a2, 0x85, 0xdc, 0x8f, 0xa0, 0xbf, 0x41, 0xb8,
                0xda)
