#include "Source/graph/CVideoRender.h"

#include <wmcodecdsp.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "pixel/PixelOperations.h"

namespace Vimbrel {

namespace {

constexpr CLSID sink_class{
    0x6FA136AA, 0xD5E5, 0x4EAF, {0xA5, 0x4A, 0x8A, 0xAF, 0xB5, 0xE2, 0xB4, 0xB7}};
constexpr std::uint8_t opaque = 255;

// Rows of which so many bytes are written stay in the first cache until their alpha is set.
constexpr std::uint32_t band_bytes = 16384;

bool IsRgb(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_RGB24 || subtype == MEDIASUBTYPE_RGB32 ||
           subtype == MEDIASUBTYPE_ARGB32;
}

bool IsPackedYuv(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_YUY2 || subtype == MEDIASUBTYPE_UYVY;
}

bool IsKnown(REFGUID subtype) {
    return IsRgb(subtype) || IsPackedYuv(subtype) || subtype == MEDIASUBTYPE_NV12 ||
           subtype == MEDIASUBTYPE_I420 || subtype == MEDIASUBTYPE_YV12;
}

// Pictures per second, rounded. Kept: hosts compare a whole number. 0 for what none describes.
std::uint32_t WholeRate(REFERENCE_TIME frame_time) {
    const double rate = std::round(10'000'000.0 / static_cast<double>(frame_time));
    return rate >= 0 && rate <= 10'000'000.0 ? static_cast<std::uint32_t>(rate) : 0;
}

std::uint32_t Magnitude(LONG value) {
    const auto bits = static_cast<std::uint32_t>(value);
    return value < 0 ? 0 - bits : bits;
}

}  // namespace

CVideoRender::CVideoRender() : CBaseRenderer(sink_class) {}

HRESULT CVideoRender::CheckMediaType(const CMediaType* type) {
    if (!type) return E_POINTER;
    const bool format =
        type->formattype == FORMAT_VideoInfo || type->formattype == FORMAT_VideoInfo2 ||
        type->formattype == FORMAT_MPEGVideo || type->formattype == FORMAT_MPEG2Video;
    return type->majortype == MEDIATYPE_Video && format && IsKnown(type->subtype) ? S_OK
                                                                                  : E_INVALIDARG;
}

void CVideoRender::Parse(const CMediaType& type) {
    frameRateNum = 10'000'000;
    frameRateDen = 333'333;
    width = height = stride = 0;
    bottomUp = false;
    const BITMAPINFOHEADER* header = nullptr;
    REFERENCE_TIME frame_time = 0;
    for (const GUID& format : {FORMAT_VideoInfo, FORMAT_MPEGVideo}) {
        if (const auto* info = type.FormatAs<VIDEOINFOHEADER>(format)) {
            header = &info->bmiHeader;
            frame_time = info->AvgTimePerFrame;
        }
    }
    for (const GUID& format : {FORMAT_VideoInfo2, FORMAT_MPEG2Video}) {
        if (const auto* info = type.FormatAs<VIDEOINFOHEADER2>(format)) {
            header = &info->bmiHeader;
            frame_time = info->AvgTimePerFrame;
        }
    }
    if (!header) return;
    frameRateNum = WholeRate(frame_time);
    frameRateDen = 1;
    width = Magnitude(header->biWidth);
    height = Magnitude(header->biHeight);
    stride = width * 4;
    sourceStep = height > 0 ? header->biSizeImage / height : 0;
    bottomUp = IsRgb(type.subtype) && header->biHeight > 0;
}

bool CVideoRender::Grow() {
    const auto needed = static_cast<std::uint64_t>(stride) * height;
    if (needed > std::numeric_limits<std::int32_t>::max() ||
        needed <= static_cast<std::uint64_t>(pixelsSize))
        return false;
    pixels = std::make_unique<std::uint8_t[]>(needed);
    pixelsSize = static_cast<std::int32_t>(needed);
    return true;
}

HRESULT CVideoRender::CompleteConnect(IPin* pin) {
    const CMediaType type = Input().ConnectionType();
    Parse(type);
    subtype = type.subtype;
    // Kept: a connection that the buffer is large enough for leaves the flag as it is, and with it
    // later changes of the type unread.
    if (Grow()) connected = true;
    return CBaseRenderer::CompleteConnect(pin);
}

HRESULT CVideoRender::BreakConnect() {
    connected = false;
    return CBaseRenderer::BreakConnect();
}

HRESULT CVideoRender::SetMediaType(const CMediaType* type) {
    const HRESULT hr = CheckMediaType(type);
    if (!connected || FAILED(hr)) return hr;
    Parse(*type);
    subtype = type->subtype;
    Grow();
    return hr;
}

HRESULT CVideoRender::DoRenderSample(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    if (!dispatcher) return S_OK;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    sample->GetTime(&start, &stop);
    BYTE* source = nullptr;
    sample->GetPointer(&source);
    if (!source) return S_OK;
    // A type that does not fit the buffer must be neither written nor shown beyond it.
    if (std::uint64_t{width} * 4 * height > static_cast<std::uint64_t>(pixelsSize)) return S_OK;
    Convert(source, sample->GetSize());
    dispatcher->OnVideoSample(pixels.get(), static_cast<int>(width), static_cast<int>(height),
                              static_cast<int>(stride), start + Input().SegmentStart(),
                              stop - start);
    return S_OK;
}

std::int64_t CVideoRender::SourceBytes() const {
    const std::int64_t columns = width;
    const std::int64_t rows = height;
    // The last row of interleaved chroma has no padding either.
    if (subtype == MEDIASUBTYPE_NV12)
        return columns * rows + std::max<std::int64_t>(rows / 2 - 1, 0) * columns + columns / 2 * 2;
    if (!IsRgb(subtype) && !IsPackedYuv(subtype))
        return columns * rows + 2 * (columns / 2) * (rows / 2);
    const std::int64_t pixel = subtype == MEDIASUBTYPE_RGB24 ? 3 : IsPackedYuv(subtype) ? 2 : 4;
    return sourceStep * (rows - 1) + pixel * columns;
}

// The conversions refuse a picture without an area. What they leave out keeps its old pixels.
void CVideoRender::Convert(const std::uint8_t* source, std::int64_t size) {
    // Nor must a sample be read beyond its end.
    if (SourceBytes() > size) return;
    const PixelSize picture{static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    const auto from = static_cast<std::int32_t>(sourceStep);
    const auto to = static_cast<std::int32_t>(stride);
    if (subtype == MEDIASUBTYPE_YUY2) {
        ConvertYuy2ToBgra(source, from, pixels.get(), to, picture, opaque);
    } else if (subtype == MEDIASUBTYPE_UYVY) {
        ConvertUyvyToBgra(source, from, pixels.get(), to, picture, opaque);
    } else if (IsRgb(subtype)) {
        ConvertRgb(source);
    } else {
        ConvertPlanar(source);
    }
}

void CVideoRender::ConvertRgb(const std::uint8_t* source) {
    const auto from = static_cast<std::int32_t>(sourceStep);
    const auto to = static_cast<std::int32_t>(stride);
    const auto columns = static_cast<std::int32_t>(width);
    // In bands, so that the alpha is written while the pixels are near: one pass over memory.
    const std::uint32_t band = std::max(1u, band_bytes / std::max(stride, 1u));
    for (std::uint32_t row = 0; row < height; row += band) {
        const std::uint32_t rows = std::min(band, height - row);
        const PixelSize picture{columns, static_cast<std::int32_t>(rows)};
        const std::uint8_t* const first = source + static_cast<std::size_t>(row) * sourceStep;
        // The band's rows in the buffer, and the one that its first row belongs to.
        const std::uint32_t top = bottomUp ? height - row - rows : row;
        std::uint8_t* const start = pixels.get() + static_cast<std::size_t>(top) * stride;
        std::uint8_t* const target =
            bottomUp ? start + static_cast<std::size_t>(rows - 1) * stride : start;
        const std::int32_t step = bottomUp ? -to : to;
        if (subtype == MEDIASUBTYPE_ARGB32) {
            PremultiplyBgra(first, from, target, step, picture);
            continue;
        }
        if (subtype == MEDIASUBTYPE_RGB24) {
            ExpandBgrToBgra(first, from, target, step, picture);
        } else {
            CopyBgrxToBgra(first, from, target, step, picture);
        }
        FillAlpha(opaque, start + 3, to, picture);
    }
}

// Kept: planes have the width as their step, whatever the format says of padding.
void CVideoRender::ConvertPlanar(const std::uint8_t* source) {
    const PixelSize picture{static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    const auto luma_step = static_cast<std::int32_t>(width);
    const auto to = static_cast<std::int32_t>(stride);
    const std::uint8_t* const chroma = source + static_cast<std::size_t>(width) * height;
    if (subtype == MEDIASUBTYPE_NV12) {
        ConvertNv12ToBgra(source, luma_step, chroma, luma_step, pixels.get(), to, picture, opaque);
        return;
    }
    const std::uint8_t* const second = chroma + static_cast<std::size_t>(height / 2) * (width / 2);
    const std::int32_t steps[] = {luma_step, luma_step / 2, luma_step / 2};
    if (subtype == MEDIASUBTYPE_I420) {
        const std::uint8_t* const planes[] = {source, chroma, second};
        ConvertI420ToBgra(planes, steps, pixels.get(), to, picture, opaque);
    } else {
        const std::uint8_t* const planes[] = {source, second, chroma};
        ConvertYv12ToBgra(planes, steps, pixels.get(), to, picture, opaque);
    }
}

void CreateDSRenderVideo(IDSRenderVideo** out) {
    InitializePixelOperations();
    auto* const sink = new CVideoRender;
    if (out) {
        *out = sink;
    } else {
        sink->Release();
    }
}

}  // namespace Vimbrel
