// A function of the media platform that Wine 8 declares and does not implement. The test programs'
// own definition replaces the import.
#include <windows.h>

#include <mfapi.h>
#include <wingdi.h>

#include <cstdlib>

#include "com/ComPtr.h"
#include "tests/support/Wine.h"

namespace {

using Vimbrel::ComPtr;

HRESULT Describe(IMFMediaType* type, const BITMAPINFOHEADER& header, DWORD par_x, DWORD par_y,
                 MFVideoInterlaceMode interlace, DWORD rate_num, DWORD rate_den) {
    const auto width = static_cast<UINT32>(header.biWidth);
    const bool bottom_up = header.biHeight > 0;
    HRESULT hr = type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_RGB32);
    if (SUCCEEDED(hr))
        hr = MFSetAttributeSize(type, MF_MT_FRAME_SIZE, width,
                                static_cast<UINT32>(std::abs(header.biHeight)));
    if (SUCCEEDED(hr)) hr = MFSetAttributeRatio(type, MF_MT_FRAME_RATE, rate_num, rate_den);
    if (SUCCEEDED(hr)) hr = MFSetAttributeRatio(type, MF_MT_PIXEL_ASPECT_RATIO, par_x, par_y);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_INTERLACE_MODE, interlace);
    if (SUCCEEDED(hr))
        hr = type->SetUINT32(MF_MT_DEFAULT_STRIDE, bottom_up ? 0U - width * 4 : width * 4);
    return hr;
}

}  // namespace

extern "C" HRESULT WINAPI MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
    const BITMAPINFOHEADER* header, UINT32 size, DWORD par_x, DWORD par_y,
    MFVideoInterlaceMode interlace, QWORD flags, DWORD rate_num, DWORD rate_den, DWORD max_bit_rate,
    IMFVideoMediaType** result) {
    if (!Vimbrel::test::RunsUnderWine()) {
        auto* const real =
            reinterpret_cast<decltype(&MFCreateVideoMediaTypeFromBitMapInfoHeaderEx)>(
                reinterpret_cast<void*>(
                    GetProcAddress(GetModuleHandleW(L"mfplat.dll"),
                                   "MFCreateVideoMediaTypeFromBitMapInfoHeaderEx")));
        return real(header, size, par_x, par_y, interlace, flags, rate_num, rate_den, max_bit_rate,
                    result);
    }
    ComPtr<IMFMediaType> type;
    HRESULT hr = MFCreateMediaType(type.Put());
    if (SUCCEEDED(hr))
        hr = Describe(type.Get(), *header, par_x, par_y, interlace, rate_num, rate_den);
    if (SUCCEEDED(hr))
        hr = type->QueryInterface(__uuidof(IMFVideoMediaType), reinterpret_cast<void**>(result));
    return hr;
}
