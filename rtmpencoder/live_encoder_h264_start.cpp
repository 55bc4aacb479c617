// Makes the transforms of the live H.264 encoder.
#include <windows.h>

#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>
#include <objbase.h>
#include <wingdi.h>
#include <wmcodecdsp.h>

#include "base/Failure.h"
#include "base/ObjectCreation.h"
#include "pixel/PixelOperations.h"
#include "rtmpencoder/live_encoder_h264.h"

namespace Vimbrel {
namespace {

constexpr UINT32 bits_per_pixel = 32;
constexpr UINT32 main_profile = 77;
constexpr DWORD software_flags =
    MFT_ENUM_FLAG_LOCALMFT | MFT_ENUM_FLAG_TRANSCODE_ONLY | MFT_ENUM_FLAG_SORTANDFILTER;

void SetCodecValue(ICodecAPI* codec, const GUID& property, ULONG number) {
    VARIANT value{};
    value.vt = VT_UI4;
    value.ulVal = number;
    codec->SetValue(&property, &value);
}

}  // namespace

bool live_encoder_h264::on_start() {
    time_step = frame_rate_den;
    time_scale = frame_rate_num;
    UINT64 average = 0;
    UINT32 image_bytes = 0;
    MFFrameRateToAverageTimePerFrame(frame_rate_num, frame_rate_den, &average);
    MFCalculateImageSize(MFVideoFormat_NV12, static_cast<UINT32>(width),
                         static_cast<UINT32>(height), &image_bytes);
    frame_duration = static_cast<std::int64_t>(average);
    nv12_size = image_bytes;

    const std::uint32_t pixels =
        static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height);
    if (quality == 0) bit_rate = pixels * 10;
    if (quality == 1) bit_rate = pixels * 5;
    if (quality == 2) bit_rate = pixels * 2;
    bit_rate /= 2;

    // The transforms come first: they refuse sizes for which there is no memory.
    if (FAILED(create_transforms())) return false;
    scaled_frame = std::make_unique<std::uint8_t[]>(frame_bytes());
    InitializePixelOperations();
    if (FAILED(create_rgb_sample())) return false;
    for (const auto message : {MFT_MESSAGE_COMMAND_FLUSH, MFT_MESSAGE_NOTIFY_BEGIN_STREAMING,
                               MFT_MESSAGE_NOTIFY_START_OF_STREAM}) {
        if (FAILED(encoder->ProcessMessage(message, 0))) return false;
    }
    return true;
}

// Kept: a buffer that does not take its length stays out of the sample, and the encoder starts. The
// first frame then fails, which ends the picture and not the sound.
HRESULT live_encoder_h264::create_rgb_sample() {
    const auto size = static_cast<DWORD>(frame_bytes());
    HRESULT hr = MFCreateSample(rgb_sample.Put());
    if (SUCCEEDED(hr)) hr = MFCreateMemoryBuffer(size, rgb_buffer.Put());
    if (FAILED(hr)) return hr;
    return SUCCEEDED(rgb_buffer->SetCurrentLength(size)) ? rgb_sample->AddBuffer(rgb_buffer.Get())
                                                         : S_OK;
}

HRESULT live_encoder_h264::create_transforms() {
    HRESULT hr = create_converter();
    if (FAILED(LogIfFailed(hr, "Live - Create clrspace convert"))) return hr;
    hr = create_encoder();
    if (FAILED(hr)) return hr;
    if (is_async) {
        event_generator = encoder.As<IMFMediaEventGenerator>();
        if (!event_generator) return E_NOINTERFACE;
    }
    codec_api = encoder.As<ICodecAPI>();
    if (codec_api) set_quality();
    return S_OK;
}

HRESULT live_encoder_h264::create_converter() {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    // Bottom row first.
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bits_per_pixel;
    header.biCompression = BI_RGB;
    header.biSizeImage = static_cast<DWORD>(frame_bytes());
    ComPtr<IMFVideoMediaType> video_type;
    HRESULT hr = MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
        &header, sizeof header, 1, 1, MFVideoInterlace_Progressive, 0, frame_rate_num,
        frame_rate_den, 0, video_type.Put());
    if (SUCCEEDED(hr)) hr = video_type->SetUINT32(MF_MT_ORIGINAL_4CC, header.biCompression);
    if (FAILED(hr)) return hr;
    rgb_type.Reset();
    rgb_type = ComPtr<IMFMediaType>(video_type.Get());

    const auto wide = static_cast<UINT32>(width);
    const auto high = static_cast<UINT32>(height);
    hr = MFCreateMediaType(nv12_type.Put());
    if (SUCCEEDED(hr)) hr = nv12_type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    if (SUCCEEDED(hr)) hr = nv12_type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12);
    if (SUCCEEDED(hr))
        hr = nv12_type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
    if (SUCCEEDED(hr)) hr = nv12_type->SetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, TRUE);
    if (SUCCEEDED(hr))
        hr = MFSetAttributeRatio(nv12_type.Get(), MF_MT_FRAME_RATE, frame_rate_num, frame_rate_den);
    if (SUCCEEDED(hr)) hr = MFSetAttributeSize(nv12_type.Get(), MF_MT_FRAME_SIZE, wide, high);
    if (SUCCEEDED(hr)) hr = MFSetAttributeRatio(nv12_type.Get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
    if (SUCCEEDED(hr)) hr = CreateObject(CLSID_CColorConvertDMO, converter);
    if (SUCCEEDED(hr)) hr = converter->SetInputType(0, rgb_type.Get(), 0);
    if (SUCCEEDED(hr)) hr = converter->SetOutputType(0, nv12_type.Get(), 0);
    return hr;
}

