// The names of platform/include against the published values. This file is compiled for every platform: on Windows against the
// system's own headers, elsewhere against this project's. As both have to equal one table, they equal each other.
#include <windows.h>

#include <stringapiset.h>

#include <mmreg.h>
#include <mmsystem.h>
#include <objbase.h>
#include <propidl.h>

#include <cstddef>

// The imaging header declares its identifiers through this macro; as constant expressions they can be compared here.
#undef DEFINE_GUID
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
#include <wincodec.h>

namespace {

constexpr bool Same(const GUID& a, const GUID& b) {
    for (int i = 0; i < 8; ++i) {
        if (a.Data4[i] != b.Data4[i]) return false;
    }
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3;
}

#define GUID_IS(name, l, w1, w2, ...) static_assert(Same(name, GUID{l, w1, w2, {__VA_ARGS__}}), #name)
#define INTERFACE_IS(type, l, w1, w2, ...) static_assert(Same(__uuidof(type), GUID{l, w1, w2, {__VA_ARGS__}}), #type)
#define VALUE_IS(name, value) static_assert(static_cast<unsigned long long>(name) == (value), #name)
#define RESULT_IS(name, value) static_assert(static_cast<unsigned>(name) == (value), #name)
#define SIZE_IS(type, size) static_assert(sizeof(type) == (size), #type)
#define OFFSET_IS(type, member, offset) static_assert(offsetof(type, member) == (offset), #type "::" #member)

INTERFACE_IS(IUnknown, 0x00000000, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
INTERFACE_IS(ISequentialStream, 0x0c733a30, 0x2a1c, 0x11ce, 0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d);
INTERFACE_IS(IStream, 0x0000000c, 0x0000, 0x0000, 0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
GUID_IS(CLSID_WICImagingFactory, 0xcacaf262, 0x9370, 0x4615, 0xa1, 0x3b, 0x9f, 0x55, 0x39, 0xda, 0x4c, 0x0a);
GUID_IS(CLSID_WICImagingFactory1, 0xcacaf262, 0x9370, 0x4615, 0xa1, 0x3b, 0x9f, 0x55, 0x39, 0xda, 0x4c, 0x0a);
GUID_IS(CLSID_WICImagingFactory2, 0x317d06e8, 0x5f24, 0x433d, 0xbd, 0xf7, 0x79, 0xce, 0x68, 0xd8, 0xab, 0xc2);
GUID_IS(GUID_VendorMicrosoft, 0xf0e749ca, 0xedef, 0x4589, 0xa7, 0x3a, 0xee, 0x0e, 0x62, 0x6a, 0x2a, 0x2b);
GUID_IS(GUID_ContainerFormatBmp, 0x0af1d87e, 0xfcfe, 0x4188, 0xbd, 0xeb, 0xa7, 0x90, 0x64, 0x71, 0xcb, 0xe3);
GUID_IS(GUID_ContainerFormatPng, 0x1b7cfaf4, 0x713f, 0x473c, 0xbb, 0xcd, 0x61, 0x37, 0x42, 0x5f, 0xae, 0xaf);
GUID_IS(GUID_ContainerFormatJpeg, 0x19e4a5aa, 0x5662, 0x4fc5, 0xa0, 0xc0, 0x17, 0x58, 0x02, 0x8e, 0x10, 0x57);
GUID_IS(GUID_ContainerFormatTiff, 0x163bcc30, 0xe2e9, 0x4f0b, 0x96, 0x1d, 0xa3, 0xe9, 0xfd, 0xb7, 0x88, 0xa3);
GUID_IS(GUID_ContainerFormatGif, 0x1f8a5601, 0x7d4d, 0x4cbd, 0x9c, 0x82, 0x1b, 0xc8, 0xd4, 0xee, 0xb9, 0xa5);
GUID_IS(GUID_ContainerFormatWebp, 0xe094b0e2, 0x67f2, 0x45b3, 0xb0, 0xea, 0x11, 0x53, 0x37, 0xca, 0x7c, 0xf3);
GUID_IS(GUID_WICPixelFormat8bppIndexed, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77, 0x76, 0x8d, 0xc9, 0x04);
GUID_IS(GUID_WICPixelFormat32bppBGRA, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77, 0x76, 0x8d, 0xc9, 0x0f);
GUID_IS(GUID_WICPixelFormat32bppPBGRA, 0x6fddc324, 0x4e03, 0x4bfe, 0xb1, 0x85, 0x3d, 0x77, 0x76, 0x8d, 0xc9, 0x10);
INTERFACE_IS(IWICPalette, 0x00000040, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICBitmapSource, 0x00000120, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICBitmap, 0x00000121, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICMetadataQueryReader, 0x30989668, 0xe1c9, 0x4597, 0xb3, 0x95, 0x45, 0x8e, 0xed, 0xb8, 0x08, 0xdf);
INTERFACE_IS(IWICMetadataQueryWriter, 0xa721791a, 0x0def, 0x4d06, 0xbd, 0x91, 0x21, 0x18, 0xbf, 0x1d, 0xb1, 0x0b);
INTERFACE_IS(IWICBitmapFrameDecode, 0x3b16811b, 0x6a43, 0x4ec9, 0xa8, 0x13, 0x3d, 0x93, 0x0c, 0x13, 0xb9, 0x40);
INTERFACE_IS(IWICBitmapDecoder, 0x9edde9e7, 0x8dee, 0x47ea, 0x99, 0xdf, 0xe6, 0xfa, 0xf2, 0xed, 0x44, 0xbf);
INTERFACE_IS(IWICFormatConverter, 0x00000301, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICBitmapScaler, 0x00000302, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICStream, 0x135ff860, 0x22b7, 0x4ddf, 0xb0, 0xf6, 0x21, 0x8f, 0x4f, 0x29, 0x9a, 0x43);
INTERFACE_IS(IWICBitmapFrameEncode, 0x00000105, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICBitmapEncoder, 0x00000103, 0xa8f2, 0x4877, 0xba, 0x0a, 0xfd, 0x2b, 0x66, 0x45, 0xfb, 0x94);
INTERFACE_IS(IWICImagingFactory, 0xec5ec8a9, 0xc395, 0x4314, 0x9c, 0x77, 0x54, 0xd7, 0xa9, 0x35, 0xff, 0x70);
INTERFACE_IS(IWICImagingFactory2, 0x7b816b45, 0x1996, 0x4476, 0xb1, 0x32, 0xde, 0x9e, 0x24, 0x7c, 0x8a, 0xf0);

RESULT_IS(S_OK, 0u);
RESULT_IS(S_FALSE, 1u);
RESULT_IS(E_NOTIMPL, 0x80004001u);
RESULT_IS(E_NOINTERFACE, 0x80004002u);
RESULT_IS(E_POINTER, 0x80004003u);
RESULT_IS(E_ABORT, 0x80004004u);
RESULT_IS(E_FAIL, 0x80004005u);
RESULT_IS(E_UNEXPECTED, 0x8000FFFFu);
RESULT_IS(E_ACCESSDENIED, 0x80070005u);
RESULT_IS(E_OUTOFMEMORY, 0x8007000Eu);
RESULT_IS(E_INVALIDARG, 0x80070057u);
RESULT_IS(CLASS_E_NOAGGREGATION, 0x80040110u);
RESULT_IS(REGDB_E_CLASSNOTREG, 0x80040154u);
RESULT_IS(CO_E_NOTINITIALIZED, 0x800401F0u);
RESULT_IS(RPC_E_CHANGED_MODE, 0x80010106u);
RESULT_IS(WINCODEC_ERR_WRONGSTATE, 0x88982F04u);
RESULT_IS(WINCODEC_ERR_VALUEOUTOFRANGE, 0x88982F05u);
RESULT_IS(WINCODEC_ERR_UNKNOWNIMAGEFORMAT, 0x88982F07u);
RESULT_IS(WINCODEC_ERR_NOTINITIALIZED, 0x88982F0Cu);
RESULT_IS(WINCODEC_ERR_PROPERTYNOTFOUND, 0x88982F40u);
RESULT_IS(WINCODEC_ERR_CODECTOOMANYSCANLINES, 0x88982F46u);
RESULT_IS(WINCODEC_ERR_SOURCERECTDOESNOTMATCHDIMENSIONS, 0x88982F49u);
RESULT_IS(WINCODEC_ERR_PALETTEUNAVAILABLE, 0x88982F45u);
RESULT_IS(WINCODEC_ERR_IMAGESIZEOUTOFRANGE, 0x88982F51u);
RESULT_IS(WINCODEC_ERR_COMPONENTNOTFOUND, 0x88982F50u);
RESULT_IS(WINCODEC_ERR_BADIMAGE, 0x88982F60u);
RESULT_IS(WINCODEC_ERR_BADHEADER, 0x88982F61u);
RESULT_IS(WINCODEC_ERR_FRAMEMISSING, 0x88982F62u);
RESULT_IS(WINCODEC_ERR_BADMETADATAHEADER, 0x88982F63u);
RESULT_IS(WINCODEC_ERR_BADSTREAMDATA, 0x88982F70u);
RESULT_IS(WINCODEC_ERR_STREAMWRITE, 0x88982F71u);
RESULT_IS(WINCODEC_ERR_STREAMREAD, 0x88982F72u);
RESULT_IS(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, 0x88982F80u);
RESULT_IS(WINCODEC_ERR_UNSUPPORTEDOPERATION, 0x88982F81u);
RESULT_IS(WINCODEC_ERR_INSUFFICIENTBUFFER, 0x88982F8Cu);
RESULT_IS(WINCODEC_ERR_PROPERTYUNEXPECTEDTYPE, 0x88982F8Eu);
RESULT_IS(WINCODEC_ERR_INVALIDQUERYREQUEST, 0x88982F90u);
RESULT_IS(WINCODEC_ERR_UNEXPECTEDMETADATATYPE, 0x88982F91u);
RESULT_IS(WINCODEC_ERR_WIN32ERROR, 0x88982F94u);
VALUE_IS(ERROR_SUCCESS, 0u);
VALUE_IS(ERROR_FILE_NOT_FOUND, 2u);
VALUE_IS(ERROR_PATH_NOT_FOUND, 3u);
VALUE_IS(ERROR_TOO_MANY_OPEN_FILES, 4u);
VALUE_IS(ERROR_ACCESS_DENIED, 5u);
VALUE_IS(ERROR_WRITE_FAULT, 29u);
VALUE_IS(ERROR_READ_FAULT, 30u);
VALUE_IS(ERROR_GEN_FAILURE, 31u);
VALUE_IS(ERROR_DISK_FULL, 112u);
VALUE_IS(ERROR_FILENAME_EXCED_RANGE, 206u);
RESULT_IS(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), 0x80070002u);

VALUE_IS(COINIT_MULTITHREADED, 0x0);
VALUE_IS(COINIT_APARTMENTTHREADED, 0x2);
VALUE_IS(COINIT_DISABLE_OLE1DDE, 0x4);
VALUE_IS(COINIT_SPEED_OVER_MEMORY, 0x8);
VALUE_IS(CLSCTX_INPROC_SERVER, 0x1);
VALUE_IS(CLSCTX_ALL, 0x17);
VALUE_IS(VT_EMPTY, 0);
VALUE_IS(VT_NULL, 1);
VALUE_IS(VT_I2, 2);
VALUE_IS(VT_I4, 3);
VALUE_IS(VT_R4, 4);
VALUE_IS(VT_R8, 5);
VALUE_IS(VT_BOOL, 11);
VALUE_IS(VT_UI1, 17);
VALUE_IS(VT_UI2, 18);
VALUE_IS(VT_UI4, 19);
VALUE_IS(VT_I8, 20);
VALUE_IS(VT_UI8, 21);
VALUE_IS(VT_LPSTR, 30);
VALUE_IS(VT_LPWSTR, 31);
VALUE_IS(VT_CLSID, 72);
VALUE_IS(VT_VECTOR, 0x1000);
VALUE_IS(WICDecodeMetadataCacheOnDemand, 0);
VALUE_IS(WICDecodeMetadataCacheOnLoad, 1);
VALUE_IS(WICBitmapDitherTypeNone, 0);
VALUE_IS(WICBitmapDitherTypeErrorDiffusion, 8);
VALUE_IS(WICBitmapEncoderCacheInMemory, 0);
VALUE_IS(WICBitmapEncoderCacheTempFile, 1);
VALUE_IS(WICBitmapEncoderNoCache, 2);
VALUE_IS(WICBitmapInterpolationModeNearestNeighbor, 0);
VALUE_IS(WICBitmapInterpolationModeLinear, 1);
VALUE_IS(WICBitmapInterpolationModeCubic, 2);
VALUE_IS(WICBitmapInterpolationModeFant, 3);
VALUE_IS(WICBitmapPaletteTypeCustom, 0);
VALUE_IS(WICBitmapPaletteTypeMedianCut, 1);
VALUE_IS(WICBitmapPaletteTypeFixedHalftone216, 7);
VALUE_IS(WICBitmapPaletteTypeFixedWebPalette, 7);
VALUE_IS(GENERIC_READ, 0x80000000u);
VALUE_IS(GENERIC_WRITE, 0x40000000u);
VALUE_IS(static_cast<unsigned short>(VARIANT_TRUE), 0xFFFFu);
VALUE_IS(VARIANT_FALSE, 0);
VALUE_IS(WAVE_FORMAT_PCM, 1);
VALUE_IS(CP_UTF8, 65001);

SIZE_IS(HRESULT, 4);
SIZE_IS(LONG, 4);
SIZE_IS(ULONG, 4);
SIZE_IS(DWORD, 4);
SIZE_IS(BOOL, 4);
SIZE_IS(WORD, 2);
SIZE_IS(VARIANT_BOOL, 2);
SIZE_IS(GUID, 16);
SIZE_IS(FILETIME, 8);
SIZE_IS(LARGE_INTEGER, 8);
SIZE_IS(ULARGE_INTEGER, 8);
SIZE_IS(WICRect, 16);
SIZE_IS(WICColor, 4);
SIZE_IS(CAUB, 16);
SIZE_IS(WAVEFORMATEX, 18);
OFFSET_IS(WAVEFORMATEX, nSamplesPerSec, 4);
OFFSET_IS(WAVEFORMATEX, cbSize, 16);
SIZE_IS(PROPVARIANT, 24);
OFFSET_IS(PROPVARIANT, vt, 0);
OFFSET_IS(PROPVARIANT, bVal, 8);
OFFSET_IS(PROPVARIANT, uiVal, 8);
OFFSET_IS(PROPVARIANT, boolVal, 8);
OFFSET_IS(PROPVARIANT, pszVal, 8);
OFFSET_IS(PROPVARIANT, caub, 8);
static_assert(FAILED(E_FAIL) && SUCCEEDED(S_FALSE));

}  // namespace
