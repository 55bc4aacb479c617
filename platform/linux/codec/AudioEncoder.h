// PCM to AAC LC, with conversion of rate and channels.
#pragma once

#include <windef.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/codec/VideoEncoder.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Interleaved; 8 bits are unsigned.
struct AudioInput {
    UINT rate = 0;
    UINT channels = 0;
    UINT bits = 0;          // 8, 16, 24 or 32
    bool is_float = false;  // only with 32 bits
};

struct AudioOutput {
    UINT rate = 0;
    UINT channels = 0;
    UINT bytes_per_second = 0;
};

class AudioEncoder {
public:
    static HRESULT Open(const AudioInput& input, const AudioOutput& output,
                        std::unique_ptr<AudioEncoder>& result);

    // AudioSpecificConfig.
    std::vector<std::uint8_t> Configuration() const;
    // Samples that the decoder returns before the first encoded one.
    unsigned Priming() const { return static_cast<unsigned>(context_->initial_padding); }
    UINT FrameBytes() const { return input_.channels * input_.bits / 8; }
    // The end of the sound so far, in samples of the output since the first.
    std::int64_t Pushed() const { return pushed_ * context_->sample_rate / input_.rate; }

    // Times of packets are in samples of the output, from 0 for the first sample. `frames` may be
    // null for silence.
    HRESULT Encode(const std::uint8_t* frames, std::size_t count, const PacketSink& sink);
    HRESULT Flush(const PacketSink& sink);

private:
    AudioEncoder() = default;
    HRESULT OpenResampler(const AudioOutput& output);
    HRESULT Resample(const std::uint8_t* const* source, int count);
    HRESULT EncodeFrames(bool all, const PacketSink& sink);
    HRESULT Send(const AVFrame* frame, const PacketSink& sink);

    AudioInput input_;
    FfmpegPtr<SwrContext> resampler_;
    FfmpegPtr<AVAudioFifo> waiting_;
    FfmpegPtr<AVCodecContext> context_;
    FfmpegPtr<AVFrame> frame_;
    FfmpegPtr<AVFrame> resampled_;
    FfmpegPtr<AVPacket> packet_;
    std::vector<std::uint8_t> widened_;  // 24 bits as 32
    std::vector<std::uint8_t> silence_;
    std::int64_t pushed_ = 0;   // frames of the input
    std::int64_t encoded_ = 0;  // frames of the output
};

}  // namespace Vimbrel
