// The system's colour converter, made and fed as the live encoder does it.
#include <gtest/gtest.h>

#include <windows.h>

#include <mfapi.h>
#include <mftransform.h>
#include <objbase.h>
#include <wingdi.h>
#include <wmcodecdsp.h>

#include <cstdlib>
#include <vector>

#include "com/ComPtr.h"
#include "tests/support/Wine.h"

namespace Vimbrel::test {
namespace {

constexpr UINT32 width = 64;
constexpr UINT32 height = 48;
constexpr DWORD rgb_bytes = width * height * 4;
constexpr DWORD nv12_bytes = width * height * 3 / 2;

class MediaPlatform {
public:
    MediaPlatform() {
        EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        EXPECT_EQ(MFStartup(MF_VERSION, MFSTARTUP_LITE), S_OK);
    }
    ~MediaPlatform() {
        MFShutdown();
        CoUninitialize();
    }
    MediaPlatform(const MediaPlatform&) = delete;
    MediaPlatform& operator=(const MediaPlatform&) = delete;
};

ComPtr<IMFMediaType> BottomUpRgb() {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 32;
    header.biCompression = BI_RGB;
    header.biSizeImage = rgb_bytes;
    ComPtr<IMFVideoMediaType> type;
    EXPECT_EQ(
        MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
            &header, sizeof header, 1, 1, MFVideoInterlace_Progressive, 0, 30, 1, 0, type.Put()),
        S_OK);
    return ComPtr<IMFMediaType>(type.Get());
}

ComPtr<IMFMediaType> Nv12() {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(MFCreateMediaType(type.Put()), S_OK);
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12);
    type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
    type->SetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, 1);
    MFSetAttributeRatio(type.Get(), MF_MT_FRAME_RATE, 30, 1);
    MFSetAttributeSize(type.Get(), MF_MT_FRAME_SIZE, width, height);
    MFSetAttributeRatio(type.Get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
    return type;
}

ComPtr<IMFSample> SampleOf(DWORD size, ComPtr<IMFMediaBuffer>& buffer) {
    ComPtr<IMFSample> sample;
    EXPECT_EQ(MFCreateSample(sample.Put()), S_OK);
    EXPECT_EQ(MFCreateMemoryBuffer(size, buffer.Put()), S_OK);
    EXPECT_EQ(buffer->SetCurrentLength(size), S_OK);
    EXPECT_EQ(sample->AddBuffer(buffer.Get()), S_OK);
    return sample;
}

// The limited range of BT.601, which is what small pictures have.
struct Colors {
    const char* name;
    BYTE blue, green, red;
    int y, cb, cr;
};
constexpr Colors colors[] = {
    {"white", 255, 255, 255, 235, 128, 128}, {"black", 0, 0, 0, 16, 128, 128},
    {"red", 0, 0, 255, 81, 90, 240},         {"green", 0, 255, 0, 145, 54, 34},
    {"blue", 255, 0, 0, 41, 240, 110},       {"grey", 128, 128, 128, 126, 128, 128},
};

// One band of each colour, the first at the top of the picture, which is at the end of the memory.
TEST(ColorConverter, TurnsBottomUpRgbIntoNv12) {
    const MediaPlatform platform;
    void* made = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_CColorConvertDMO, nullptr, CLSCTX_INPROC_SERVER,
                               __uuidof(IMFTransform), &made),
              S_OK);
    ComPtr<IMFTransform> converter;
    converter.Attach(static_cast<IMFTransform*>(made));
    ASSERT_EQ(converter->SetInputType(0, BottomUpRgb().Get(), 0), S_OK);
    ASSERT_EQ(converter->SetOutputType(0, Nv12().Get(), 0), S_OK);

    constexpr UINT32 bands = std::size(colors);
    constexpr UINT32 band_rows = height / bands;
    ComPtr<IMFMediaBuffer> rgb_buffer;
    ComPtr<IMFMediaBuffer> nv12_buffer;
    const ComPtr<IMFSample> rgb = SampleOf(rgb_bytes, rgb_buffer);
    const ComPtr<IMFSample> nv12 = SampleOf(nv12_bytes, nv12_buffer);
    BYTE* bytes = nullptr;
    ASSERT_EQ(rgb_buffer->Lock(&bytes, nullptr, nullptr), S_OK);
    for (UINT32 y = 0; y < height; ++y) {
        const Colors& color = colors[(height - 1 - y) / band_rows];
        for (UINT32 x = 0; x < width; ++x) {
            BYTE* const pixel = bytes + (std::size_t{y} * width + x) * 4;
            pixel[0] = color.blue;
            pixel[1] = color.green;
            pixel[2] = color.red;
            pixel[3] = 255;
        }
    }
    rgb_buffer->Unlock();
    rgb->SetSampleTime(0);
    rgb->SetSampleDuration(333'333);
    ASSERT_EQ(converter->ProcessInput(0, rgb.Get(), 0), S_OK);
    MFT_OUTPUT_DATA_BUFFER data{};
    data.pSample = nv12.Get();
    DWORD status = 0;
    ASSERT_EQ(converter->ProcessOutput(0, 1, &data, &status), S_OK);

    DWORD length = 0;
    ASSERT_EQ(nv12_buffer->Lock(&bytes, nullptr, &length), S_OK);
    EXPECT_EQ(length, nv12_bytes);
    for (UINT32 band = 0; band < bands; ++band) {
        // In the middle of the band, away from where neighbours are mixed.
        UINT32 y = band * band_rows + band_rows / 2;
        // Wine 8 does not look at the order of the rows.
        if (RunsUnderWine()) y = height - 1 - y;
        const BYTE* const luma = bytes + std::size_t{y} * width + width / 2;
        const BYTE* const chroma =
            bytes + std::size_t{width} * height + std::size_t{y / 2} * width + width / 2;
        constexpr int tolerance = 3;
        EXPECT_NEAR(luma[0], colors[band].y, tolerance) << colors[band].name;
        EXPECT_NEAR(chroma[0], colors[band].cb, tolerance) << colors[band].name;
        EXPECT_NEAR(chroma[1], colors[band].cr, tolerance) << colors[band].name;
    }
    nv12_buffer->Unlock();
}

}  // namespace
}  // namespace Vimbrel::test
