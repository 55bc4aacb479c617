#include "vimbrel/MediaSourcePicture.h"

#include <wincodec.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "base/Clock.h"
#include "base/Failure.h"
#include "base/SetText.h"
#include "com/ComPtr.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;

constexpr double default_duration_ms = 5000.0;

// The memory of a picture, 4 bytes a pixel; null if there is not that much.
std::unique_ptr<unsigned char[]> AllocatePixels(std::uint64_t width, std::uint64_t height,
                                                bool zeroed) {
    const std::uint64_t size = width * height * 4;
    return std::unique_ptr<unsigned char[]>(zeroed ? new (std::nothrow) unsigned char[size]()
                                                   : new (std::nothrow) unsigned char[size]);
}

}  // namespace

MediaSourcePicture::MediaSourcePicture()
    : counterFrequency(static_cast<double>(Clock::Current().PerformanceFrequency())) {}
MediaSourcePicture::~MediaSourcePicture() = default;

MediaSourcePicture::Frame::~Frame() { delete[] pixels; }

void MediaSourcePicture::SetFileName(const wchar_t* name) { SetText(fileName, name); }

bool MediaSourcePicture::Open() {
    long width = 0;
    long height = 0;
    const long result = OpenPicture(width, height, -1, -1);
    return SetOpened(result, width, height, default_duration_ms);
}

bool MediaSourcePicture::Open(long duration, long maxWidth, long maxHeight) {
    long width = 0;
    long height = 0;
    const long result = OpenPicture(width, height, maxWidth, maxHeight);
    return SetOpened(result, width, height, static_cast<double>(duration));
}

bool MediaSourcePicture::SetOpened(long result, long width, long height, double duration) {
    if (FAILED(result) || width <= 0 || height <= 0) return false;
    mediaInfo.width = static_cast<std::int32_t>(width);
    mediaInfo.height = static_cast<std::int32_t>(height);
    mediaInfo.duration = duration;
    SetState(State::Opened);
    return true;
}

long MediaSourcePicture::OpenPicture(long& width, long& height, long maxWidth, long maxHeight) {
    // The prefix goes in front of every name, whatever it looks like; hence absolute paths only.
    const std::wstring path = L"\\\\?\\" + fileName;
    ComPtr<IWICBitmapDecoder> decoder;
    const HRESULT hr = wicFactory->CreateDecoderFromFilename(
        path.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnDemand, decoder.Put());
    if (FAILED(hr)) {
        LogIfFailed(hr, "Photo - CreateDecoderFromFilename");
        return hr;
    }

    UINT count = 1;
    decoder->GetFrameCount(&count);
    frameCount = static_cast<std::int32_t>(count);
    GUID container{};
    decoder->GetContainerFormat(&container);
    if (IsEqualGUID(container, GUID_ContainerFormatGif))
        return OpenGif(decoder.Get(), width, height);
    return OpenStill(decoder.Get(), width, height, maxWidth, maxHeight);
}

