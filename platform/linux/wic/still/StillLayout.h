// What a still's file says of itself, read before a decoder takes memory for it, and whether the
// file is all there: decoders forgive a missing end and would hand out a partly grey picture.
#pragma once

#include <wincodec.h>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "platform/linux/wic/still/ByteView.h"

namespace Vimbrel {

struct StillLayout {
    AVCodecID codec = AV_CODEC_ID_NONE;
    GUID container{};
    UINT width = 0;
    UINT height = 0;
    UINT pages = 1;
    // The file has no alpha, whatever the decoder's pixel format has.
    bool opaque = false;
    // The file's colours are multiplied with alpha.
    bool premultiplied = false;
    // The decoder hands out the four inks as they are (255 is full ink) where it otherwise gives
    // YUV with alpha.
    bool plain_inks = false;
    // A missing end of the pixel data does not show as zeros in the last row.
    bool hidden_tail = false;
};

// WINCODEC_ERR_COMPONENTNOTFOUND for a file of no known kind. `start` may be as little as
// still_signature_size bytes.
inline constexpr std::size_t still_signature_size = 32;
HRESULT IdentifyStill(ByteView start, StillLayout* layout);

// The rest of the layout, from the whole file; `codec` and `container` are set.
// WINCODEC_ERR_IMAGESIZEOUTOFRANGE if the picture is too large, WINCODEC_ERR_BAD* if the file is
// damaged.
HRESULT ReadStillLayout(ByteView file, StillLayout* layout);

HRESULT ReadPngLayout(ByteView file, StillLayout* layout);
HRESULT ReadJpegLayout(ByteView file, StillLayout* layout);
HRESULT ReadBmpLayout(ByteView file, StillLayout* layout);
HRESULT ReadTiffLayout(ByteView file, StillLayout* layout);
HRESULT ReadWebpLayout(ByteView file, StillLayout* layout);

// Takes from the first directory of a TIFF of sound layout what has no bearing on the pixels.
// FFmpeg's decoder, when told to fail for damaged pixels, also fails for every tag that it does not
// know.
void TrimTiffDirectory(std::uint8_t* bytes, std::size_t size);

// S_OK for a size that can be decoded.
HRESULT CheckPictureSize(std::uint64_t width, std::uint64_t height);

}  // namespace Vimbrel
