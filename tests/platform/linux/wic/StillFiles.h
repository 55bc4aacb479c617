// Short ways to a still picture.
#pragma once

#include <gtest/gtest.h>
#include <wincodec.h>

#include "com/ComPtr.h"
#include "platform/linux/wic/ImagingObjects.h"
#include "tests/support/TempFolder.h"

namespace Vimbrel::test {

// Opens page 0; the result is the first failure.
inline HRESULT OpenStill(const std::string& path, ComPtr<IWICBitmapFrameDecode>* frame) {
    ComPtr<IWICBitmapDecoder> decoder;
    const HRESULT hr = CreateStillDecoder(path, decoder.Put());
    return FAILED(hr) ? hr : decoder->GetFrame(0, frame->Put());
}

inline HRESULT OpenStill(const std::string& path) {
    ComPtr<IWICBitmapFrameDecode> frame;
    return OpenStill(path, &frame);
}

// All pixels; empty after a failure.
inline Bytes CopyAll(IWICBitmapSource* source) {
    UINT width = 0;
    UINT height = 0;
    if (!source || FAILED(source->GetSize(&width, &height))) return {};
    Bytes pixels(std::size_t{width} * height * 4);
    return FAILED(source->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size()),
                                     pixels.data()))
               ? Bytes{}
               : pixels;
}

}  // namespace Vimbrel::test
