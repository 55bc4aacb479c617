// Events of a filter graph. Inside the library only.
#pragma once

#include "windef.h"

inline constexpr LONG EC_COMPLETE = 0x01;
inline constexpr LONG EC_USERABORT = 0x02;
inline constexpr LONG EC_ERRORABORT = 0x03;
inline constexpr LONG EC_CLOCK_CHANGED = 0x0D;
inline constexpr LONG EC_PAUSED = 0x0E;
inline constexpr LONG EC_DEVICE_LOST = 0x1F;
