// WAVEFORMATEX and libpulse's description of a stream.
#pragma once

#include <mmreg.h>
#include <pulse/channelmap.h>
#include <pulse/sample.h>
#include <windows.h>

namespace Vimbrel {

struct StreamFormat {
    pa_sample_spec samples;
    pa_channel_map channels;  // in the order of WAVE files

    // AUDCLNT_E_UNSUPPORTED_FORMAT for what the server has no form of: other tags than PCM of 8,
    // 16, 24 or 32 bits and 32-bit floats, plain or extensible, more than 8 channels, and rates
    // above its limit.
    static HRESULT From(const WAVEFORMATEX& format, StreamFormat& stream);
};

}  // namespace Vimbrel
