// What stands where in a GIF, found without decoding any picture.
#pragma once

#include <wincodec.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/wic/gif/GifReader.h"
#include "platform/linux/wic/gif/MetadataTable.h"

namespace Vimbrel {

struct GifGraphicControl {
    std::uint16_t delay = 0;
    std::uint8_t disposal = 0;
    bool transparent = false;
    std::uint8_t transparent_index = 0;
};

struct GifFrameEntry {
    std::uint64_t position = 0;  // of the block
    std::uint16_t left = 0;
    std::uint16_t top = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    bool interlaced = false;
    std::optional<GifGraphicControl> control;

    std::uint64_t PixelCount() const { return std::uint64_t{width} * height; }
};

struct GifStructure {
    std::vector<GifFrameEntry>
        frames;  // a last one of size 0 stands for one that the end of the file cut off
    std::vector<WICColor> palette;  // the global one, empty if there is none
    std::shared_ptr<const MetadataTable> metadata;

    // The limits of wincodec.h apply. WINCODEC_ERR_BADHEADER for a file that does not begin as a
    // GIF does, WINCODEC_ERR_BADIMAGE for one without frames.
    HRESULT Scan(const GifFile& file);
};

std::vector<WICColor> ColorsOf(const ColorMapObject* map);

}  // namespace Vimbrel
