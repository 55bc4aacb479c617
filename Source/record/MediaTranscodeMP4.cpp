#include "Source/record/MediaTranscodeMP4.h"

#include <mfapi.h>
#include <wingdi.h>

#include <cassert>
#include <cstring>
#include <utility>
#include <vector>

#include "base/MessageWait.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_WARN;

constexpr UINT32 aac_profile_level = 41;
constexpr UINT32 h264_main_profile = 77;

unsigned Code(HRESULT hr) { return static_cast<unsigned>(hr); }

// Values of a new attribute store, up to the first that fails.
class AttributeWriter {
public:
    AttributeWriter(ComPtr<IMFAttributes>& attributes, UINT32 size)
        : result(MFCreateAttributes(attributes.Put(), size)), target(attributes) {}

    AttributeWriter& Number(REFGUID key, UINT32 value) {
        if (SUCCEEDED(result)) result = target->SetUINT32(key, value);
        return *this;
    }
    AttributeWriter& Pair(REFGUID key, UINT32 high, UINT32 low) {
        if (SUCCEEDED(result)) result = target->SetUINT64(key, UINT64{high} << 32 | low);
        return *this;
    }
    AttributeWriter& Guid(REFGUID key, REFGUID value) {
        if (SUCCEEDED(result)) result = target->SetGUID(key, value);
        return *this;
    }
    // Whether the store takes it does not matter.
    AttributeWriter& Wish(REFGUID key, UINT32 value) {
        if (SUCCEEDED(result)) target->SetUINT32(key, value);
        return *this;
    }
    HRESULT Result() const { return result; }

private:
    HRESULT result;
    ComPtr<IMFAttributes>& target;
};

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
    audio_extra.reset();
    audio_format = format ? *format : WAVEFORMATEX{};
    if (audio_format.cbSize == 0 || !extra) return;
    audio_extra.reset(new unsigned char[audio_format.cbSize]);
    std::memcpy(audio_extra.get(), extra, audio_format.cbSize);
}

void MediaTranscodeMP4::SetVideoSample(void* data, unsigned, unsigned height, unsigned stride,
                                       std::int64_t time, std::int64_t duration) {
    if (output_type == OutputType::MP4Audio) return;
    const ComPtr<MFMemorySource> target = Source();
    assert(target && "a frame outside Create and Stop");
    if (!target) return;
    // Not started anew with a second file, by design.
    if (video_samples == 0) first_video_time = time;
    const unsigned size = height * stride;
    if (size != 0) ++video_taken;
    target->SetSample(true, data, size, 0, 0, time - first_video_time, duration);
    ++video_samples;
}

void MediaTranscodeMP4::SetAudioSample(void* data, unsigned size, std::int64_t time,
                                       std::int64_t duration) {
    const ComPtr<MFMemorySource> target = Source();
    assert(target && "sound outside Create and Stop");
    if (!target) return;
    if (audio_samples == 0) first_audio_time = time;
    if (size != 0) ++audio_taken;
    target->SetSample(false, data, size, 0, 0, time - first_audio_time, duration);
    ++audio_samples;
}

// Under the lock, since a sample may come from another thread while Stop takes the source away.
ComPtr<MFMemorySource> MediaTranscodeMP4::Source() {
    const std::lock_guard guard(source_lock);
    return source;
}

void MediaTranscodeMP4::ReplaceSource(ComPtr<MFMemorySource> replacement) {
    {
        const std::lock_guard guard(source_lock);
        std::swap(source, replacement);
    }
    if (replacement) replacement->Shutdown();
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
    is_running = false;
    is_created = false;
    HeapSetInformation(nullptr, HeapEnableTerminationOnCorruption, nullptr, 0);
    CalculateAudioVideoBitRate();
    ComPtr<IMFMediaSource> media_source;
    HRESULT hr = CreateSource(media_source);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - CreateSource failed - 0x%08X", Code(hr));
        return false;
    }
    ComPtr<IMFTopology> topology;
    hr = CreateTopology(media_source.Get(), topology);
    if (FAILED(hr)) return false;
    hr = TranscodeSession::Create(topology.Get(), session);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - TranscodeSession Create failed - 0x%08X",
                      Code(hr));
        return false;
    }
    is_created = true;
    return true;
}

