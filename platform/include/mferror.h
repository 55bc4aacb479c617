// Result codes of the media pipeline. Inside the library only.
#pragma once

#include "winerror.h"

inline constexpr HRESULT MF_E_PLATFORM_NOT_INITIALIZED = VimbrelResult(0xC00D36B0u);
inline constexpr HRESULT MF_E_BUFFERTOOSMALL = VimbrelResult(0xC00D36B1u);
inline constexpr HRESULT MF_E_INVALIDREQUEST = VimbrelResult(0xC00D36B2u);
inline constexpr HRESULT MF_E_INVALIDSTREAMNUMBER = VimbrelResult(0xC00D36B3u);
inline constexpr HRESULT MF_E_INVALIDMEDIATYPE = VimbrelResult(0xC00D36B4u);
inline constexpr HRESULT MF_E_NOTACCEPTING = VimbrelResult(0xC00D36B5u);
inline constexpr HRESULT MF_E_NOT_INITIALIZED = VimbrelResult(0xC00D36B6u);
inline constexpr HRESULT MF_E_NO_MORE_TYPES = VimbrelResult(0xC00D36B9u);
inline constexpr HRESULT MF_E_INVALIDTYPE = VimbrelResult(0xC00D36BDu);
inline constexpr HRESULT MF_E_INVALIDINDEX = VimbrelResult(0xC00D36BFu);
inline constexpr HRESULT MF_E_UNSUPPORTED_TIME_FORMAT = VimbrelResult(0xC00D36C5u);
inline constexpr HRESULT MF_E_NO_SAMPLE_TIMESTAMP = VimbrelResult(0xC00D36C8u);
inline constexpr HRESULT MF_E_NO_SAMPLE_DURATION = VimbrelResult(0xC00D36C9u);
inline constexpr HRESULT MF_E_NO_CLOCK = VimbrelResult(0xC00D36D7u);
inline constexpr HRESULT MF_S_MULTIPLE_BEGIN = VimbrelResult(0x000D36D8u);
inline constexpr HRESULT MF_E_MULTIPLE_BEGIN = VimbrelResult(0xC00D36D9u);
inline constexpr HRESULT MF_E_MULTIPLE_SUBSCRIBERS = VimbrelResult(0xC00D36DAu);
inline constexpr HRESULT MF_E_BAD_STARTUP_VERSION = VimbrelResult(0xC00D36E3u);
inline constexpr HRESULT MF_E_ATTRIBUTENOTFOUND = VimbrelResult(0xC00D36E6u);
inline constexpr HRESULT MF_E_INVALID_WORKQUEUE = VimbrelResult(0xC00D36FFu);
inline constexpr HRESULT MF_E_NO_EVENTS_AVAILABLE = VimbrelResult(0xC00D3E80u);
inline constexpr HRESULT MF_E_INVALID_STATE_TRANSITION = VimbrelResult(0xC00D3E82u);
inline constexpr HRESULT MF_E_END_OF_STREAM = VimbrelResult(0xC00D3E84u);
inline constexpr HRESULT MF_E_SHUTDOWN = VimbrelResult(0xC00D3E85u);
inline constexpr HRESULT MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED = VimbrelResult(0xC00D3E9Cu);
inline constexpr HRESULT MF_E_SINK_NO_SAMPLES_PROCESSED = VimbrelResult(0xC00D4A44u);
inline constexpr HRESULT MF_E_TOPO_UNSUPPORTED = VimbrelResult(0xC00D5214u);
inline constexpr HRESULT MF_E_TRANSCODE_NO_CONTAINERTYPE = VimbrelResult(0xC00DA410u);
inline constexpr HRESULT MF_E_TRANSCODE_PROFILE_NO_MATCHING_STREAMS = VimbrelResult(0xC00DA411u);
inline constexpr HRESULT MF_E_TRANSCODE_NO_MATCHING_ENCODER = VimbrelResult(0xC00DA412u);
inline constexpr HRESULT MF_E_TRANSCODE_INVALID_PROFILE = VimbrelResult(0xC00DA413u);
inline constexpr HRESULT MF_E_TRANSFORM_TYPE_NOT_SET = VimbrelResult(0xC00D6D60u);
inline constexpr HRESULT MF_E_TRANSFORM_STREAM_CHANGE = VimbrelResult(0xC00D6D61u);
inline constexpr HRESULT MF_E_TRANSFORM_NEED_MORE_INPUT = VimbrelResult(0xC00D6D72u);
inline constexpr HRESULT MF_E_TRANSFORM_ASYNC_LOCKED = VimbrelResult(0xC00D6D77u);
