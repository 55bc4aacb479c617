// Frames and sound into an MP4 file with H.264 and AAC. One thread at a time uses a pipeline.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/linux/codec/AudioEncoder.h"
#include "platform/linux/codec/VideoEncoder.h"
#include "platform/linux/mf/session/StampLine.h"
#include "platform/linux/mp4/Mp4File.h"

namespace Vimbrel {

class TranscodePipeline {
public:
    // Makes the file. Picture or sound may be absent, both their structures null, but not both. The
    // file is made, or replaced, only if the encoders could be opened; one that cannot take the
    // header is left empty.
    static HRESULT Create(const std::string& path, const VideoInput* video_input,
                          const VideoOutput* video_output, const AudioInput* audio_input,
                          const AudioOutput* audio_output, bool hardware_allowed,
                          std::unique_ptr<TranscodePipeline>& result);

    // Times in units of 100 ns from the start of the recording; StampLine corrects stamps that
    // jump. A frame is shown until the next. One whose time is not after the last frame's is shown
    // directly after it. In a long gap the picture is repeated. The duration counts for the
    // last frame only; 0 or less is replaced by that of the frame rate.
    HRESULT WriteVideo(const std::uint8_t* pixels, std::size_t size, std::int64_t time_100ns,
                       std::int64_t duration_100ns);
    // Whole sample frames. A gap in the times is filled with silence, one of more than a minute by
    // a jump of the file's times. A gap of more than a day is refused in both media. Of a block
    // that overlaps the last one, the overlap is dropped. Durations are those of the samples.
    HRESULT WriteAudio(const std::uint8_t* data, std::size_t size, std::int64_t time_100ns,
                       std::int64_t duration_100ns);
    // Ends the encoders and the file. Without it the file stays as if the recording had been cut
    // off. If a call before had failed, what was written until then becomes a whole file, and the
    // failure is given again. Without a sample there is nothing to make a file of: the failure is
    // mp4_no_samples, and the file is left empty.
    HRESULT Finish();

    // Of the encoder that is in use; null without picture.
    const char* VideoCodecName() const { return video_ ? video_->CodecName() : nullptr; }

private:
    TranscodePipeline() = default;
    HRESULT TakeVideo(const AVPacket& packet);
    HRESULT TakeAudio(const AVPacket& packet);
    HRESULT HoldPicture(std::int64_t until);
    HRESULT FillSilence(std::int64_t ahead);
    HRESULT EncodeAudio(const std::uint8_t* data, std::size_t frames);
    HRESULT Keep(HRESULT hr);

    std::unique_ptr<Mp4File> file_;
    HRESULT failure_ = S_OK;

    std::unique_ptr<VideoEncoder> video_;
    std::size_t frame_bytes_ = 0;
    std::int64_t frame_duration_ = 0;  // by the frame rate, in the video's ticks
    bool has_frames_ = false;
    std::int64_t last_frame_ = 0;           // in the video's ticks
    std::int64_t last_frame_duration_ = 0;  // in the same

    std::unique_ptr<AudioEncoder> audio_;
    std::size_t audio_track_ = 0;
    UINT audio_in_rate_ = 0;
    UINT audio_out_rate_ = 0;
    bool has_sound_ = false;
    std::int64_t sound_start_ = 0;       // of the first sample, in samples of the output
    std::int64_t last_sound_stamp_ = 0;  // as given by the caller

    StampLine stamps_;
};

}  // namespace Vimbrel
