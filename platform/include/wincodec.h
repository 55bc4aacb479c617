// Imaging: decoders, converters, scalers, palettes, metadata queries and the GIF encoder, cut to
// what the library calls.
//
// Objects are made through IWICImagingFactory (class CLSID_WICImagingFactory2) and may be used on
// any thread, one thread at a time each. Object parameters are not null unless said so. Every `**`
// result receives an added reference on success and null on failure. A failing call leaves the
// object as it was.
//
// Limits, so that a small file cannot take gigabytes: a still picture, a GIF's logical screen or a
// frame of a GIF of more than 2^28 pixels is refused with WINCODEC_ERR_IMAGESIZEOUTOFRANGE. A GIF
// whose frames, decoded to 4 bytes a pixel, would take more than half of the memory that is free
// when it is opened is refused with E_OUTOFMEMORY, and the log names the two sizes.
#pragma once

#include "propidl.h"

using WICPixelFormatGUID = GUID;
using REFWICPixelFormatGUID = REFGUID;
using WICColor = UINT;  // 0xAARRGGBB, not premultiplied

struct WICRect {
    INT X;
    INT Y;
    INT Width;
    INT Height;
};

enum WICDecodeOptions {
    WICDecodeMetadataCacheOnDemand = 0,
    WICDecodeMetadataCacheOnLoad = 1,
};

enum WICBitmapDitherType {
    WICBitmapDitherTypeNone = 0,
    WICBitmapDitherTypeErrorDiffusion = 8,
};

enum WICBitmapEncoderCacheOption {
    WICBitmapEncoderCacheInMemory = 0,
    WICBitmapEncoderCacheTempFile = 1,
    WICBitmapEncoderNoCache = 2,
};

enum WICBitmapInterpolationMode {
    WICBitmapInterpolationModeNearestNeighbor = 0,
    WICBitmapInterpolationModeLinear = 1,
    WICBitmapInterpolationModeCubic = 2,
    WICBitmapInterpolationModeFant = 3,
};

enum WICBitmapPaletteType {
    WICBitmapPaletteTypeCustom = 0,
    WICBitmapPaletteTypeMedianCut = 1,
    WICBitmapPaletteTypeFixedHalftone216 = 7,
    WICBitmapPaletteTypeFixedWebPalette = WICBitmapPaletteTypeFixedHalftone216,
};

DEFINE_GUID(CLSID_WICImagingFactory, 0xcacaf262, 0x9370, 0x4615, 0xa1, 0x3b, 0x9f, 0x55, 0x39, 0xda,
            0x4c, 0x0a);
DEFINE_GUID(CLSID_WICImagingFactory1, 0xcacaf262, 0x9370, 0x4615, 0xa1, 0x3b, 0x9f, 0x55, 0x39,
            0xda, 0x4c, 0x0a);
DEFINE_GUID(CLSID_WICImagingFactory2, 0x317d06e8, 0x5f24, 0x433d, 0xbd, 0xf7, 0x79, 0xce, 0x68,
            0xd8, 0xab, 0xc2);

DEFINE_GUID(GUID_VendorMicrosoft, 0xf0e749ca, 0xedef, 0x4589, 0xa7, 0x3a, 0xee, 0x0e, 0x62, 0x6a,
            0x2a, 0x2b);

DEFINE_GUID(GUID_ContainerFormatBmp, 0x0af1d87e, 0xfcfe, 0x4188, 0xbd, 0xeb, 0xa7, 0x90, 0x64, 0x71,
            0xcb, 0xe3);
DEFINE_GUID(GUID_ContainerFormatPng, 0x1b7cfaf4, 0x713f, 0x473c, 0xbb, 0xcd, 0x61, 0x37, 0x42, 0x5f,
            0xae, 0xaf);
DEFINE_GUID(GUID_ContainerFormatJpeg, 0x19e4a5aa, 0x5662, 0x4fc5, 0xa0, 0xc0, 0x17, 0x58, 0x02,
            0x8e, 0x10, 0x57);
