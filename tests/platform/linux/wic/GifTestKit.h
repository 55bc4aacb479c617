// Short ways to the imaging objects.
#pragma once

#include <gtest/gtest.h>
#include <wincodec.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "com/ComPtr.h"
#include "tests/support/GifBuilder.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

ComPtr<IWICImagingFactory2> Factory();
HRESULT OpenGif(const Bytes& bytes, ComPtr<IWICBitmapDecoder>& decoder);
// Fails the test and gives null for a file that is not taken.
ComPtr<IWICBitmapDecoder> OpenedGif(const Bytes& bytes);
UINT CountOf(IWICBitmapDecoder* decoder);
ComPtr<IWICBitmapFrameDecode> FrameOf(IWICBitmapDecoder* decoder, UINT index);
Bytes IndicesOf(IWICBitmapSource* source);
// Premultiplied pixels as 0xAARRGGBB.
std::vector<std::uint32_t> PixelsOf(IWICBitmapSource* source);
std::vector<WICColor> ColorsOf(IWICPalette* palette);

// All frames as 0xAARRGGBB, by another program, which must not complain.
std::vector<std::uint32_t> DecodeWithFfmpeg(const TempFolder& folder, const std::string& name);

// An item as text: "ui1:5", "ui2:7", "bool:1", "text:abc", "bytes:03 01", "missing", or the failure
// in hexadecimal.
std::string ItemText(IWICMetadataQueryReader* reader, const wchar_t* path);

template <class Object>
std::string ItemOf(Object* object, const wchar_t* path) {
    ComPtr<IWICMetadataQueryReader> reader;
    return SUCCEEDED(object->GetMetadataQueryReader(reader.Put())) ? ItemText(reader.Get(), path)
                                                                   : "no reader";
}

ComPtr<IWICBitmap> MakeBitmap(UINT width, UINT height,
                              const std::function<std::uint32_t(UINT x, UINT y)>& pixel);

}  // namespace Vimbrel::test
