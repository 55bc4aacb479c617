#include "Source/record/MediaTranscodeMP4.h"

#include <mfapi.h>

#include <cstring>
#include <utility>

#include "Source/record/AttributeWriter.h"
#include "Source/record/InputTypes.h"
#include "base/Failure.h"
#include "base/MessageWait.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_WARN;

constexpr UINT32 aac_profile_level = 41;
constexpr UINT32 h264_main_profile = 77;

}  // namespace

std::unique_ptr<MediaTranscode> CreateMediaTranscodeMP4(bool audio_only) {
    return std::make_unique<MediaTranscodeMP4>(audio_only);
}

MediaTranscodeMP4::MediaTranscodeMP4(bool audio_only)
    : output_type(audio_only ? OutputType::MP4Audio : OutputType::MP4),
      source_started_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

MediaTranscodeMP4::~MediaTranscodeMP4() {
    OnStop();
    ReplaceSource(nullptr);
    if (source_started_event) CloseHandle(source_started_event);
}

void MediaTranscodeMP4::SetVideoOutputFormat(int width, int height) {
    video_width = static_cast<std::uint32_t>(width);
    video_height = static_cast<std::uint32_t>(height);
}

void MediaTranscodeMP4::SetVideoFps(int numerator, int denominator) {
    video_fps_num = static_cast<std::uint32_t>(numerator);
    video_fps_den = static_cast<std::uint32_t>(denominator);
}

void MediaTranscodeMP4::SetVideoQuality(int quality) {
    video_quality = static_cast<std::uint32_t>(quality);
}

void MediaTranscodeMP4::SetAudioOutputFormat(const WAVEFORMATEX* format,
                                             const unsigned char* extra) {
    // The bytes of another format may be fewer than this one's cbSize says.
    audio_extra.reset();
    audio_format = format ? *format : WAVEFORMATEX{};
    if (audio_format.cbSize == 0 || !extra) return;
    audio_extra.reset(new unsigned char[audio_format.cbSize]);
    std::memcpy(audio_extra.get(), extra, audio_format.cbSize);
}

ComPtr<MFMemorySource> MediaTranscodeMP4::SourceFor(bool video, std::int64_t& time) {
    const MutexLock lock(source_lock);
    if (!source) return nullptr;
    // Kept: a second file does not begin anew, because hosts cut one recording into files by it.
    Origin& origin = video ? video_origin : audio_origin;
    if (origin.samples++ == 0) origin.first_time = time;
    // Unsigned, since stamps far apart may not overflow.
    time = static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                     static_cast<std::uint64_t>(origin.first_time));
    return source;
}

void MediaTranscodeMP4::SetVideoSample(void* data, unsigned, unsigned height, unsigned stride,
                                       std::int64_t time, std::int64_t duration) {
    if (output_type == OutputType::MP4Audio) return;
    const ComPtr<MFMemorySource> target = SourceFor(true, time);
    if (target) target->SetSample(true, data, height * stride, 0, 0, time, duration);
}

void MediaTranscodeMP4::SetAudioSample(void* data, unsigned size, std::int64_t time,
                                       std::int64_t duration) {
    const ComPtr<MFMemorySource> target = SourceFor(false, time);
    if (target) target->SetSample(false, data, size, 0, 0, time, duration);
}

void MediaTranscodeMP4::ReplaceSource(ComPtr<MFMemorySource> replacement) {
    {
        const MutexLock lock(source_lock);
        std::swap(source, replacement);
    }
    if (!replacement) return;
    // A session that failed may still wait for a block, and Shutdown would wait for it.
    replacement->SetSample(false, nullptr, 0, 0, 0, 0, 0);
    replacement->Shutdown();
}

void MediaTranscodeMP4::CalculateAudioVideoBitRate() {
    audio_bytes_per_second = 12000;
    constexpr std::uint32_t bits_per_pixel[] = {2, 5, 10};
    // Another quality leaves the rate as it was.
    if (video_quality < std::size(bits_per_pixel))
        video_bit_rate = video_width * video_height * bits_per_pixel[video_quality];
}

