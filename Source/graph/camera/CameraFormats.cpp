#include "Source/graph/camera/CameraFormats.h"

#include <stringapiset.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace Vimbrel {

namespace {

constexpr LONG smallest_width = 320;
constexpr LONG smallest_height = 240;

bool IsFourCc(const GUID& subtype) {
    GUID base = MEDIATYPE_Video;
    base.Data1 = subtype.Data1;
    return subtype == base;
}

std::wstring SubtypeText(const GUID& subtype) {
    if (subtype == MEDIASUBTYPE_RGB8) return L"RGB8";
    if (subtype == MEDIASUBTYPE_RGB24) return L"RGB24";
    if (subtype == MEDIASUBTYPE_RGB32) return L"RGB32";
    if (subtype == MEDIASUBTYPE_ARGB32) return L"ARGB";
    if (!IsFourCc(subtype)) return L"Unknown";
    char text[5] = {};
    std::memcpy(text, &subtype.Data1, 4);
    wchar_t wide[8] = {};
    MultiByteToWideChar(CP_THREAD_ACP, 0, text, -1, wide, 8);
    return wide;
}

LONG Magnitude(LONG value) {
    // The smallest number has no magnitude of its type; no picture has that size either.
    return value < 0 ? static_cast<LONG>(0u - static_cast<ULONG>(value)) : value;
}

}  // namespace

PictureFormat ReadPictureFormat(const AM_MEDIA_TYPE& type) {
    if (!type.pbFormat) return {};
    if (type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER)) {
        const auto& info = *reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat);
        return {&info.bmiHeader, info.AvgTimePerFrame};
    }
    if (type.formattype == FORMAT_VideoInfo2 && type.cbFormat >= sizeof(VIDEOINFOHEADER2)) {
        const auto& info = *reinterpret_cast<const VIDEOINFOHEADER2*>(type.pbFormat);
        return {&info.bmiHeader, info.AvgTimePerFrame};
    }
    return {};
}

bool IsSamePictureType(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b) {
    if (a.majortype != b.majortype || a.subtype != b.subtype || a.formattype != b.formattype ||
        !ReadPictureFormat(a).header || !ReadPictureFormat(b).header)
        return false;
    const std::size_t size =
        a.formattype == FORMAT_VideoInfo ? sizeof(VIDEOINFOHEADER) : sizeof(VIDEOINFOHEADER2);
    return std::memcmp(a.pbFormat, b.pbFormat, size) == 0;
}

void AddFormat(std::vector<MediaSourceCamera::Format>& formats, const AM_MEDIA_TYPE& type) {
    const auto [header, frame_time] = ReadPictureFormat(type);
    if (type.majortype != MEDIATYPE_Video || !header) return;
    MediaSourceCamera::Format format{};
    format.subtype = type.subtype;
    format.width = Magnitude(header->biWidth);
    format.height = Magnitude(header->biHeight);
    if (format.width < smallest_width || format.height < smallest_height) return;
    format.frameTime = static_cast<std::int32_t>(frame_time / 10'000);
    const bool listed = std::any_of(formats.begin(), formats.end(), [&](const auto& each) {
        return each.width == format.width && each.height == format.height &&
               each.frameTime == format.frameTime && each.subtype == format.subtype;
    });
    if (listed) return;
    const long long rate = frame_time == 0 ? 0 : 10'000'000 / frame_time;
    const std::wstring text = SubtypeText(type.subtype);
    if (rate < 1) {
        std::swprintf(format.label, 256, L"%ls %d x %d", text.c_str(),
                      static_cast<int>(format.width), static_cast<int>(format.height));
    } else {
        std::swprintf(format.label, 256, L"%ls %d x %d, %lldFPS", text.c_str(),
                      static_cast<int>(format.width), static_cast<int>(format.height), rate);
    }
    formats.push_back(format);
}

std::vector<CMediaType> CapabilitiesOf(IAMStreamConfig& config) {
    std::vector<CMediaType> types;
    int count = 0;
    int size = 0;
    if (FAILED(config.GetNumberOfCapabilities(&count, &size)) ||
        size != static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS)))
        return types;
    for (int i = 0; i < count; ++i) {
        VIDEO_STREAM_CONFIG_CAPS capability{};
        AM_MEDIA_TYPE* type = nullptr;
        if (FAILED(config.GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&capability))) || !type)
            continue;
        types.emplace_back(*type);
        DeleteMediaType(type);
    }
    return types;
}

}  // namespace Vimbrel
