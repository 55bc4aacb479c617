// The MP4 recorder. Its settings are documented at CreateMediaTranscodeMP4.
#pragma once

#include <mfidl.h>
#include <mmreg.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "Source/record/MFMemorySource.h"
#include "Source/record/TranscodeCounters.h"
#include "Source/record/TranscodeSession.h"
#include "base/MediaStartup.h"
#include "base/ThreadSafety.h"
#include "com/ComPtr.h"
#include "vimbrel/MediaTranscode.h"

namespace Vimbrel {

class VIMBREL_API MediaTranscodeMP4 final : public MediaTranscode,
                                            public TranscodeCounters,
                                            private TranscodeSession::Listener {
public:
    explicit MediaTranscodeMP4(bool audio_only);
    ~MediaTranscodeMP4() override;
    MediaTranscodeMP4(const MediaTranscodeMP4&) = delete;
    MediaTranscodeMP4& operator=(const MediaTranscodeMP4&) = delete;

    OutputType GetOutputType() const override { return output_type; }
    void SetVideoSample(void* data, unsigned width, unsigned height, unsigned stride,
                        std::int64_t time, std::int64_t duration) override;
    void SetAudioSample(void* data, unsigned size, std::int64_t time,
                        std::int64_t duration) override;
    void SetVideoOutputFormat(int width, int height) override;
    void SetVideoFps(int numerator, int denominator) override;
    void SetVideoQuality(int quality) override;
    void SetAudioOutputFormat(const WAVEFORMATEX* format, const unsigned char* extra) override;

protected:
    bool OnCreate() override;
    void OnCleanup() override;
    bool OnStart() override;
    void OnStop() override;

private:
    // Where the stamps of a medium begin.
    struct Origin {
        std::int64_t first_time = 0;
        std::int64_t samples = 0;
    };

    void OnSessionFailed() override;
    void OnSampleRefused(bool video) override;

    // The source, and the stamp counted from the medium's first sample. Null outside Create and
    // Stop.
    ComPtr<MFMemorySource> SourceFor(bool video, std::int64_t& time);
    void CalculateAudioVideoBitRate();
    HRESULT CreateSource(ComPtr<IMFMediaSource>& result);
    HRESULT CreateTranscodeProfile(bool hardware, ComPtr<IMFTranscodeProfile>& profile);
    HRESULT CreateAACProfile(ComPtr<IMFAttributes>& attributes);
    HRESULT CreateH264Profile(ComPtr<IMFAttributes>& attributes);
    HRESULT CreateContainerAttributes(bool hardware, ComPtr<IMFAttributes>& attributes);
    HRESULT CreateTopology(IMFMediaSource* media_source, ComPtr<IMFTopology>& topology);
    void ReplaceSource(ComPtr<MFMemorySource> replacement);

    // The first member, so that the platform ends last.
    MediaPlatform platform;
    const OutputType output_type;
    std::atomic<bool> is_running{false};
    std::atomic<bool> session_failed{false};  // nothing more is written
    bool is_created = false;
    std::uint32_t video_width = 0;
    std::uint32_t video_height = 0;
    std::uint32_t video_fps_num = 25;
    std::uint32_t video_fps_den = 1;
    std::uint32_t video_quality = 1;
    WAVEFORMATEX audio_format{};
    std::unique_ptr<unsigned char[]> audio_extra;  // audio_format.cbSize bytes, or null
    std::uint32_t video_bit_rate = 0;              // bits per second
    std::uint32_t audio_bytes_per_second = 12000;
    HANDLE source_started_event;
    // Taken alone: a sample may come from another thread while Stop takes the source away.
    Mutex source_lock;
    Origin audio_origin GUARDED_BY(source_lock);
    Origin video_origin GUARDED_BY(source_lock);
    ComPtr<MFMemorySource> source GUARDED_BY(source_lock);
    ComPtr<TranscodeSession> session;
};

}  // namespace Vimbrel
