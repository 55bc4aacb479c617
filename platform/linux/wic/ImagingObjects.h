// Makers of the imaging objects, one per kind, each in the file named after it. Every maker stores
// an added reference on success and null on failure; its result pointer is not null.
#pragma once

#include <wincodec.h>

#include <cstdint>
#include <string>

namespace Vimbrel {

// See the limits in wincodec.h.
inline constexpr std::uint64_t picture_pixel_limit = std::uint64_t{1} << 28;

HRESULT CreateStillDecoder(const std::string& path, IWICBitmapDecoder** decoder);
HRESULT CreateGifDecoder(const std::string& path, IWICBitmapDecoder** decoder);
HRESULT CreateGifEncoder(IWICBitmapEncoder** encoder);
HRESULT CreatePalette(IWICPalette** palette);
HRESULT CreateFormatConverter(IWICFormatConverter** converter);
HRESULT CreateBitmapScaler(IWICBitmapScaler** scaler);
HRESULT CreateFileStream(IWICStream** stream);
// Copies `height` rows of BGRA, premultiplied or `straight`.
HRESULT CreateBitmap(UINT width, UINT height, UINT stride, UINT size, const BYTE* pixels,
                     IWICBitmap** bitmap, bool straight = false);

}  // namespace Vimbrel
