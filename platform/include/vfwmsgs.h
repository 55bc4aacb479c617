// Result codes of filters. Inside the library only.
#pragma once

#include "winerror.h"

inline constexpr HRESULT VFW_S_DUPLICATE_NAME = VimbrelResult(0x0004022Du);
inline constexpr HRESULT VFW_S_STATE_INTERMEDIATE = VimbrelResult(0x00040237u);
inline constexpr HRESULT VFW_S_PARTIAL_RENDER = VimbrelResult(0x00040242u);
inline constexpr HRESULT VFW_S_NO_STOP_TIME = VimbrelResult(0x00040270u);
inline constexpr HRESULT VFW_S_CANT_CUE = VimbrelResult(0x00040268u);
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = VimbrelResult(0x80040200u);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = VimbrelResult(0x80040203u);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = VimbrelResult(0x80040204u);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = VimbrelResult(0x80040207u);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = VimbrelResult(0x80040208u);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = VimbrelResult(0x80040209u);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = VimbrelResult(0x8004020Au);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = VimbrelResult(0x8004020Bu);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = VimbrelResult(0x8004020Du);
inline constexpr HRESULT VFW_E_BADALIGN = VimbrelResult(0x8004020Eu);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = VimbrelResult(0x8004020Fu);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = VimbrelResult(0x80040210u);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = VimbrelResult(0x80040211u);
inline constexpr HRESULT VFW_E_SIZENOTSET = VimbrelResult(0x80040212u);
inline constexpr HRESULT VFW_E_NO_CLOCK = VimbrelResult(0x80040213u);
inline constexpr HRESULT VFW_E_NOT_FOUND = VimbrelResult(0x80040216u);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = VimbrelResult(0x80040217u);
inline constexpr HRESULT VFW_E_CANNOT_RENDER = VimbrelResult(0x80040218u);
inline constexpr HRESULT VFW_E_NOT_STOPPED = VimbrelResult(0x80040224u);
inline constexpr HRESULT VFW_E_WRONG_STATE = VimbrelResult(0x80040227u);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = VimbrelResult(0x8004022Au);
inline constexpr HRESULT VFW_E_DUPLICATE_NAME = VimbrelResult(0x8004022Du);
inline constexpr HRESULT VFW_E_TIMEOUT = VimbrelResult(0x8004022Eu);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = VimbrelResult(0x80040249u);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = VimbrelResult(0x80040251u);
inline constexpr HRESULT VFW_E_NOT_IN_GRAPH = VimbrelResult(0x8004025Fu);