DEFINE_GUID(GUID_ContainerFormatTiff, 0x163bcc30, 0xe2e9, 0x4f0b, 0x96, 0x1d, 0xa3, 0xe9, 0xfd,
            0xb7, 0x88, 0xa3);
DEFINE_GUID(GUID_ContainerFormatGif, 0x1f8a5601, 0x7d4d, 0x4cbd, 0x9c, 0x82, 0x1b, 0xc8, 0xd4, 0xee,
            0xb9, 0xa5);
DEFINE_GUID(GUID_ContainerFormatWebp, 0xe094b0e2, 0x67f2, 0x45b3, 0xb0, 0xea, 0x11, 0x53, 0x37,
            0xca, 0x7c, 0xf3);

// Palette indices.
DEFINE_GUID(GUID_WICPixelFormat8bppIndexed, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77,
            0x76, 0x8d, 0xc9, 0x04);
// Bytes blue, green, red, alpha; colours not multiplied with alpha.
DEFINE_GUID(GUID_WICPixelFormat32bppBGRA, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77, 0x76,
            0x8d, 0xc9, 0x0f);
// The same with colours multiplied with alpha.
DEFINE_GUID(GUID_WICPixelFormat32bppPBGRA, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77, 0x76,
            0x8d, 0xc9, 0x10);

struct IPropertyBag2;
struct IWICBitmapSource;

// Up to 256 colours.
struct IWICPalette : IUnknown {
    // E_INVALIDARG for 0 or more than 256 colours.
    virtual HRESULT STDMETHODCALLTYPE InitializeCustom(WICColor* colors, UINT color_count) = 0;
    // The best `color_count` colours for the picture. With `add_transparent` the last of them is
    // fully transparent black, and at index color_count - 1, even where the picture needs fewer
    // colours.
    virtual HRESULT STDMETHODCALLTYPE InitializeFromBitmap(IWICBitmapSource* surface,
                                                           UINT color_count,
                                                           BOOL add_transparent) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetColorCount(UINT* count) = 0;
    // Copies at most `color_count` colours and reports how many.
    virtual HRESULT STDMETHODCALLTYPE GetColors(UINT color_count, WICColor* colors,
                                                UINT* actual) = 0;
    // Whether any colour is not opaque.
    virtual HRESULT STDMETHODCALLTYPE HasAlpha(BOOL* has_alpha) = 0;
};
VIMBREL_INTERFACE_ID(IWICPalette, 0x00000040, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45,
                     0xfb, 0x94);

// Anything that has pixels. Rows are top down.
struct IWICBitmapSource : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetSize(UINT* width, UINT* height) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPixelFormat(WICPixelFormatGUID* format) = 0;
    // Makes `palette` equal to the source's. WINCODEC_ERR_PALETTEUNAVAILABLE if it has none,
    // E_INVALIDARG for null.
    virtual HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) = 0;
    // Writes the pixels of `rect`, of the whole picture if it is null, in the source's pixel
    // format. `stride` is in bytes; `size` is that of the buffer in bytes:
    // WINCODEC_ERR_INSUFFICIENTBUFFER if it cannot hold the rows, E_INVALIDARG if the stride cannot
    // hold a row or the rectangle leaves the picture.
    virtual HRESULT STDMETHODCALLTYPE CopyPixels(const WICRect* rect, UINT stride, UINT size,
                                                 BYTE* pixels) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapSource, 0x00000120, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66,
                     0x45, 0xfb, 0x94);

// Pixels in memory.
struct IWICBitmap : IWICBitmapSource {};
VIMBREL_INTERFACE_ID(IWICBitmap, 0x00000121, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45,
                     0xfb, 0x94);

