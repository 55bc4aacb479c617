#include "platform/linux/ds/media/StreamTypes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace Vimbrel {

namespace {

// A published subtype: a four-character code or a format tag in the base identifier.
GUID SubtypeOf(std::uint32_t code) {
    GUID subtype = MEDIASUBTYPE_PCM;
    subtype.Data1 = code;
    return subtype;
}

const AVCodecTag* const* Tags(AVMediaType kind) {
    static const AVCodecTag* const pictures[] = {avformat_get_riff_video_tags(), nullptr};
    static const AVCodecTag* const sound[] = {avformat_get_riff_audio_tags(), nullptr};
    return kind == AVMEDIA_TYPE_VIDEO ? pictures : sound;
}

std::uint32_t TagOf(const AVCodecParameters& parameters) {
    if (parameters.codec_id == AV_CODEC_ID_MJPEG) return MKTAG('M', 'J', 'P', 'G');
    const std::uint32_t tag = av_codec_get_tag(Tags(parameters.codec_type), parameters.codec_id);
    return tag != 0 ? tag : 0x10000u + static_cast<std::uint32_t>(parameters.codec_id);
}

void AppendExtra(CMediaType& type, REFGUID format, void* header, std::size_t size,
                 const AVCodecParameters& parameters) {
    const auto extra = static_cast<std::size_t>(parameters.extradata_size);
    std::vector<std::uint8_t> block(size + extra);
    std::memcpy(block.data(), header, size);
    if (extra != 0) std::memcpy(block.data() + size, parameters.extradata, extra);
    type.SetFormat(format, block.data(), static_cast<ULONG>(block.size()));
}

void SetPictureFormat(CMediaType& type, const StreamDescription& stream) {
    const AVCodecParameters& parameters = *stream.parameters;
    VIDEOINFOHEADER2 info{};
    info.dwBitRate = static_cast<DWORD>(parameters.bit_rate);
    info.AvgTimePerFrame = stream.frame_time;
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = parameters.width;
    info.bmiHeader.biHeight = parameters.height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = type.subtype.Data1;
    AppendExtra(type, FORMAT_VideoInfo2, &info, sizeof info, parameters);
}

void SetSoundFormat(CMediaType& type, const AVCodecParameters& parameters) {
    WAVEFORMATEX format{};
    format.wFormatTag = static_cast<WORD>(type.subtype.Data1);
    format.nChannels = static_cast<WORD>(parameters.ch_layout.nb_channels);
    format.nSamplesPerSec = static_cast<DWORD>(parameters.sample_rate);
    format.nAvgBytesPerSec = static_cast<DWORD>(parameters.bit_rate / 8);
    format.nBlockAlign = static_cast<WORD>(parameters.block_align);
    format.wBitsPerSample = static_cast<WORD>(parameters.bits_per_coded_sample);
    format.cbSize = static_cast<WORD>(parameters.extradata_size);
    AppendExtra(type, FORMAT_WaveFormatEx, &format, sizeof format, parameters);
}

HRESULT SetExtra(AVCodecParameters& parameters, const CMediaType& type, std::size_t header) {
    if (type.cbFormat <= header) return S_OK;
    const std::size_t size = type.cbFormat - header;
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata) return E_OUTOFMEMORY;
    std::memcpy(parameters.extradata, type.pbFormat + header, size);
    parameters.extradata_size = static_cast<int>(size);
    return S_OK;
}

}  // namespace

StreamDescription& StreamDescription::operator=(const StreamDescription& other) {
    if (&other == this) return *this;
    avcodec_parameters_copy(parameters.get(), other.parameters.get());
    frame_time = other.frame_time;
    rotation = other.rotation;
    fonts = other.fonts;
    return *this;
}

CMediaType TypeOfStream(const StreamDescription& stream) {
    const AVCodecParameters& parameters = *stream.parameters;
    CMediaType type;
    type.bTemporalCompression = TRUE;
    switch (parameters.codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            type.majortype = MEDIATYPE_Video;
            type.subtype = SubtypeOf(TagOf(parameters));
            SetPictureFormat(type, stream);
            break;
        case AVMEDIA_TYPE_AUDIO:
            type.majortype = MEDIATYPE_Audio;
            type.subtype = SubtypeOf(TagOf(parameters));
            SetSoundFormat(type, parameters);
            break;
        default:
            type.majortype = media_type_subtitle;
            type.subtype = SubtypeOf(0x10000u + static_cast<std::uint32_t>(parameters.codec_id));
            type.formattype = FORMAT_None;
            break;
    }
    return type;
}

HRESULT DescribeType(const CMediaType& type, StreamDescription& stream) {
    AVCodecParameters& parameters = *stream.parameters;
    if (!(type.subtype == SubtypeOf(type.subtype.Data1))) return VFW_E_TYPE_NOT_ACCEPTED;
    const bool sound = type.majortype == MEDIATYPE_Audio;
    parameters.codec_type = sound ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = av_codec_get_id(Tags(parameters.codec_type), type.subtype.Data1);
    if (parameters.codec_id == AV_CODEC_ID_NONE) return VFW_E_TYPE_NOT_ACCEPTED;
    if (sound) {
        const auto* const format = type.FormatAs<WAVEFORMATEX>(FORMAT_WaveFormatEx);
        if (!format || format->nChannels == 0) return VFW_E_TYPE_NOT_ACCEPTED;
        av_channel_layout_default(&parameters.ch_layout, format->nChannels);
        parameters.sample_rate = static_cast<int>(format->nSamplesPerSec);
        parameters.block_align = format->nBlockAlign;
        parameters.bits_per_coded_sample = format->wBitsPerSample;
        return SetExtra(parameters, type, sizeof *format);
    }
    const BITMAPINFOHEADER* header = nullptr;
    std::size_t size = 0;
    if (const auto* const info = type.FormatAs<VIDEOINFOHEADER>(FORMAT_VideoInfo)) {
        header = &info->bmiHeader;
        stream.frame_time = info->AvgTimePerFrame;
        size = sizeof *info;
    } else if (const auto* const info2 = type.FormatAs<VIDEOINFOHEADER2>(FORMAT_VideoInfo2)) {
        header = &info2->bmiHeader;
        stream.frame_time = info2->AvgTimePerFrame;
        size = sizeof *info2;
    }
    if (!header) return VFW_E_TYPE_NOT_ACCEPTED;
    parameters.codec_tag = type.subtype.Data1;
    parameters.width = header->biWidth;
    // The lowest number has no magnitude.
    parameters.height =
        std::abs(std::max<LONG>(header->biHeight, -std::numeric_limits<LONG>::max()));
    parameters.bits_per_coded_sample = header->biBitCount;
    return SetExtra(parameters, type, size);
}

}  // namespace Vimbrel
