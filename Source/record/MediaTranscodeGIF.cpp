#include "Source/record/MediaTranscodeGIF.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Source/record/PropertyValues.h"
#include "base/Clock.h"
#include "base/Failure.h"
#include "base/ObjectCreation.h"
#include "com/OutputEnd.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_TRACE;

constexpr std::size_t queue_limit = 5;
constexpr std::uint8_t transparent_corner_alpha = 10;  // and below

// Whether any of the four corner pixels is (nearly) transparent. The corners decide for the whole
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

bool MediaTranscodeGIF::IsLimited() const {
    if (fpsAsVideo) return false;
    const std::uint32_t elapsed = Clock::Current().TimeMilliseconds() - startTime;
    const float due = static_cast<float>(elapsed * fps) / 1000.0f;
    return !(static_cast<float>(sampleCount.load()) < due);
}

void MediaTranscodeGIF::SetVideoSample(void* data, unsigned width, unsigned height, unsigned,
                                       std::int64_t, std::int64_t) {
    if (data && IsLimited()) {
        ++video_limited;
        return;
    }
    ++sampleCount;
    if (!data || width == 0) return End();
    std::unique_ptr<GifSample> sample(new (std::nothrow) GifSample);
    const std::uint64_t size = std::uint64_t{width} * 4 * height;
    // The imaging component counts in 32 bits. A larger frame is dropped like one without memory.
    if (sample && width <= UINT32_MAX / 4 && size <= UINT32_MAX) {
        sample->width = width;
        sample->height = height;
        sample->stride = width * 4;
        sample->data.reset(new (std::nothrow) unsigned char[size]);
        if (sample->data) std::memcpy(sample->data.get(), data, size);
    }
    Enqueue(std::move(sample));
}

// Without a sample there was no memory for it.
void MediaTranscodeGIF::Enqueue(std::unique_ptr<GifSample> sample) {
    const MutexLock guard(lock);
    if (ended || finished) return;
    ++video_taken;
    if (!sample || !sample->data) {
        ++video_dropped;
        return;
    }
    try {
        queue.push_back(std::move(sample));
    } catch (const std::bad_alloc&) {
        ++video_dropped;
        return;
    }
    if (queue.size() > queue_limit) {
        ++video_dropped;
        queue.pop_front();
    }
    sampleReady.NotifyOne();
}

void MediaTranscodeGIF::End() {
    const MutexLock guard(lock);
    // The end takes a place in the queue as a frame does.
    if (!ended && queue.size() >= queue_limit) {
        ++video_dropped;
        queue.pop_front();
    }
    ended = true;
    sampleReady.NotifyOne();
}

std::unique_ptr<GifSample> MediaTranscodeGIF::Next() {
    MutexLock guard(lock);
    while (queue.empty() && !ended) sampleReady.Wait(guard);
    if (queue.empty()) return nullptr;
    std::unique_ptr<GifSample> sample = std::move(queue.front());
    queue.pop_front();
    return sample;
}

bool MediaTranscodeGIF::OnStart() {
    OnStop();  // of a recording that still runs, or that a null sample has ended
    initialized = false;
    running = false;
    sampleCount = 0;
    ResetCounters();
    startTime = Clock::Current().TimeMilliseconds();
    // With the lock, so that the thread cannot end before its state is set.
    MutexLock guard(lock);
    thread = std::make_unique<std::thread>(&MediaTranscodeGIF::OnProc, this);
    ended = false;
    finished = false;
    while (!running && !finished) startedOrStopped.Wait(guard);
    return true;
}

void MediaTranscodeGIF::OnStop() {
    if (!thread) return;
    if (running) {
        SetVideoSample(nullptr, 0, 0, 0, 0, 0);
        running = false;
        MutexLock guard(lock);
        while (!finished) startedOrStopped.Wait(guard);
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
        const MutexLock guard(lock);
        running = true;
        startedOrStopped.NotifyAll();
    }
    while (running) {
        const std::unique_ptr<GifSample> sample = Next();
        if (!sample) break;
        SetSample(sample->data.get(), sample->width, sample->height, sample->stride);
    }
    EndFile();
    OnCleanup();
    if (SUCCEEDED(com)) CoUninitialize();

    const MutexLock guard(lock);
    video_dropped += queue.size();
    queue.clear();
    finished = true;
    startedOrStopped.NotifyAll();
    running = false;
}

