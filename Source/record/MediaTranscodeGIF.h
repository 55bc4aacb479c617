// The GIF recorder. Its settings are documented at CreateMediaTranscodeGIF.
#pragma once

#include <wincodec.h>

#include <atomic>
#include <deque>
#include <memory>
#include <thread>

#include "Source/record/GifFrameWriter.h"
#include "Source/record/TranscodeCounters.h"
#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "vimbrel/MediaTranscode.h"

namespace Vimbrel {

// A queued frame.
struct GifSample {
    std::unique_ptr<unsigned char[]> data;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t stride = 0;
};

class MediaTranscodeGIF final : public MediaTranscode, public TranscodeCounters {
public:
    MediaTranscodeGIF() = default;
    ~MediaTranscodeGIF() override;

    OutputType GetOutputType() const override { return OutputType::GIF; }
    void SetVideoSample(void* data, unsigned width, unsigned height, unsigned stride,
                        std::int64_t time, std::int64_t duration) override;
    void SetVideoOutputFormat(int width, int height) override;
    void SetVideoFps(int framesPerSecond, int) override;
    void SetVideoQuality(int newQuality) override;

    // Takes every sample, without the limit by the clock. The delay written stays that of the rate.
    void SetVideoFpsAsVideo(bool on) { fpsAsVideo = on; }
    // Pixels less opaque than this become transparent, in frames that have a transparent colour.
    void SetAlphaThresholdPercent(float percent) { alphaThresholdPercent = percent; }
    bool IsWorking() const { return running; }

private:
    void OnCleanup() override;
    bool OnStart() override;
    void OnStop() override;

    // Whether the clock holds a frame back.
    bool IsLimited() const;
    void Enqueue(std::unique_ptr<GifSample> sample);
    void End();
    // Null at the end of the recording.
    std::unique_ptr<GifSample> Next();
    bool Intialize();
    bool WriteGlobalMetadata();
    void OnProc();
    void EndFile();
    void SetSample(void* data, unsigned width, unsigned height, unsigned stride);
    GifFrameWriter FrameWriter() const;

    ComPtr<IWICImagingFactory2> wicFactory;
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    std::uint32_t videoWidth = 0;
    std::uint32_t videoHeight = 0;
    float alphaThresholdPercent = 90.0f;
    bool initialized = false;  // the file's header is written
    bool quality = true;       // error diffusion
    bool fpsAsVideo = false;
    std::uint32_t fps = 0;
    std::atomic<std::uint32_t> sampleCount{0};
    std::uint32_t startTime = 0;
    std::unique_ptr<std::thread> thread;
    std::atomic<bool> running{false};
    Mutex lock;  // taken alone
    Condition startedOrStopped;
    Condition sampleReady;
    std::deque<std::unique_ptr<GifSample>> queue GUARDED_BY(lock);
    bool ended GUARDED_BY(lock) = false;    // no more samples are taken
    bool finished GUARDED_BY(lock) = true;  // the thread is past its loop
};

}  // namespace Vimbrel