bool MediaTranscodeMP4::OnCreate() {
    OnStop();  // of a recording that still runs
    ResetCounters();
    session_failed = false;
    is_running = false;
    is_created = false;
    HeapSetInformation(nullptr, HeapEnableTerminationOnCorruption, nullptr, 0);
    CalculateAudioVideoBitRate();
    ComPtr<IMFMediaSource> media_source;
    if (FAILED(LogIfFailed(CreateSource(media_source), "TranscodeMP4 - CreateSource")))
        return false;
    ComPtr<IMFTopology> topology;
    if (FAILED(CreateTopology(media_source.Get(), topology))) return false;
    const HRESULT hr = TranscodeSession::Create(topology.Get(), session);
    if (FAILED(LogIfFailed(hr, "TranscodeMP4 - TranscodeSession Create"))) return false;
    is_created = true;
    return true;
}

HRESULT MediaTranscodeMP4::CreateTopology(IMFMediaSource* media_source,
                                          ComPtr<IMFTopology>& topology) {
    ComPtr<IMFTranscodeProfile> profile;
    HRESULT hr = LogIfFailed(CreateTranscodeProfile(true, profile),
                             "TranscodeMP4 - CreateTranscodeProfile (hw)");
    // Kept: no attempt in software here, because only the topology opens encoders.
    if (FAILED(hr)) return hr;
    hr = LogIfFailed(
        MFCreateTranscodeTopology(media_source, filename.c_str(), profile.Get(), topology.Put()),
        "TranscodeMP4 - MFCreateTranscodeTopology (hw)", LOG_LEVEL_WARN);
    if (SUCCEEDED(hr)) {
        topology->SetUINT32(MF_TOPOLOGY_DXVA_MODE, MFTOPOLOGY_DXVA_FULL);
        topology->SetUINT32(MF_TOPOLOGY_HARDWARE_MODE, MFTOPOLOGY_HWMODE_USE_HARDWARE);
        return hr;
    }
    hr = LogIfFailed(CreateTranscodeProfile(false, profile),
                     "TranscodeMP4 - CreateTranscodeProfile");
    if (FAILED(hr)) return hr;
    return LogIfFailed(
        MFCreateTranscodeTopology(media_source, filename.c_str(), profile.Get(), topology.Put()),
        "TranscodeMP4 - MFCreateTranscodeTopology");
}

HRESULT MediaTranscodeMP4::CreateSource(ComPtr<IMFMediaSource>& result) {
    ReplaceSource(nullptr);
    HRESULT hr = platform.Start();
    if (FAILED(hr)) return hr;
    ComPtr<IMFMediaType> audio_type;
    if (audio_format.nChannels != 0 && audio_format.nSamplesPerSec != 0) {
        hr = CreateAudioType(audio_format, audio_extra.get(), audio_type);
        if (FAILED(hr)) return hr;
    }
    ComPtr<MFMemorySource> made;
    made.Attach(new MFMemorySource);
    ReplaceSource(made);
    ComPtr<IMFMediaType> video_type;
    if (output_type != OutputType::MP4Audio) {
        hr = CreateVideoType({video_width, video_height, video_fps_num, video_fps_den}, video_type);
        if (FAILED(hr)) return hr;
    }
    made->SetTypes(video_type.Get(), audio_type.Get());
    // Kept: the result is ignored, because the topology fails if there are no streams.
    static_cast<void>(made->BuildStreams());
    hr = made->QueryInterface(IID_PPV_ARGS(result.Put()));
    if (SUCCEEDED(hr)) {
        made->SetStartedEvent(source_started_event);
        made->SetCounters(true, {&video_taken, &video_written, &video_dropped, &session_failed});
        made->SetCounters(false, {&audio_taken, &audio_written, &audio_dropped, &session_failed});
    }
    return hr;
}

HRESULT MediaTranscodeMP4::CreateTranscodeProfile(bool hardware,
                                                  ComPtr<IMFTranscodeProfile>& profile) {
    HRESULT hr = MFCreateTranscodeProfile(profile.Put());
    if (FAILED(hr)) return hr;
    if (audio_format.nChannels != 0) {
        ComPtr<IMFAttributes> audio;
        hr = LogIfFailed(CreateAACProfile(audio), "TranscodeMP4 - CreateAACProfile");
        if (FAILED(hr)) return hr;
        hr = LogIfFailed(profile->SetAudioAttributes(audio.Get()),
                         "TranscodeMP4 - SetAudioAttributes");
        if (FAILED(hr)) return hr;
    }
    if (output_type == OutputType::MP4) {
        ComPtr<IMFAttributes> video;
        hr = LogIfFailed(CreateH264Profile(video), "TranscodeMP4 - CreateH264Profile");
        if (FAILED(hr)) return hr;
        hr = LogIfFailed(profile->SetVideoAttributes(video.Get()),
                         "TranscodeMP4 - SetVideoAttributes");
        if (FAILED(hr)) return hr;
    }
    ComPtr<IMFAttributes> container;
    hr = CreateContainerAttributes(hardware, container);
    if (FAILED(hr)) return hr;
    return LogIfFailed(profile->SetContainerAttributes(container.Get()),
                       "TranscodeMP4 - SetContainerAttributes");
}

