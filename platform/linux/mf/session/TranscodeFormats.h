// Media types and profiles as the pipeline takes them. Why one is refused goes to the log at trace
// level.
#pragma once

#include <mfidl.h>

#include "platform/linux/codec/AudioEncoder.h"
#include "platform/linux/codec/VideoEncoder.h"

namespace Vimbrel {

// MF_E_INVALIDMEDIATYPE for what the pipeline cannot read.
HRESULT ReadVideoInput(IMFMediaType* type, VideoInput& input);
HRESULT ReadAudioInput(IMFMediaType* type, AudioInput& input);

// What a profile leaves open is taken from the input. MF_E_TRANSCODE_NO_MATCHING_ENCODER for
// another codec, MF_E_TRANSCODE_INVALID_PROFILE for what is missing or cannot be.
HRESULT ReadVideoOutput(IMFAttributes* profile, const VideoInput& input, VideoOutput& output);
HRESULT ReadAudioOutput(IMFAttributes* profile, const AudioInput& input, AudioOutput& output);

// Logs why there is no topology, and gives the result back.
HRESULT RefuseTopology(HRESULT result, const char* reason);

}  // namespace Vimbrel
