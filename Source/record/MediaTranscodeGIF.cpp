#include "Source/record/MediaTranscodeGIF.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/Clock.h"
#include "base/ObjectCreation.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;

constexpr std::size_t queue_limit = 5;
constexpr UINT palette_size = 256;
constexpr std::uint8_t transparent_index = 255;
constexpr std::uint8_t transparent_corner_alpha = 10;  // and below

PROPVARIANT ByteVector(UCHAR* bytes, std::size_t size) {
    PROPVARIANT value{};
    value.vt = VT_VECTOR | VT_UI1;
    value.caub.cElems = static_cast<ULONG>(size);
    value.caub.pElems = bytes;
    return value;
}

PROPVARIANT Text(char* text) {
    PROPVARIANT value{};
    value.vt = VT_LPSTR;
    value.pszVal = text;
    return value;
}

PROPVARIANT Word(std::uint32_t number) {
    PROPVARIANT value{};
    value.vt = VT_UI2;
    value.uiVal = static_cast<USHORT>(number);
    return value;
}

PROPVARIANT Byte(std::uint8_t number) {
    PROPVARIANT value{};
    value.vt = VT_UI1;
    value.bVal = number;
    return value;
}

PROPVARIANT Flag(bool on) {
    PROPVARIANT value{};
    value.vt = VT_BOOL;
    value.boolVal = on ? VARIANT_TRUE : VARIANT_FALSE;
    return value;
}

// Whether any of the four corner pixels is (nearly) transparent, which stands for the whole
// picture.
bool HasTransparentCorner(const unsigned char* data, unsigned width, unsigned height,
                          unsigned stride) {
    const auto alpha = [&](std::size_t x, std::size_t y) { return data[y * stride + x * 4 + 3]; };
    return std::min({alpha(0, 0), alpha(width - 1, 0), alpha(0, height - 1),
                     alpha(width - 1, height - 1)}) <= transparent_corner_alpha;
}

}  // namespace

std::unique_ptr<MediaTranscode> CreateMediaTranscodeGIF() {
    return std::make_unique<MediaTranscodeGIF>();
}

MediaTranscodeGIF::~MediaTranscodeGIF() { OnStop(); }

void MediaTranscodeGIF::SetVideoOutputFormat(int width, int height) {
    videoWidth = static_cast<std::uint32_t>(width);
    videoHeight = static_cast<std::uint32_t>(height);
}

void MediaTranscodeGIF::SetVideoFps(int framesPerSecond, int) {
    fps = static_cast<std::uint32_t>(framesPerSecond);
}

void MediaTranscodeGIF::SetVideoQuality(int newQuality) { quality = newQuality > 0; }

void MediaTranscodeGIF::SetVideoSample(void* data, unsigned width, unsigned height, unsigned,
                                       std::int64_t, std::int64_t) {
    if (!fpsAsVideo && data) {
        const std::uint32_t elapsed = Clock::Current().TimeMilliseconds() - startTime;
        const float due = static_cast<float>(elapsed * fps) / 1000.0f;
        if (!(static_cast<float>(sampleCount) < due)) {
            ++video_limited;
            return;
        }
    }
    auto sample = std::make_unique<GifSample>();
    sample->width = width;
    sample->height = height;
    sample->stride = width * 4;
    ++sampleCount;
    if (data) {
        ++video_taken;
        const std::size_t size = std::size_t{height} * sample->stride;
        sample->data.reset(new unsigned char[size]);
        std::memcpy(sample->data.get(), data, size);
    }

    const std::lock_guard guard(lock);
    queue.push_back(std::move(sample));
    if (queue.size() > queue_limit) {
        if (queue.front()->data) ++video_dropped;
        queue.pop_front();
    }
    sampleReady.notify_one();
}

