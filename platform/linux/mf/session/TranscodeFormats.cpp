#include "platform/linux/mf/session/TranscodeFormats.h"

#include <mfapi.h>

#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

bool HasSubtype(IMFAttributes* attributes, REFGUID wanted) {
    GUID subtype{};
    return SUCCEEDED(attributes->GetGUID(MF_MT_SUBTYPE, &subtype)) && subtype == wanted;
}

}  // namespace

HRESULT RefuseTopology(HRESULT result, const char* reason) {
    APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_TRACE, "transcode topology: %s - 0x%08X", reason,
                  static_cast<unsigned>(result));
    return result;
}

HRESULT ReadVideoInput(IMFMediaType* type, VideoInput& input) {
    if (!HasSubtype(type, MFVideoFormat_RGB32) && !HasSubtype(type, MFVideoFormat_ARGB32)) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE,
                              "frames of the source are not of 32 bits a pixel");
    }
    if (FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &input.width, &input.height)) ||
        input.width == 0 || input.height == 0) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE, "frames of the source have no size");
    }
    if (FAILED(MFGetAttributeRatio(type, MF_MT_FRAME_RATE, &input.fps_num, &input.fps_den)) ||
        input.fps_num == 0 || input.fps_den == 0) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE, "frames of the source have no rate");
    }
    const UINT32 packed = input.width * 4;
    if (MFGetAttributeUINT32(type, MF_MT_DEFAULT_STRIDE, packed) != packed) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE,
                              "rows of the source go bottom up, or have padding");
    }
    return S_OK;
}

HRESULT ReadAudioInput(IMFMediaType* type, AudioInput& input) {
    input.is_float = HasSubtype(type, MFAudioFormat_Float);
    if (!input.is_float && !HasSubtype(type, MFAudioFormat_PCM)) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE, "sound of the source is not PCM");
    }
    input.rate = MFGetAttributeUINT32(type, MF_MT_AUDIO_SAMPLES_PER_SECOND, 0);
    input.channels = MFGetAttributeUINT32(type, MF_MT_AUDIO_NUM_CHANNELS, 0);
    input.bits = MFGetAttributeUINT32(type, MF_MT_AUDIO_BITS_PER_SAMPLE, 0);
    if (input.rate == 0 || input.channels == 0 || input.bits == 0) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE,
                              "sound of the source has no rate, no channels or no bits");
    }
    const UINT32 packed = input.channels * input.bits / 8;
    if (MFGetAttributeUINT32(type, MF_MT_AUDIO_BLOCK_ALIGNMENT, packed) != packed) {
        return RefuseTopology(MF_E_INVALIDMEDIATYPE, "sound of the source has padding");
    }
    return S_OK;
}

HRESULT ReadVideoOutput(IMFAttributes* profile, const VideoInput& input, VideoOutput& output) {
    if (!HasSubtype(profile, MFVideoFormat_H264)) {
        return RefuseTopology(MF_E_TRANSCODE_NO_MATCHING_ENCODER,
                              "pictures are only encoded to H.264");
    }
    output = {.width = input.width,
              .height = input.height,
              .fps_num = input.fps_num,
              .fps_den = input.fps_den};
    MFGetAttributeSize(profile, MF_MT_FRAME_SIZE, &output.width, &output.height);
    MFGetAttributeRatio(profile, MF_MT_FRAME_RATE, &output.fps_num, &output.fps_den);
    output.bit_rate = MFGetAttributeUINT32(profile, MF_MT_AVG_BITRATE, 0);
    constexpr UINT32 main_profile = 77;
    output.profile = MFGetAttributeUINT32(profile, MF_MT_MPEG2_PROFILE, main_profile);
    if (output.width == 0 || output.height == 0 || output.width % 2 != 0 ||
        output.height % 2 != 0) {
        return RefuseTopology(MF_E_TRANSCODE_INVALID_PROFILE,
                              "pictures are only encoded in even sizes above 0");
    }
    if (output.fps_num == 0 || output.fps_den == 0 || output.bit_rate == 0) {
        return RefuseTopology(MF_E_TRANSCODE_INVALID_PROFILE,
                              "the profile has no frame rate or no bit rate");
    }
    return S_OK;
}

HRESULT ReadAudioOutput(IMFAttributes* profile, const AudioInput& input, AudioOutput& output) {
    if (!HasSubtype(profile, MFAudioFormat_AAC)) {
        return RefuseTopology(MF_E_TRANSCODE_NO_MATCHING_ENCODER, "sound is only encoded to AAC");
    }
    output.rate = MFGetAttributeUINT32(profile, MF_MT_AUDIO_SAMPLES_PER_SECOND, input.rate);
    output.channels = MFGetAttributeUINT32(profile, MF_MT_AUDIO_NUM_CHANNELS, input.channels);
    output.bytes_per_second = MFGetAttributeUINT32(profile, MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 0);
    if (output.rate == 0 || output.channels == 0 || output.bytes_per_second == 0) {
        return RefuseTopology(MF_E_TRANSCODE_INVALID_PROFILE,
                              "the profile has no rate, no channels or no bit rate of the sound");
    }
    return S_OK;
}

}  // namespace Vimbrel
