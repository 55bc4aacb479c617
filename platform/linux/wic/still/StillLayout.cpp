#include "platform/linux/wic/still/StillLayout.h"

#include <climits>

#include "platform/linux/wic/ImagingObjects.h"

namespace Vimbrel {

namespace {

// Two letters are little to go by: text may begin so.
bool IsBmp(ByteView start) {
    if (!start.StartsWith("BM", 2)) return false;
    switch (start.Le32(14)) {
        case 12:  // OS/2 1
        case 16:  // OS/2 2, short
        case 64:  // OS/2 2
        case 40:  // Windows, and its extensions
        case 52:
        case 56:
        case 108:
        case 124:
            return true;
        default:
            return false;
    }
}

}  // namespace

HRESULT IdentifyStill(ByteView start, StillLayout* layout) {
    if (start.StartsWith("\x89PNG\r\n\x1a\n", 8)) {
        layout->codec = AV_CODEC_ID_PNG;
        layout->container = GUID_ContainerFormatPng;
    } else if (start.StartsWith("\xff\xd8\xff", 3)) {
        layout->codec = AV_CODEC_ID_MJPEG;
        layout->container = GUID_ContainerFormatJpeg;
    } else if (start.StartsWith("II*\0", 4) || start.StartsWith("MM\0*", 4)) {
        layout->codec = AV_CODEC_ID_TIFF;
        layout->container = GUID_ContainerFormatTiff;
    } else if (start.StartsWith("RIFF", 4) && start.StartsWith("WEBP", 4, 8)) {
        layout->codec = AV_CODEC_ID_WEBP;
        layout->container = GUID_ContainerFormatWebp;
    } else if (IsBmp(start)) {
        layout->codec = AV_CODEC_ID_BMP;
        layout->container = GUID_ContainerFormatBmp;
    } else {
        return WINCODEC_ERR_COMPONENTNOTFOUND;
    }
    return S_OK;
}

HRESULT ReadStillLayout(ByteView file, StillLayout* layout) {
    switch (layout->codec) {
        case AV_CODEC_ID_PNG:
            return ReadPngLayout(file, layout);
        case AV_CODEC_ID_MJPEG:
            return ReadJpegLayout(file, layout);
        case AV_CODEC_ID_TIFF:
            return ReadTiffLayout(file, layout);
        case AV_CODEC_ID_WEBP:
            return ReadWebpLayout(file, layout);
        case AV_CODEC_ID_BMP:
            return ReadBmpLayout(file, layout);
        default:
            return WINCODEC_ERR_COMPONENTNOTFOUND;
    }
}

HRESULT CheckPictureSize(std::uint64_t width, std::uint64_t height) {
    if (width == 0 || height == 0) return WINCODEC_ERR_BADHEADER;
    if (width > INT_MAX || height > INT_MAX || width * height > picture_pixel_limit)
        return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    // FFmpeg's own bound, which is a little nearer: the bytes of a picture with a margin must fit
    // an int. Tested here because FFmpeg writes of it to stderr past every context.
    if ((width + 128) * 8 * (height + 128) >= INT_MAX) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    return S_OK;
}

}  // namespace Vimbrel
