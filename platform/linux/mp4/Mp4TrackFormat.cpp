#include "platform/linux/mp4/Mp4TrackFormat.h"

namespace Vimbrel {

namespace {

void PutVideoEntry(const Mp4TrackFormat& format, Mp4Boxes& boxes) {
    const Mp4Boxes::Scope avc1(boxes, "avc1");
    boxes.PutZeros(6);
    boxes.Put16(1);  // the file itself
    boxes.PutZeros(16);
    boxes.Put16(format.width);
    boxes.Put16(format.height);
    boxes.Put32(72u << 16);  // dots per inch, by convention
    boxes.Put32(72u << 16);
    boxes.Put32(0);
    boxes.Put16(1);
    boxes.PutZeros(32);
    boxes.Put16(24);
    boxes.Put16(0xFFFF);
    {
        const Mp4Boxes::Scope avcc(boxes, "avcC");
        boxes.PutBytes(format.configuration);
    }
    {
        const Mp4Boxes::Scope colr(boxes, "colr");
        boxes.PutText("nclx");
        boxes.Put16(1);  // primaries and transfer of BT.709, which screens have
        boxes.Put16(1);
        boxes.Put16(format.bt709 ? 1 : 6);
        boxes.Put8(0);  // limited range
    }
    const Mp4Boxes::Scope pasp(boxes, "pasp");
    boxes.Put32(1);
    boxes.Put32(1);
}

void PutSoundEntry(const Mp4TrackFormat& format, Mp4Boxes& boxes) {
    const Mp4Boxes::Scope mp4a(boxes, "mp4a");
    boxes.PutZeros(6);
    boxes.Put16(1);  // the file itself
    boxes.PutZeros(8);
    boxes.Put16(format.channels);
    boxes.Put16(16);
    boxes.Put32(0);
    // A rate that does not fit is left to the decoder's configuration.
    boxes.Put32(format.timescale <= 0xFFFF ? format.timescale << 16 : 0);

    const Mp4Boxes::Scope esds(boxes, "esds", 0, 0);
    // Descriptors: a tag, a length of one byte, the content.
    const auto config_size = static_cast<std::uint8_t>(format.configuration.size());
    constexpr std::uint8_t decoder_fields = 13;
    const auto decoder_size = static_cast<std::uint8_t>(decoder_fields + 2 + config_size);
    boxes.Put8(3);
    boxes.Put8(static_cast<std::uint8_t>(3 + 2 + decoder_size + 3));
    boxes.Put16(0);
    boxes.Put8(0);
    boxes.Put8(4);
    boxes.Put8(decoder_size);
    boxes.Put8(0x40);        // MPEG-4 audio
    boxes.Put8(5 << 2 | 1);  // audio stream
    boxes.PutZeros(3);
    boxes.Put32(format.bytes_per_second * 8);
    boxes.Put32(format.bytes_per_second * 8);
    boxes.Put8(5);
    boxes.Put8(config_size);
    boxes.PutBytes(format.configuration);
    boxes.Put8(6);
    boxes.Put8(1);
    boxes.Put8(2);
}

}  // namespace

void PutSampleDescription(const Mp4TrackFormat& format, Mp4Boxes& boxes) {
    const Mp4Boxes::Scope stsd(boxes, "stsd", 0, 0);
    boxes.Put32(1);
    if (format.video) {
        PutVideoEntry(format, boxes);
    } else {
        PutSoundEntry(format, boxes);
    }
}

}  // namespace Vimbrel