HRESULT live_encoder_h264::create_software_encoder() {
    encoder.Reset();
    return CreateObject(CLSID_CMSH264EncoderMFT, encoder);
}

HRESULT live_encoder_h264::create_encoder() {
    constexpr const char* call = "Live - Create video encoder";
    is_hardware = false;
    is_async = false;
    HRESULT hr = S_OK;
    if (hardware) {
        activate_encoder(MFT_ENUM_FLAG_HARDWARE | software_flags);
        // Kept: the loop has no end where there is no encoder at all. Such a system cannot have
        // been chosen for a cast, and start has no result for it.
        while (!encoder) activate_encoder(software_flags);
    } else {
        hr = create_software_encoder();
        if (FAILED(LogIfFailed(hr, call))) return hr;
    }
    hr = configure_encoder();
    if (SUCCEEDED(LogIfFailed(hr, call)) || !hardware || !is_hardware) return hr;

    // A listed encoder of the hardware may still refuse the formats.
    is_hardware = false;
    is_async = false;
    hardware = false;
    hr = create_software_encoder();
    if (FAILED(hr)) return hr;
    return LogIfFailed(configure_encoder(), "Live - Create sw video encoder");
}

// Takes the first encoder of the list that can be made.
void live_encoder_h264::activate_encoder(std::uint32_t flags) {
    const MFT_REGISTER_TYPE_INFO h264_output = {MFMediaType_Video, MFVideoFormat_H264};
    IMFActivate** activates = nullptr;
    UINT32 count = 0;
    if (FAILED(MFTEnumEx(MFT_CATEGORY_VIDEO_ENCODER, flags, nullptr, &h264_output, &activates,
                         &count)))
        return;
    for (UINT32 i = 0; i < count; ++i) {
        void* made = nullptr;
        if (!encoder && SUCCEEDED(activates[i]->ActivateObject(__uuidof(IMFTransform), &made))) {
            encoder.Attach(static_cast<IMFTransform*>(made));
            UINT32 kind = 0;
            if (SUCCEEDED(activates[i]->GetUINT32(MF_TRANSFORM_FLAGS_Attribute, &kind))) {
                is_hardware = (kind & MFT_ENUM_FLAG_HARDWARE) != 0;
                is_async =
                    (kind & MFT_ENUM_FLAG_ASYNCMFT) != 0 || (kind & MFT_ENUM_FLAG_SYNCMFT) == 0;
            }
        }
        activates[i]->Release();
    }
    CoTaskMemFree(activates);
}

HRESULT live_encoder_h264::create_h264_type() {
    const auto wide = static_cast<UINT32>(width);
    const auto high = static_cast<UINT32>(height);
    const bool large = width > 2048 || height > 1080;
    const UINT32 key_frame_spacing =
        frame_rate_den != 0 ? frame_rate_num / frame_rate_den : 0;  // one per second
    ComPtr<IMFMediaType> type;
    HRESULT hr = MFCreateMediaType(type.Put());
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    if (SUCCEEDED(hr)) hr = type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_H264);
    if (SUCCEEDED(hr))
        hr = MFSetAttributeRatio(type.Get(), MF_MT_FRAME_RATE, frame_rate_num, frame_rate_den);
    if (SUCCEEDED(hr)) hr = MFSetAttributeSize(type.Get(), MF_MT_FRAME_SIZE, wide, high);
    if (SUCCEEDED(hr)) hr = MFSetAttributeRatio(type.Get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_MAX_KEYFRAME_SPACING, key_frame_spacing);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, TRUE);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_AVG_BITRATE, bit_rate);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_MPEG2_PROFILE, main_profile);
    if (SUCCEEDED(hr)) hr = type->SetUINT32(MF_MT_MPEG2_LEVEL, large ? 51 : 41);
    if (SUCCEEDED(hr)) h264_type = type;
    return hr;
}

HRESULT live_encoder_h264::configure_encoder() {
    HRESULT hr = h264_type ? S_OK : create_h264_type();
    if (FAILED(hr)) return hr;
    if (is_async) {
        ComPtr<IMFAttributes> attributes;
        if (SUCCEEDED(encoder->GetAttributes(attributes.Put())))
            attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, TRUE);
    }
    // The output type comes first: encoders derive their input from it.
    hr = encoder->SetOutputType(0, h264_type.Get(), 0);
    if (SUCCEEDED(hr)) hr = encoder->SetInputType(0, nv12_type.Get(), 0);
    if (SUCCEEDED(hr)) hr = encoder->GetOutputStreamInfo(0, &output_info);
    constexpr DWORD provides =
        MFT_OUTPUT_STREAM_PROVIDES_SAMPLES | MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES;
    if (SUCCEEDED(hr)) allocates_output = (output_info.dwFlags & provides) == 0;
    return hr;
}

void live_encoder_h264::set_quality() {
    ULONG percent = 80;
    if (quality == 0) percent = 100;
    if (quality == 2) percent = 50;
    SetCodecValue(codec_api.Get(), CODECAPI_AVEncCommonRateControlMode,
                  eAVEncCommonRateControlMode_Quality);
    SetCodecValue(codec_api.Get(), CODECAPI_AVEncCommonQuality, percent);
}

}  // namespace Vimbrel
