#include "platform/linux/pulse/StreamFormat.h"

#include <audioclient.h>
#include <ksmedia.h>

#include <iterator>

#include "base/ChannelMask.h"

namespace Vimbrel {

namespace {

constexpr unsigned max_channels = 8;

// The tag of a plain format, or the one that an extensible format stands for; 0 for others.
WORD PlainTag(const WAVEFORMATEX& format) {
    if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE) return format.wFormatTag;
    if (format.cbSize < sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX)) return 0;
    const auto& extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
    if (extensible.SubFormat == KSDATAFORMAT_SUBTYPE_PCM) return WAVE_FORMAT_PCM;
    if (extensible.SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT) return WAVE_FORMAT_IEEE_FLOAT;
    return 0;
}

pa_sample_format_t SampleFormat(WORD tag, WORD bits) {
    if (tag == WAVE_FORMAT_IEEE_FLOAT) return bits == 32 ? PA_SAMPLE_FLOAT32LE : PA_SAMPLE_INVALID;
    if (tag != WAVE_FORMAT_PCM) return PA_SAMPLE_INVALID;
    switch (bits) {
        case 8:
            return PA_SAMPLE_U8;
        case 16:
            return PA_SAMPLE_S16LE;
        case 24:
            return PA_SAMPLE_S24LE;
        case 32:
            return PA_SAMPLE_S32LE;
        default:
            return PA_SAMPLE_INVALID;
    }
}

// The server's own map for a count would have other places: without gaps between them.
void SetPlaces(pa_channel_map& map, std::uint8_t channels) {
    // By the bits of a mask.
    constexpr pa_channel_position_t places[] = {
        PA_CHANNEL_POSITION_FRONT_LEFT,
        PA_CHANNEL_POSITION_FRONT_RIGHT,
        PA_CHANNEL_POSITION_FRONT_CENTER,
        PA_CHANNEL_POSITION_LFE,
        PA_CHANNEL_POSITION_REAR_LEFT,
        PA_CHANNEL_POSITION_REAR_RIGHT,
        PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
        PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
        PA_CHANNEL_POSITION_REAR_CENTER,
        PA_CHANNEL_POSITION_SIDE_LEFT,
        PA_CHANNEL_POSITION_SIDE_RIGHT,
    };
    // A single channel is not the one in the middle but all of them.
    if (channels == 1) {
        pa_channel_map_init_mono(&map);
        return;
    }
    pa_channel_map_init(&map);
    const std::uint32_t mask = ChannelMask(channels);
    for (unsigned bit = 0; bit < std::size(places); ++bit) {
        if (mask & 1u << bit) map.map[map.channels++] = places[bit];
    }
}

}  // namespace

HRESULT StreamFormat::From(const WAVEFORMATEX& format, StreamFormat& stream) {
    stream.samples.format = SampleFormat(PlainTag(format), format.wBitsPerSample);
    stream.samples.rate = format.nSamplesPerSec;
    stream.samples.channels = static_cast<std::uint8_t>(format.nChannels);
    if (format.nChannels > max_channels || !pa_sample_spec_valid(&stream.samples) ||
        pa_frame_size(&stream.samples) != format.nBlockAlign)
        return AUDCLNT_E_UNSUPPORTED_FORMAT;
    SetPlaces(stream.channels, stream.samples.channels);
    return S_OK;
}

}  // namespace Vimbrel