long MediaSourcePicture::OpenStill(IWICBitmapDecoder* decoder, long& width, long& height,
                                   long maxWidth, long maxHeight) {
    ComPtr<IWICBitmapFrameDecode> frame;
    HRESULT hr = decoder->GetFrame(0, frame.Put());
    if (FAILED(hr)) {
        LogIfFailed(hr, "Photo - GetFrame");
        return hr;
    }
    ComPtr<IWICFormatConverter> converter;
    hr = wicFactory->CreateFormatConverter(converter.Put());
    if (FAILED(hr)) {
        LogIfFailed(hr, "Photo - CreateFormatConverter");
        return hr;
    }

    UINT frame_width = 0;
    UINT frame_height = 0;
    frame->GetSize(&frame_width, &frame_height);
    const long natural_width = static_cast<long>(frame_width);
    const long natural_height = static_cast<long>(frame_height);
    if (maxWidth > 0 && maxHeight > 0 && (maxWidth < natural_width || maxHeight < natural_height)) {
        const float scale =
            std::min(static_cast<float>(maxWidth) / static_cast<float>(frame_width),
                     static_cast<float>(maxHeight) / static_cast<float>(frame_height));
        const UINT scaled_width =
            static_cast<UINT>(std::ceil(scale * static_cast<float>(frame_width)));
        const UINT scaled_height =
            static_cast<UINT>(std::ceil(scale * static_cast<float>(frame_height)));
        ComPtr<IWICBitmapScaler> scaler;
        wicFactory->CreateBitmapScaler(scaler.Put());
        if (scaler)
            scaler->Initialize(frame.Get(), scaled_width, scaled_height,
                               WICBitmapInterpolationModeCubic);
        hr = scaler ? converter->Initialize(scaler.Get(), GUID_WICPixelFormat32bppPBGRA,
                                            WICBitmapDitherTypeNone, nullptr, 0.0,
                                            WICBitmapPaletteTypeCustom)
                    : E_POINTER;
        if (FAILED(hr)) {
            LogIfFailed(hr, "Photo - Initialize from scaler");
            // Kept: success with sizes of 0, because the open then fails by its size test, unlike
            // the branch below.
            return S_OK;
        }
    } else {
        hr = converter->Initialize(frame.Get(), GUID_WICPixelFormat32bppPBGRA,
                                   WICBitmapDitherTypeNone, nullptr, 0.0,
                                   WICBitmapPaletteTypeCustom);
        if (FAILED(hr)) {
            LogIfFailed(hr, "Photo - Initialize from frame decoder");
            return hr;
        }
    }

    UINT final_width = 0;
    UINT final_height = 0;
    converter->GetSize(&final_width, &final_height);
    std::unique_ptr<unsigned char[]> buffer = AllocatePixels(final_width, final_height, false);
    if (!buffer) return E_OUTOFMEMORY;
    width = static_cast<long>(final_width);
    height = static_cast<long>(final_height);
    pixels.swap(buffer);
    const UINT size = final_width * final_height * 4;
    // Kept: a failure counts as a picture. What the memory held before is not to be seen in it.
    if (FAILED(converter->CopyPixels(nullptr, final_width * 4, size, pixels.get())))
        std::memset(pixels.get(), 0, size);
    return S_OK;
}

long MediaSourcePicture::OpenGif(IWICBitmapDecoder* decoder, long& width, long& height) {
    // The application may hold the earlier record, which a failed open leaves in force.
    std::unique_ptr<Gif> previous = std::move(gif);
    GetGifMeta(wicFactory, decoder);
    if (!gif || gif->displayWidth == 0 || static_cast<std::int32_t>(gif->displayHeight) <= 0) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "Invalid GIF file?");
        gif = std::move(previous);
        return E_FAIL;
    }
    // Never written: it is there so that GetPixels is valid.
    std::unique_ptr<unsigned char[]> buffer =
        AllocatePixels(gif->displayWidth, gif->displayHeight, true);
    if (!buffer) {
        gif = std::move(previous);
        return E_OUTOFMEMORY;
    }
    width = static_cast<long>(gif->displayWidth);
    height = static_cast<long>(gif->displayHeight);
    pixels.swap(buffer);
    const std::size_t counted =
        std::min(frames.size(), static_cast<std::size_t>(std::max(frameCount, 0)));
    gif->totalDelay = 0;
    for (std::size_t i = 0; i < counted; ++i) gif->totalDelay += frames[i]->delay;
    return S_OK;
}

bool MediaSourcePicture::Play() {
    if (gif && static_cast<double>(gif->totalDelay) > mediaInfo.duration)
        mediaInfo.duration = static_cast<double>(gif->totalDelay);
    sampleCount = 0;
    SetState(State::Playing);
    return true;
}

void MediaSourcePicture::Stop() {
    sampleCount = 0;
    SetState(State::Stopped);
}

void MediaSourcePicture::RequestSample() {
    if (GetState() != State::Playing) return;
    const std::int64_t count = Clock::Current().PerformanceCounter();
    const std::int64_t now =
        static_cast<std::int64_t>(static_cast<double>(count * 1000) / counterFrequency);
    if (sampleCount++ == 0) firstSampleTime = now;
    const std::int64_t elapsed = now - firstSampleTime;
    if (static_cast<double>(elapsed) >= mediaInfo.duration && (!gif || gif->stopAtEnd)) {
        SetState(State::Ended);
        sampleCount = 0;
        return;
    }
    if (gif) {
        SetVideoSample(nullptr, 0, 0, 0, 0, 0);
    } else {
        SetVideoSample(pixels.get(), mediaInfo.width, mediaInfo.height, mediaInfo.width * 4,
                       elapsed * 10000, 0);
    }
}

}  // namespace Vimbrel