HRESULT MediaTranscodeMP4::CreateTopology(IMFMediaSource* media_source,
                                          ComPtr<IMFTopology>& topology) {
    ComPtr<IMFTranscodeProfile> profile;
    HRESULT hr = CreateTranscodeProfile(true, profile);
    if (FAILED(hr)) {
        // Without a try in software, by design: only encoders differ from there on.
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - CreateTranscodeProfile (hw) failed - 0x%08X",
                      Code(hr));
        return hr;
    }
    hr = MFCreateTranscodeTopology(media_source, filename.c_str(), profile.Get(), topology.Put());
    if (SUCCEEDED(hr)) {
        topology->SetUINT32(MF_TOPOLOGY_DXVA_MODE, MFTOPOLOGY_DXVA_FULL);
        topology->SetUINT32(MF_TOPOLOGY_HARDWARE_MODE, MFTOPOLOGY_HWMODE_USE_HARDWARE);
        return hr;
    }
    APPLOG_FORMAT(LOG_LEVEL_WARN, "TranscodeMP4 - MFCreateTranscodeTopology (hw) failed - 0x%08X",
                  Code(hr));
    hr = CreateTranscodeProfile(false, profile);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - CreateTranscodeProfile failed - 0x%08X",
                      Code(hr));
        return hr;
    }
    hr = MFCreateTranscodeTopology(media_source, filename.c_str(), profile.Get(), topology.Put());
    if (FAILED(hr))
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - MFCreateTranscodeTopology failed - 0x%08X",
                      Code(hr));
    return hr;
}

HRESULT MediaTranscodeMP4::CreateSource(ComPtr<IMFMediaSource>& result) {
    ReplaceSource(nullptr);
    HRESULT hr = platform.Start();
    if (FAILED(hr)) return hr;
    ComPtr<IMFMediaType> audio_type;
    if (audio_format.nChannels != 0 && audio_format.nSamplesPerSec != 0) {
        hr = CreateAudioType(audio_type);
        if (FAILED(hr)) return hr;
    }
    ComPtr<MFMemorySource> made;
    made.Attach(new MFMemorySource);
    ReplaceSource(made);
    ComPtr<IMFMediaType> video_type;
    if (output_type != OutputType::MP4Audio) {
        hr = CreateVideoType(video_type);
        if (FAILED(hr)) return hr;
    }
    made->SetTypes(video_type.Get(), audio_type.Get());
    // Its result is not looked at, by design: without streams the topology fails.
    static_cast<void>(made->BuildStreams());
    hr = made->QueryInterface(IID_PPV_ARGS(result.Put()));
    if (SUCCEEDED(hr)) {
        made->SetStartedEvent(source_started_event);
        made->SetCounters(true, {&video_written, &video_dropped});
        made->SetCounters(false, {&audio_written, &audio_dropped});
    }
    return hr;
}

HRESULT MediaTranscodeMP4::CreateAudioType(ComPtr<IMFMediaType>& type) const {
    // The platform reads the format's own bytes right behind it.
    const std::size_t extra_size = audio_extra ? audio_format.cbSize : 0;
    std::vector<unsigned char> bytes(sizeof audio_format + extra_size);
    WAVEFORMATEX format = audio_format;
    format.cbSize = static_cast<WORD>(extra_size);
    std::memcpy(bytes.data(), &format, sizeof format);
    if (audio_extra) std::memcpy(bytes.data() + sizeof format, audio_extra.get(), extra_size);
    ComPtr<IMFAudioMediaType> audio_type;
    const HRESULT hr = MFCreateAudioMediaType(reinterpret_cast<const WAVEFORMATEX*>(bytes.data()),
                                              audio_type.Put());
    if (SUCCEEDED(hr)) type = ComPtr<IMFMediaType>(audio_type.Get());
    return hr;
}