struct IWICMetadataQueryReader : IUnknown {
    // Replaces *value; the caller frees it with PropVariantClear. WINCODEC_ERR_PROPERTYNOTFOUND if
    // the picture has no such item, WINCODEC_ERR_INVALIDQUERYREQUEST if the path is none. Names in
    // a path are compared without regard to case.
    virtual HRESULT STDMETHODCALLTYPE GetMetadataByName(LPCWSTR path, PROPVARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IWICMetadataQueryReader, 0x30989668, 0xe1c9, 0x4597, 0xb3, 0x95, 0x45, 0x8e,
                     0xed, 0xb8, 0x08, 0xdf);

struct IWICMetadataQueryWriter : IWICMetadataQueryReader {
    // WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE for a value of another type than the item has.
    virtual HRESULT STDMETHODCALLTYPE SetMetadataByName(LPCWSTR path, const PROPVARIANT* value) = 0;
};
VIMBREL_INTERFACE_ID(IWICMetadataQueryWriter, 0xa721791a, 0x0def, 0x4d06, 0xbd, 0x91, 0x21, 0x18,
                     0xbf, 0x1d, 0xb1, 0x0b);

struct IWICBitmapFrameDecode : IWICBitmapSource {
    // WINCODEC_ERR_UNSUPPORTEDOPERATION for formats whose metadata is not read (all but GIF).
    virtual HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapFrameDecode, 0x3b16811b, 0x6a43, 0x4ec9, 0xa8, 0x13, 0x3d, 0x93,
                     0x0c, 0x13, 0xb9, 0x40);

struct IWICBitmapDecoder : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetContainerFormat(GUID* format) = 0;
    // The global palette.
    virtual HRESULT STDMETHODCALLTYPE CopyPalette(IWICPalette* palette) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMetadataQueryReader(IWICMetadataQueryReader** reader) = 0;
    // In a GIF that breaks off, a frame that was begun counts; it fails in GetFrame.
    virtual HRESULT STDMETHODCALLTYPE GetFrameCount(UINT* count) = 0;
    // Decodes the frame: a damaged one fails here, not in CopyPixels. WINCODEC_ERR_FRAMEMISSING
    // beyond the last.
    virtual HRESULT STDMETHODCALLTYPE GetFrame(UINT index, IWICBitmapFrameDecode** frame) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapDecoder, 0x9edde9e7, 0x8dee, 0x47ea, 0x99, 0xdf, 0xe6, 0xfa, 0xf2,
                     0xed, 0x44, 0xbf);

struct IWICFormatConverter : IWICBitmapSource {
    // To GUID_WICPixelFormat32bppPBGRA: palette null. To GUID_WICPixelFormat8bppIndexed: each pixel
    // becomes the nearest colour of `palette`; one whose alpha is below `alpha_threshold` (percent)
    // becomes the palette's transparent colour, if it has one. Other targets:
    // WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT. The source must be an object of this factory.
    virtual HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source,
                                                 REFWICPixelFormatGUID target,
                                                 WICBitmapDitherType dither, IWICPalette* palette,
                                                 double alpha_threshold,
                                                 WICBitmapPaletteType palette_type) = 0;
};
VIMBREL_INTERFACE_ID(IWICFormatConverter, 0x00000301, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66,
                     0x45, 0xfb, 0x94);

struct IWICBitmapScaler : IWICBitmapSource {
    // The source must be an object of this factory; sizes are not 0.
    virtual HRESULT STDMETHODCALLTYPE Initialize(IWICBitmapSource* source, UINT width, UINT height,
                                                 WICBitmapInterpolationMode mode) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapScaler, 0x00000302, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66,
                     0x45, 0xfb, 0x94);

struct IWICStream : IStream {
    // GENERIC_WRITE truncates or makes the file, GENERIC_READ opens one that exists.
    virtual HRESULT STDMETHODCALLTYPE InitializeFromFilename(LPCWSTR name, DWORD access) = 0;
};
VIMBREL_INTERFACE_ID(IWICStream, 0x135ff860, 0x22b7, 0x4ddf, 0xb0, 0xf6, 0x21, 0x8f, 0x4f, 0x29,
                     0x9a, 0x43);