bool MediaTranscodeGIF::OnStart() {
    OnStop();  // of a recording that still runs, or that a null sample has ended
    initialized = false;
    running = false;
    sampleCount = 0;
    ResetCounters();
    startTime = Clock::Current().TimeMilliseconds();
    {
        const std::lock_guard guard(lock);
        queue.clear();
        finished = false;
    }
    thread = std::make_unique<std::thread>(&MediaTranscodeGIF::OnProc, this);
    std::unique_lock guard(lock);
    startedOrStopped.wait(guard, [this] { return running || finished; });
    return true;
}

void MediaTranscodeGIF::OnStop() {
    if (!thread) return;
    if (running) {
        SetVideoSample(nullptr, 0, 0, 0, 0, 0);
        running = false;
        std::unique_lock guard(lock);
        startedOrStopped.wait(guard, [this] { return finished; });
    }
    thread->join();
    thread.reset();
}

void MediaTranscodeGIF::OnCleanup() {
    encoder.Reset();
    stream.Reset();
    wicFactory.Reset();
}

void MediaTranscodeGIF::OnProc() {
    const HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        const std::lock_guard guard(lock);
        running = true;
        startedOrStopped.notify_all();
    }
    while (running) {
        std::unique_ptr<GifSample> sample;
        {
            std::unique_lock guard(lock);
            sampleReady.wait(guard, [this] { return !queue.empty(); });
            sample = std::move(queue.front());
            queue.pop_front();
        }
        if (sample->width == 0) break;
        SetSample(sample->data.get(), sample->width, sample->height, sample->stride);
    }
    // The file ends with the encoder: its release writes the trailer, and there is no last Commit.
    OnCleanup();
    if (SUCCEEDED(com)) CoUninitialize();

    const std::lock_guard guard(lock);
    for (const auto& left : queue) {
        if (left->data) ++video_dropped;
    }
    queue.clear();
    finished = true;
    startedOrStopped.notify_all();
    running = false;
}

bool MediaTranscodeGIF::Intialize() {
    if (videoWidth == 0 || videoHeight == 0 || filename.empty()) return false;
    // What an earlier try left holds the file open.
    OnCleanup();
    HRESULT hr = CreateObject(CLSID_WICImagingFactory2, wicFactory);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - Create WICImagingFactory failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    hr = wicFactory->CreateStream(stream.Put());
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - CreateStream failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    hr = stream->InitializeFromFilename(filename.c_str(), GENERIC_WRITE);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - InitializeFromFilename failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    hr = wicFactory->CreateEncoder(GUID_ContainerFormatGif, &GUID_VendorMicrosoft, encoder.Put());
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - CreateEncoder failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    hr = encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - Encoder Initialize failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    if (!WriteGlobalMetadata()) return false;
    initialized = true;
    return true;
}

bool MediaTranscodeGIF::WriteGlobalMetadata() {
    ComPtr<IWICMetadataQueryWriter> writer;
    const HRESULT hr = encoder->GetMetadataQueryWriter(writer.Put());
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "GIF - GetMetadataQueryWriter failed - 0x%08X",
                      static_cast<unsigned>(hr));
        return false;
    }
    UCHAR application[] = {'N', 'E', 'T', 'S', 'C', 'A', 'P', 'E', '2', '.', '0'};
    // A sub-block of 3 bytes: the loop's identifier and a count of 0, which is for ever.
    UCHAR loop[] = {3, 1, 0, 0, 0};
    char comment[] = "Produced by Halvorix Ombrix";
    const struct {
        const wchar_t* path;
        PROPVARIANT value;
    } items[] = {
        {L"/appext/Application", ByteVector(application, sizeof application)},
        {L"/appext/Data", ByteVector(loop, sizeof loop)},
        {L"/commentext/TextEntry", Text(comment)},
        {L"/logscrdesc/Width", Word(videoWidth)},
        {L"/logscrdesc/Height", Word(videoHeight)},
    };
    return std::all_of(std::begin(items), std::end(items), [&](const auto& item) {
        return SUCCEEDED(writer->SetMetadataByName(item.path, &item.value));
    });
}

