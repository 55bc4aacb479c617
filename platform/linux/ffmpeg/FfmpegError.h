// FFmpeg's errors as result codes.
#pragma once

#include <winerror.h>

namespace Vimbrel {

// Decoders blame what they read; encoders get nothing but the caller's arguments.
enum class FfmpegUse { decode, encode };

// For a negative AVERROR. `step` names what failed; it goes to the log at trace level together with
// FFmpeg's own words.
HRESULT ResultFromFfmpeg(int error, const char* step, FfmpegUse use = FfmpegUse::decode);

// Added to the level of every message of a context, which makes the least of them (AV_LOG_FATAL)
// less important than AV_LOG_TRACE. So nothing reaches stderr, and a callback that the application
// installed for its own use of FFmpeg stays as it is.
inline constexpr int quiet_log_offset = 64;

}  // namespace Vimbrel
