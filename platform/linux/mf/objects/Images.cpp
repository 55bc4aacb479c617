// Small calculations with pictures.
#include <mfapi.h>
#include <mferror.h>

#include <cstring>

extern "C" {

HRESULT WINAPI MFCopyImage(BYTE* destination, LONG destination_stride, const BYTE* source,
                           LONG source_stride, DWORD width_in_bytes, DWORD rows) {
    if (!destination || !source) return E_POINTER;
    if (destination_stride == source_stride && source_stride > 0 &&
        static_cast<DWORD>(source_stride) == width_in_bytes) {
        std::memcpy(destination, source, static_cast<std::size_t>(width_in_bytes) * rows);
        return S_OK;
    }
    for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(rows); ++y) {
        std::memcpy(destination + y * destination_stride, source + y * source_stride,
                    width_in_bytes);
    }
    return S_OK;
}

HRESULT WINAPI MFCalculateImageSize(REFGUID subtype, UINT32 width, UINT32 height, UINT32* size) {
    if (!size) return E_POINTER;
    *size = 0;
    UINT64 bytes = 0;
    if (subtype == MFVideoFormat_NV12) {
        bytes =
            (UINT64{width} + width % 2) * height + UINT64{width + width % 2} * ((height + 1) / 2);
    } else if (subtype == MFVideoFormat_RGB32 || subtype == MFVideoFormat_ARGB32) {
        bytes = UINT64{width} * height * 4;
    } else if (subtype == MFVideoFormat_RGB24) {
        bytes = (UINT64{width} * 3 + 3) / 4 * 4 * height;
    } else {
        return MF_E_INVALIDMEDIATYPE;
    }
    if (bytes > UINT32_MAX) return E_INVALIDARG;
    *size = static_cast<UINT32>(bytes);
    return S_OK;
}

HRESULT WINAPI MFFrameRateToAverageTimePerFrame(UINT32 numerator, UINT32 denominator,
                                                UINT64* average) {
    if (!average) return E_POINTER;
    constexpr UINT64 second = 10'000'000;
    *average = numerator == 0 ? 0 : (second * denominator + numerator / 2) / numerator;
    return S_OK;
}

}  // extern "C"
