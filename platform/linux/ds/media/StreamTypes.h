// Media types of compressed streams and FFmpeg's description of the same.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filters/MediaType.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Major type of subtitles.
inline constexpr GUID media_type_subtitle{
    0xE487EB08, 0x6B26, 0x4BE9, {0x9D, 0xD3, 0x99, 0x34, 0x34, 0xD3, 0x13, 0xFD}};

// A font that a container brings along.
struct EmbeddedFont {
    std::string name;
    std::vector<std::uint8_t> data;
};

// What a decoder needs to know of a stream.
struct StreamDescription {
    FfmpegPtr<AVCodecParameters> parameters{avcodec_parameters_alloc()};
    REFERENCE_TIME frame_time = 0;  // per picture; 0 if unknown
    int rotation = 0;               // clockwise, by which pictures are shown: 0, 90, 180 or 270
    // Of the container; null for other streams than subtitles.
    std::shared_ptr<const std::vector<EmbeddedFont>> fonts;

    StreamDescription() = default;
    StreamDescription(const StreamDescription& other) { *this = other; }
    StreamDescription& operator=(const StreamDescription& other);
};

// Pictures have FORMAT_VideoInfo2, sound FORMAT_WaveFormatEx, each followed by the codec's set-up
// data. Subtitles have no format.
CMediaType TypeOfStream(const StreamDescription& stream);

// From a type alone, as of a camera. VFW_E_TYPE_NOT_ACCEPTED for one that names no known codec.
HRESULT DescribeType(const CMediaType& type, StreamDescription& stream);

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Of an output pin whose stream is known better than a media type says. The pin keeps what it
// returns unchanged while its filter streams; a switch of streams comes with a sample's type.
struct ICodecStream : IUnknown {
    virtual StreamDescription Describe() = 0;
};

// Of a sample that holds a packet. Its times are stream time in units of 100 nanoseconds, already
// divided by the rate.
struct IPacketSample : IUnknown {
    virtual const AVPacket* Packet() = 0;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel

template <>
struct VimbrelInterfaceId<Vimbrel::ICodecStream> {
    static constexpr GUID value{
        0x0c1f3a52, 0x7f0e, 0x4b36, {0x9a, 0x52, 0x1e, 0x9d, 0x5b, 0x6e, 0x3a, 0x41}};
};
template <>
struct VimbrelInterfaceId<Vimbrel::IPacketSample> {
    static constexpr GUID value{
        0x0c1f3a53, 0x7f0e, 0x4b36, {0x9a, 0x52, 0x1e, 0x9d, 0x5b, 0x6e, 0x3a, 0x41}};
};
