// One picture of a media file, for thumbnails.
#pragma once

#include <functional>

#include "vimbrel/Export.h"

namespace Vimbrel {

// Calls `callback` with the picture that is shown at that time; a time after the end takes the
// middle of the file. Pixels are BGRA with the top row first, `stride` bytes per row, and valid
// during the call. The thread has started COM. There is no result: a file without pictures makes no
// call.
//
// The callback runs on another thread and may be called more than once before the function returns.
// It must not be empty. There is no limit of time: a file that reaches its end without a picture
// blocks the caller for ever. To run it with a limit, call it on a thread of its own that owns all
// it uses, and have the callback fulfil a std::promise, on whose future the caller waits with
// wait_for.
VIMBREL_API void DSGetVideoFrame(
    const wchar_t* fileName, double seconds, void* userData,
    std::function<void(unsigned char* pixels, int width, int height, int stride, void* userData)>
        callback);

}  // namespace Vimbrel
