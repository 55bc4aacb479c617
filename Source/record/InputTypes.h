// The media types of what an application gives to a recorder.
#pragma once

#include <mfobjects.h>
#include <mmreg.h>

#include <cstdint>

#include "com/ComPtr.h"

namespace Vimbrel {

// The format with its own bytes, `format.cbSize` of them; `extra` may be null for none.
HRESULT CreateAudioType(const WAVEFORMATEX& format, const unsigned char* extra,
                        ComPtr<IMFMediaType>& type);

struct VideoInputFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t fps_num = 0;
    std::uint32_t fps_den = 0;
};

// Pixels of 32 bits, top down.
HRESULT CreateVideoType(const VideoInputFormat& format, ComPtr<IMFMediaType>& type);

}  // namespace Vimbrel