// The system's encoder ends the file with its release, without a last Commit. Ours would do so too,
// but nobody would learn whether the frames that it still has, and the trailer, could be written.
void MediaTranscodeGIF::EndFile() {
    IOutputEnd* end = nullptr;
    if (encoder &&
        SUCCEEDED(encoder->QueryInterface(iid_output_end, reinterpret_cast<void**>(&end)))) {
        if (FAILED(LogIfFailed(end->End(), "GIF - Encoder End", LOG_LEVEL_TRACE))) failed = true;
        end->Release();
    }
    // No frame is no file.
    if (video_written == 0) failed = true;
}

bool MediaTranscodeGIF::Intialize() {
    if (videoWidth == 0 || videoHeight == 0 || filename.empty()) return false;
    // The objects of an earlier attempt hold the file open.
    OnCleanup();
    initialized =
        SUCCEEDED(LogIfFailed(CreateObject(CLSID_WICImagingFactory2, wicFactory),
                              "GIF - Create WICImagingFactory")) &&
        SUCCEEDED(LogIfFailed(wicFactory->CreateStream(stream.Put()), "GIF - CreateStream")) &&
        SUCCEEDED(LogIfFailed(stream->InitializeFromFilename(filename.c_str(), GENERIC_WRITE),
                              "GIF - InitializeFromFilename")) &&
        SUCCEEDED(LogIfFailed(wicFactory->CreateEncoder(GUID_ContainerFormatGif,
                                                        &GUID_VendorMicrosoft, encoder.Put()),
                              "GIF - CreateEncoder")) &&
        SUCCEEDED(LogIfFailed(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache),
                              "GIF - Encoder Initialize")) &&
        WriteGlobalMetadata();
    return initialized;
}

bool MediaTranscodeGIF::WriteGlobalMetadata() {
    ComPtr<IWICMetadataQueryWriter> writer;
    if (FAILED(LogIfFailed(encoder->GetMetadataQueryWriter(writer.Put()),
                           "GIF - GetMetadataQueryWriter")))
        return false;
    UCHAR application[] = {'N', 'E', 'T', 'S', 'C', 'A', 'P', 'E', '2', '.', '0'};
    // A sub-block of 3 bytes: the loop's identifier and a count of 0, which means for ever.
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
    if (height != 0) {
        if (!initialized) {
            if (videoWidth != width || videoHeight != height) {
                const double scale = std::min(static_cast<double>(videoWidth) / width,
                                              static_cast<double>(videoHeight) / height);
                videoWidth = static_cast<std::uint32_t>(width * scale);
                videoHeight = static_cast<std::uint32_t>(height * scale);
            }
            try {
                Intialize();  // a failure is tried again with the next sample
            } catch (const std::bad_alloc&) {
                initialized = false;
            }
        }
        const bool transparent =
            HasTransparentCorner(static_cast<const unsigned char*>(data), width, height, stride);
        try {
            written = initialized && FrameWriter().Write(data, width, height, stride, transparent);
        } catch (const std::bad_alloc&) {
            written = false;
        }
        if (!written) failed = true;
    }
    ++(written ? video_written : video_dropped);
}

GifFrameWriter MediaTranscodeGIF::FrameWriter() const {
    GifFrameWriter writer;
    writer.factory = wicFactory.Get();
    writer.encoder = encoder.Get();
    writer.output_width = videoWidth;
    writer.output_height = videoHeight;
    writer.error_diffusion = quality;
    writer.alpha_threshold_percent = alphaThresholdPercent;
    writer.fps = fps;
    return writer;
}

}  // namespace Vimbrel