struct IWICBitmapFrameEncode : IUnknown {
    // `options` must be null.
    virtual HRESULT STDMETHODCALLTYPE Initialize(IPropertyBag2* options) = 0;
    // Takes size, pixels and palette from an 8bppIndexed source; `rect` must be null. Later changes
    // of the source's inputs do not reach the frame.
    virtual HRESULT STDMETHODCALLTYPE WriteSource(IWICBitmapSource* source, WICRect* rect) = 0;
    // Ends the frame's pixels. Its delay and transparency may still be set until the next frame is
    // made.
    virtual HRESULT STDMETHODCALLTYPE Commit() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapFrameEncode, 0x00000105, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b,
                     0x66, 0x45, 0xfb, 0x94);

// Writes a GIF. Header and global metadata go out with the first frame; releasing the encoder ends
// the last frame and writes the trailer, with or without Commit.
struct IWICBitmapEncoder : IUnknown {
    // Keeps a reference to `stream`.
    virtual HRESULT STDMETHODCALLTYPE Initialize(IStream* stream,
                                                 WICBitmapEncoderCacheOption cache) = 0;
    // `options` may be null. Ends the frame before it.
    virtual HRESULT STDMETHODCALLTYPE CreateNewFrame(IWICBitmapFrameEncode** frame,
                                                     IPropertyBag2** options) = 0;
    virtual HRESULT STDMETHODCALLTYPE Commit() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMetadataQueryWriter(IWICMetadataQueryWriter** writer) = 0;
};
VIMBREL_INTERFACE_ID(IWICBitmapEncoder, 0x00000103, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66,
                     0x45, 0xfb, 0x94);

struct IWICImagingFactory : IUnknown {
    // `name` is an absolute path with the prefix "\\?\" in front, or any path without it. `vendor`
    // is null. WINCODEC_ERR_COMPONENTNOTFOUND for a file of no known kind.
    virtual HRESULT STDMETHODCALLTYPE CreateDecoderFromFilename(LPCWSTR name, const GUID* vendor,
                                                                DWORD access,
                                                                WICDecodeOptions options,
                                                                IWICBitmapDecoder** decoder) = 0;
    // GUID_ContainerFormatGif only, else WINCODEC_ERR_COMPONENTNOTFOUND. `vendor` may be null.
    virtual HRESULT STDMETHODCALLTYPE CreateEncoder(REFGUID container, const GUID* vendor,
                                                    IWICBitmapEncoder** encoder) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreatePalette(IWICPalette** palette) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateFormatConverter(IWICFormatConverter** converter) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateBitmapScaler(IWICBitmapScaler** scaler) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStream(IWICStream** stream) = 0;
    // Copies the pixels. Formats GUID_WICPixelFormat32bppPBGRA and GUID_WICPixelFormat32bppBGRA;
    // the latter can be scaled only. `stride` and `size` as in CopyPixels.
    virtual HRESULT STDMETHODCALLTYPE CreateBitmapFromMemory(UINT width, UINT height,
                                                             REFWICPixelFormatGUID format,
                                                             UINT stride, UINT size, BYTE* pixels,
                                                             IWICBitmap** bitmap) = 0;
};
VIMBREL_INTERFACE_ID(IWICImagingFactory, 0xec5ec8a9, 0xc395, 0x4314, 0x9c, 0x77, 0x54, 0xd7, 0xa9,
                     0x35, 0xff, 0x70);

struct IWICImagingFactory2 : IWICImagingFactory {};
VIMBREL_INTERFACE_ID(IWICImagingFactory2, 0x7b816b45, 0x1996, 0x4476, 0xb1, 0x32, 0xde, 0x9e, 0x24,
                     0x7c, 0x8a, 0xf0);
