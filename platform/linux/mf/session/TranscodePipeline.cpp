#include "platform/linux/mf/session/TranscodePipeline.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <new>

#include "platform/linux/codec/H264Stream.h"

namespace Vimbrel {

namespace {

constexpr std::int64_t units_a_second = StampLine::second;
// Stamps beyond 7000 years are refused: arithmetic with them could overflow. Clocks that are set
// from their first day to today stay far below.
constexpr std::int64_t latest_time = std::int64_t{1} << 61;

// In seconds: of one picture, and of silence that is encoded.
constexpr std::int64_t longest_interval = 600;
constexpr std::int64_t longest_silence = 60;

bool IsStamp(std::int64_t time_100ns) {
    return time_100ns >= -latest_time && time_100ns <= latest_time;
}

// Room for the index: a second's worth of the file, so that it hardly counts but in the shortest
// recordings.
std::uint64_t IndexRoom(const VideoOutput* video, const AudioOutput* audio) {
    std::uint64_t room = 0;
    if (video) room += video->bit_rate / 8;
    if (audio) room += audio->bytes_per_second;
    return std::clamp<std::uint64_t>(room, 128 << 10, 2 << 20);
}

std::int64_t Rescaled(std::int64_t time_100ns, std::int64_t rate) {
    return av_rescale(std::max<std::int64_t>(time_100ns, 0), rate, units_a_second);
}

}  // namespace

HRESULT TranscodePipeline::Create(const std::string& path, const VideoInput* video_input,
                                  const VideoOutput* video_output, const AudioInput* audio_input,
                                  const AudioOutput* audio_output, bool hardware_allowed,
                                  std::unique_ptr<TranscodePipeline>& result) {
    if (!video_input != !video_output || !audio_input != !audio_output ||
        (!video_input && !audio_input))
        return E_INVALIDARG;
    std::unique_ptr<TranscodePipeline> pipeline(new TranscodePipeline);
    std::vector<Mp4TrackFormat> formats;
    if (video_input) {
        const auto hardware =
            hardware_allowed ? HardwareEncoders() : std::span<const HardwareEncoder>();
        const HRESULT hr =
            VideoEncoder::Open(*video_input, *video_output, hardware, pipeline->video_);
        if (FAILED(hr)) return hr;
        const VideoEncoder& encoder = *pipeline->video_;
        pipeline->frame_bytes_ = std::size_t{video_input->width} * video_input->height * 4;
        pipeline->frame_duration_ = std::max<std::int64_t>(
            av_rescale(encoder.Timescale(), video_output->fps_den, video_output->fps_num), 1);
        formats.push_back(
            {.video = true,
             .timescale = static_cast<std::uint32_t>(encoder.Timescale()),
             .configuration = encoder.Configuration(),
             .lead = static_cast<std::uint32_t>(encoder.Reordering() * pipeline->frame_duration_),
             .width = static_cast<std::uint16_t>(video_output->width),
             .height = static_cast<std::uint16_t>(video_output->height),
             .bt709 = encoder.Matrix() == YuvMatrix::bt709});
    }
    if (audio_input) {
        const HRESULT hr = AudioEncoder::Open(*audio_input, *audio_output, pipeline->audio_);
        if (FAILED(hr)) return hr;
        const AudioEncoder& encoder = *pipeline->audio_;
        pipeline->audio_track_ = formats.size();
        pipeline->audio_in_rate_ = audio_input->rate;
        pipeline->audio_out_rate_ = audio_output->rate;
        formats.push_back({.video = false,
                           .timescale = audio_output->rate,
                           .configuration = encoder.Configuration(),
                           .lead = encoder.Priming(),
                           .channels = static_cast<std::uint16_t>(audio_output->channels),
                           .bytes_per_second = audio_output->bytes_per_second});
    }
    const HRESULT hr = Mp4File::Create(path, std::move(formats),
                                       IndexRoom(video_output, audio_output), pipeline->file_);
    if (FAILED(hr)) return hr;
    result = std::move(pipeline);
    return S_OK;
}

// A failure within the pipeline ends the recording; later calls return it. It never looks like a
// refused sample, which ends nothing.
HRESULT TranscodePipeline::Keep(HRESULT hr) {
    if (hr == E_INVALIDARG) hr = E_FAIL;
    if (FAILED(hr) && SUCCEEDED(failure_)) failure_ = hr;
    return hr;
}

HRESULT TranscodePipeline::WriteVideo(const std::uint8_t* pixels, std::size_t size,
                                      std::int64_t time_100ns, std::int64_t duration_100ns) try {
    if (FAILED(failure_)) return failure_;
    if (!video_ || !file_) return E_UNEXPECTED;
    if (!pixels || size != frame_bytes_ || !IsStamp(time_100ns)) return E_INVALIDARG;
    const std::int64_t scale = video_->Timescale();
    const std::int64_t interval = av_rescale(frame_duration_, units_a_second, scale);
    const std::int64_t end = av_rescale(last_frame_, units_a_second, scale) + interval;
    const std::int64_t place =
        stamps_.Place(StampLine::PICTURE, time_100ns, end, interval + StampLine::tolerance);
    std::int64_t time = Rescaled(place, scale);
    if (has_frames_) {
        time = std::max(time, last_frame_ + 1);
        if (time - last_frame_ > StampLine::longest_hold / units_a_second * scale)
            return E_INVALIDARG;
        if (const HRESULT hr = HoldPicture(time); FAILED(hr)) return Keep(hr);
    }
    const std::int64_t duration = duration_100ns > 0 && duration_100ns <= StampLine::longest_gap
                                      ? Rescaled(duration_100ns, scale)
                                      : 0;
    has_frames_ = true;
    last_frame_ = time;
    last_frame_duration_ = duration > 0 ? duration : frame_duration_;
    return Keep(video_->Encode(pixels, time, last_frame_duration_,
                               [this](const AVPacket& packet) { return TakeVideo(packet); }));
} catch (const std::bad_alloc&) {
    return Keep(E_OUTOFMEMORY);
}

HRESULT TranscodePipeline::WriteAudio(const std::uint8_t* data, std::size_t size,
                                      std::int64_t time_100ns, std::int64_t) try {
    if (FAILED(failure_)) return failure_;
    if (!audio_ || !file_) return E_UNEXPECTED;
    if (!data || size == 0 || size % audio_->FrameBytes() != 0 || !IsStamp(time_100ns))
        return E_INVALIDARG;
    std::size_t frames = size / audio_->FrameBytes();
    const std::int64_t rate = audio_out_rate_;
    const std::int64_t end = has_sound_ ? sound_start_ + audio_->Pushed() : 0;
    // Blocks with rising stamps may overlap; a stamp that does not rise shows a jump sooner.
    const std::int64_t slack =
        time_100ns > last_sound_stamp_ ? StampLine::second : StampLine::tolerance;
    const std::int64_t place = Rescaled(
        stamps_.Place(StampLine::SOUND, time_100ns, av_rescale(end, units_a_second, rate), slack),
        rate);
    last_sound_stamp_ = time_100ns;
    if (!has_sound_) {
        has_sound_ = true;
        sound_start_ = place;
    } else if (const std::int64_t ahead = place - end;
               ahead > Rescaled(StampLine::tolerance, rate)) {
        if (ahead > StampLine::longest_hold / units_a_second * rate) return E_INVALIDARG;
        if (const HRESULT hr = FillSilence(ahead); FAILED(hr)) return Keep(hr);
    } else if (ahead < -Rescaled(StampLine::tolerance, rate)) {
        const auto again = static_cast<std::size_t>(av_rescale(-ahead, audio_in_rate_, rate));
        const std::size_t dropped = std::min(again, frames);
        frames -= dropped;
        data += dropped * audio_->FrameBytes();
    }
    return Keep(EncodeAudio(data, frames));
} catch (const std::bad_alloc&) {
    return Keep(E_OUTOFMEMORY);
}

// A frame that is encoded out of its order is placed by its distance from that order, and readers
// refuse distances of 28 bits: two intervals of 12 minutes at the finest ticks. So the last picture
// is repeated before that.
HRESULT TranscodePipeline::HoldPicture(std::int64_t until) {
    const std::int64_t interval = longest_interval * std::int64_t{video_->Timescale()};
    HRESULT hr = S_OK;
    while (SUCCEEDED(hr) && until - last_frame_ > interval) {
        last_frame_ += interval;
        hr = video_->Repeat(last_frame_, frame_duration_,
                            [this](const AVPacket& packet) { return TakeVideo(packet); });
    }
    return hr;
}

// Frames pile up while long silence is encoded. So only its beginning is, which makes the encoder
// give out all the sound before. Then the times jump, and players are silent.
HRESULT TranscodePipeline::FillSilence(std::int64_t ahead) {
    const std::int64_t longest = longest_silence * audio_out_rate_;
    const std::int64_t encoded = ahead > longest ? std::int64_t{audio_out_rate_} : ahead;
    const HRESULT hr = EncodeAudio(
        nullptr, static_cast<std::size_t>(av_rescale(encoded, audio_in_rate_, audio_out_rate_)));
    sound_start_ += ahead - encoded;
    return hr;
}

HRESULT TranscodePipeline::EncodeAudio(const std::uint8_t* data, std::size_t frames) {
    return audio_->Encode(data, frames,
                          [this](const AVPacket& packet) { return TakeAudio(packet); });
}

HRESULT TranscodePipeline::TakeVideo(const AVPacket& packet) {
    Mp4Track& track = file_->Track(0);
    AppendH264Sample({packet.data, static_cast<std::size_t>(packet.size)}, track.PendingBytes());
    // The next sample tells how long this one lasts, but for the last.
    const std::int64_t duration =
        packet.pts == last_frame_ ? last_frame_duration_ : frame_duration_;
    track.Add(packet.dts, packet.pts, duration, (packet.flags & AV_PKT_FLAG_KEY) != 0);
    return file_->WriteIfFull();
}

HRESULT TranscodePipeline::TakeAudio(const AVPacket& packet) {
    Mp4Track& track = file_->Track(audio_track_);
    track.PendingBytes().insert(track.PendingBytes().end(), packet.data, packet.data + packet.size);
    const std::int64_t time = packet.pts + sound_start_;
    track.Add(time, time, packet.duration, true);
    return file_->WriteIfFull();
}

HRESULT TranscodePipeline::Finish() try {
    if (!file_) return E_UNEXPECTED;
    if (SUCCEEDED(failure_) && video_ && has_frames_) {
        Keep(video_->Flush([this](const AVPacket& packet) { return TakeVideo(packet); }));
    }
    if (SUCCEEDED(failure_) && audio_ && has_sound_) {
        Keep(audio_->Flush([this](const AVPacket& packet) { return TakeAudio(packet); }));
    }
    if (has_sound_) file_->Track(audio_track_).SetEnd(sound_start_ + audio_->Pushed());
    Keep(file_->Finish());
    file_.reset();
    return failure_;
} catch (const std::bad_alloc&) {
    return Keep(E_OUTOFMEMORY);
}

}  // namespace Vimbrel