HRESULT MediaTranscodeMP4::CreateVideoType(ComPtr<IMFMediaType>& type) const {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = static_cast<LONG>(video_width);
    header.biHeight = static_cast<LONG>(0 - video_height);  // top down
    header.biPlanes = 1;
    header.biBitCount = 32;
    header.biSizeImage = video_width * video_height * 4;
    ComPtr<IMFVideoMediaType> video_type;
    const HRESULT hr = MFCreateVideoMediaTypeFromBitMapInfoHeaderEx(
        &header, sizeof header, 1, 1, MFVideoInterlace_Progressive, 0, video_fps_num, video_fps_den,
        0, video_type.Put());
    if (SUCCEEDED(hr)) type = ComPtr<IMFMediaType>(video_type.Get());
    return hr;
}

HRESULT MediaTranscodeMP4::CreateTranscodeProfile(bool hardware,
                                                  ComPtr<IMFTranscodeProfile>& profile) {
    HRESULT hr = MFCreateTranscodeProfile(profile.Put());
    if (FAILED(hr)) return hr;
    if (audio_format.nChannels != 0) {
        ComPtr<IMFAttributes> audio;
        hr = CreateAACProfile(audio);
        if (FAILED(hr)) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - CreateAACProfile failed - 0x%08X",
                          Code(hr));
            return hr;
        }
        hr = profile->SetAudioAttributes(audio.Get());
        if (FAILED(hr)) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - SetAudioAttributes failed - 0x%08X",
                          Code(hr));
            return hr;
        }
    }
    if (output_type == OutputType::MP4) {
        ComPtr<IMFAttributes> video;
        hr = CreateH264Profile(video);
        if (FAILED(hr)) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - CreateH264Profile failed - 0x%08X",
                          Code(hr));
            return hr;
        }
        hr = profile->SetVideoAttributes(video.Get());
        if (FAILED(hr)) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - SetVideoAttributes failed - 0x%08X",
                          Code(hr));
            return hr;
        }
    }
    ComPtr<IMFAttributes> container;
    hr = CreateContainerAttributes(hardware, container);
    if (FAILED(hr)) return hr;
    hr = profile->SetContainerAttributes(container.Get());
    if (FAILED(hr))
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - SetContainerAttributes failed - 0x%08X",
                      Code(hr));
    return hr;
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
    HRESULT hr = MFCreateAttributes(attributes.Put(), 2);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - MFCreateAttributes failed - 0x%08X",
                      Code(hr));
        return hr;
    }
    hr = attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR,
                      "TranscodeMP4 - Set MFTranscodeContainerType_MPEG4 failed - 0x%08X",
                      Code(hr));
        return hr;
    }
    if (!hardware) return S_OK;
    hr = attributes->SetUINT32(MF_TRANSCODE_TOPOLOGYMODE,
                               MF_TRANSCODE_TOPOLOGYMODE_HARDWARE_ALLOWED);
    if (SUCCEEDED(hr)) return S_OK;
    APPLOG_FORMAT(LOG_LEVEL_WARN,
                  "TranscodeMP4 - Set TOPOLOGYMODE_HARDWARE_ALLOWED failed - 0x%08X", Code(hr));
    hr = attributes->SetUINT32(MF_TRANSCODE_TOPOLOGYMODE, MF_TRANSCODE_TOPOLOGYMODE_SOFTWARE_ONLY);
    if (FAILED(hr))
        APPLOG_FORMAT(LOG_LEVEL_WARN,
                      "TranscodeMP4 - Set TOPOLOGYMODE_SOFTWARE_ONLY failed - 0x%08X", Code(hr));
    return S_OK;
}

bool MediaTranscodeMP4::OnStart() {
    if (!session) return false;
    if (is_running) return true;
    ResetEvent(source_started_event);
    const HRESULT hr = session->Start(source_started_event);
    WaitKeepingMessages(source_started_event);
    if (FAILED(hr)) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "TranscodeMP4 - TranscodeSession Start failed - 0x%08X",
                      Code(hr));
        return false;
    }
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

void MediaTranscodeMP4::OnCleanup() { OnStop(); }

}  // namespace Vimbrel