HRESULT MediaTranscodeMP4::CreateAACProfile(ComPtr<IMFAttributes>& attributes) {
    const UINT32 rate = audio_format.nSamplesPerSec == 48000 ? 48000 : 44100;
    const WORD channels = audio_format.nChannels;
    return AttributeWriter(attributes, 7)
        .Guid(MF_MT_SUBTYPE, MFAudioFormat_AAC)
        .Number(MF_MT_AUDIO_BITS_PER_SAMPLE, 16)
        .Number(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate)
        .Number(MF_MT_AUDIO_NUM_CHANNELS,
                channels == 1 || channels == 2 || channels == 6 ? channels : 2)
        .Number(MF_MT_AUDIO_BLOCK_ALIGNMENT, 1)
        .Number(MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, aac_profile_level)
        .Number(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, audio_bytes_per_second)
        .Result();
}

HRESULT MediaTranscodeMP4::CreateH264Profile(ComPtr<IMFAttributes>& attributes) {
    return AttributeWriter(attributes, 5)
        .Guid(MF_MT_SUBTYPE, MFVideoFormat_H264)
        .Number(MF_MT_MPEG2_PROFILE, h264_main_profile)
        .Wish(MF_MT_AVG_BITRATE, video_bit_rate)
        .Pair(MF_MT_FRAME_SIZE, video_width, video_height)
        .Pair(MF_MT_FRAME_RATE, video_fps_num, video_fps_den)
        .Result();
}

HRESULT MediaTranscodeMP4::CreateContainerAttributes(bool hardware,
                                                     ComPtr<IMFAttributes>& attributes) {
    HRESULT hr =
        LogIfFailed(MFCreateAttributes(attributes.Put(), 2), "TranscodeMP4 - MFCreateAttributes");
    if (FAILED(hr)) return hr;
    hr =
        LogIfFailed(attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4),
                    "TranscodeMP4 - Set MFTranscodeContainerType_MPEG4");
    if (FAILED(hr) || !hardware) return hr;
    hr = LogIfFailed(attributes->SetUINT32(MF_TRANSCODE_TOPOLOGYMODE,
                                           MF_TRANSCODE_TOPOLOGYMODE_HARDWARE_ALLOWED),
                     "TranscodeMP4 - Set TOPOLOGYMODE_HARDWARE_ALLOWED", LOG_LEVEL_WARN);
    if (SUCCEEDED(hr)) return S_OK;
    LogIfFailed(
        attributes->SetUINT32(MF_TRANSCODE_TOPOLOGYMODE, MF_TRANSCODE_TOPOLOGYMODE_SOFTWARE_ONLY),
        "TranscodeMP4 - Set TOPOLOGYMODE_SOFTWARE_ONLY", LOG_LEVEL_WARN);
    return S_OK;
}

bool MediaTranscodeMP4::OnStart() {
    if (!session) return false;
    if (is_running) return true;
    ResetEvent(source_started_event);
    HRESULT hr = session->Start(source_started_event, *this);
    WaitKeepingMessages(source_started_event);
    // The event is signalled by the first pull, or by a failure before it.
    if (SUCCEEDED(hr)) hr = session->Status();
    if (FAILED(LogIfFailed(hr, "TranscodeMP4 - TranscodeSession Start"))) return false;
    is_running = true;
    return true;
}

void MediaTranscodeMP4::OnStop() {
    if (!session) return;
    if (is_running) {
        SetVideoSample(nullptr, 0, 0, 0, 0, 0);
        SetAudioSample(nullptr, 0, 0, 0);
        session->WaitClosed();
    }
    session->Shutdown();
    session.Reset();
    ReplaceSource(nullptr);
    is_running = false;
}

void MediaTranscodeMP4::OnSessionFailed() {
    session_failed = true;
    failed = true;
}

void MediaTranscodeMP4::OnSampleRefused(bool video) {
    ++(video ? video_refused : audio_refused);
    failed = true;
}

void MediaTranscodeMP4::OnCleanup() { OnStop(); }

}  // namespace Vimbrel