void MediaTranscodeGIF::SetSample(void* data, unsigned width, unsigned height, unsigned stride) {
    bool written = false;
    if (data && height != 0) {
        if (!initialized) {
            if (videoWidth != width || videoHeight != height) {
                const double scale = std::min(static_cast<double>(videoWidth) / width,
                                              static_cast<double>(videoHeight) / height);
                videoWidth = static_cast<std::uint32_t>(width * scale);
                videoHeight = static_cast<std::uint32_t>(height * scale);
            }
            // Not tested: a failure is tried again with the next sample.
            Intialize();
        }
        const bool transparent =
            HasTransparentCorner(static_cast<const unsigned char*>(data), width, height, stride);
        written = initialized && WriteFrame(data, width, height, stride, transparent);
    }
    ++(written ? video_written : video_dropped);
}

bool MediaTranscodeGIF::WriteFrame(void* data, unsigned width, unsigned height, unsigned stride,
                                   bool transparent) {
    // Hundredths of a second.
    const std::uint32_t delay =
        fps == 0 ? 0 : static_cast<std::uint32_t>(std::round(100.0f / static_cast<float>(fps)));
    ComPtr<IWICFormatConverter> converter;
    if (FAILED(wicFactory->CreateFormatConverter(converter.Put()))) return false;
    ComPtr<IWICBitmap> bitmap;
    if (FAILED(wicFactory->CreateBitmapFromMemory(width, height, GUID_WICPixelFormat32bppPBGRA,
                                                  stride, stride * height, static_cast<BYTE*>(data),
                                                  bitmap.Put()))) {
        return false;
    }
    ComPtr<IWICBitmapScaler> scaler;
    if (FAILED(wicFactory->CreateBitmapScaler(scaler.Put()))) return false;
    if (FAILED(scaler->Initialize(bitmap.Get(), videoWidth, videoHeight,
                                  WICBitmapInterpolationModeLinear)))
        return false;
    bitmap->CopyPalette(nullptr);
    ComPtr<IWICPalette> palette;
    if (FAILED(wicFactory->CreatePalette(palette.Put()))) return false;
    if (FAILED(palette->InitializeFromBitmap(bitmap.Get(), palette_size, transparent)))
        return false;
    BOOL has_alpha = FALSE;
    if (FAILED(palette->HasAlpha(&has_alpha))) return false;
    if (FAILED(converter->Initialize(
            scaler.Get(), GUID_WICPixelFormat8bppIndexed,
            quality ? WICBitmapDitherTypeErrorDiffusion : WICBitmapDitherTypeNone, palette.Get(),
            has_alpha ? static_cast<double>(alphaThresholdPercent) : 0.0,
            WICBitmapPaletteTypeFixedWebPalette))) {
        return false;
    }
    ComPtr<IWICBitmapFrameEncode> frame;
    if (FAILED(encoder->CreateNewFrame(frame.Put(), nullptr))) return false;
    if (FAILED(frame->Initialize(nullptr))) return false;
    if (FAILED(frame->WriteSource(converter.Get(), nullptr))) return false;
    ComPtr<IWICMetadataQueryWriter> writer;
    if (FAILED(frame->GetMetadataQueryWriter(writer.Put()))) return false;
    if (FAILED(frame->Commit())) return false;

    // Behind the commit, and whether each is taken is not looked at: the picture stands without
    // them.
    const auto set = [&](const wchar_t* path, const PROPVARIANT& value) {
        writer->SetMetadataByName(path, &value);
    };
    set(L"/grctlext/Delay", Word(delay));
    if (has_alpha) {
        set(L"/grctlext/TransparencyFlag", Flag(true));
        set(L"/grctlext/TransparentColorIndex", Byte(transparent_index));
    }
    set(L"/imgdesc/Width", Word(width));
    set(L"/imgdesc/Height", Word(height));
    return true;
}

}  // namespace Vimbrel
