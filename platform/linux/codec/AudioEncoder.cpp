#include "platform/linux/codec/AudioEncoder.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>

#include "platform/linux/ffmpeg/FfmpegError.h"

namespace Vimbrel {

namespace {

// Frames that are resampled at once. A limit keeps the memory independent of the caller's blocks.
constexpr std::size_t slice = 4096;
constexpr UINT most_channels = 8;

// Sample rates for which AAC has an index.
bool IsAacRate(UINT rate) {
    constexpr UINT rates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                              22050, 16000, 12000, 11025, 8000,  7350};
    return std::find(std::begin(rates), std::end(rates), rate) != std::end(rates);
}

AVSampleFormat FormatOf(const AudioInput& input) {
    if (input.is_float) return input.bits == 32 ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_NONE;
    switch (input.bits) {
        case 8:
            return AV_SAMPLE_FMT_U8;
        case 16:
            return AV_SAMPLE_FMT_S16;
        case 24:
        case 32:
            return AV_SAMPLE_FMT_S32;
        default:
            return AV_SAMPLE_FMT_NONE;
    }
}

void Widen(const std::uint8_t* source, std::size_t samples, std::vector<std::uint8_t>& widened) {
    widened.resize(samples * 4);
    for (std::size_t i = 0; i < samples; ++i) {
        widened[i * 4] = 0;
        std::copy_n(source + i * 3, 3, widened.begin() + static_cast<std::ptrdiff_t>(i * 4 + 1));
    }
}

}  // namespace

HRESULT AudioEncoder::Open(const AudioInput& input, const AudioOutput& output,
                           std::unique_ptr<AudioEncoder>& result) {
    constexpr UINT highest_rate = 768000;
    if (input.rate == 0 || input.rate > highest_rate || input.channels == 0 ||
        input.channels > most_channels)
        return E_INVALIDARG;
    if (FormatOf(input) == AV_SAMPLE_FMT_NONE) return E_INVALIDARG;
    if (!IsAacRate(output.rate) || output.channels == 0 || output.channels > most_channels)
        return E_INVALIDARG;
    constexpr UINT highest_bytes_per_second = 1 << 20;
    if (output.bytes_per_second == 0 || output.bytes_per_second > highest_bytes_per_second)
        return E_INVALIDARG;

    const AVCodec* codec = avcodec_find_encoder_by_name("aac");
    if (!codec)
        return ResultFromFfmpeg(AVERROR_ENCODER_NOT_FOUND, "avcodec_find_encoder_by_name",
                                FfmpegUse::encode);
    std::unique_ptr<AudioEncoder> encoder(new AudioEncoder);
    encoder->input_ = input;
    encoder->context_.reset(avcodec_alloc_context3(codec));
    encoder->packet_.reset(av_packet_alloc());
    encoder->frame_.reset(av_frame_alloc());
    encoder->resampled_.reset(av_frame_alloc());
    if (!encoder->context_ || !encoder->packet_ || !encoder->frame_ || !encoder->resampled_)
        return E_OUTOFMEMORY;

    AVCodecContext& context = *encoder->context_;
    context.log_level_offset = quiet_log_offset;
    context.sample_fmt = AV_SAMPLE_FMT_FLTP;
    context.sample_rate = static_cast<int>(output.rate);
    context.time_base = {1, context.sample_rate};
    av_channel_layout_default(&context.ch_layout, static_cast<int>(output.channels));
    context.bit_rate = std::int64_t{output.bytes_per_second} * 8;
    context.profile = FF_PROFILE_AAC_LOW;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int error = avcodec_open2(&context, codec, nullptr); error < 0) {
        return ResultFromFfmpeg(error, codec->name, FfmpegUse::encode);
    }
    if (const HRESULT hr = encoder->OpenResampler(output); FAILED(hr)) return hr;
    encoder->waiting_.reset(
        av_audio_fifo_alloc(context.sample_fmt, context.ch_layout.nb_channels, context.frame_size));
    if (!encoder->waiting_) return E_OUTOFMEMORY;
    result = std::move(encoder);
    return S_OK;
}

HRESULT AudioEncoder::OpenResampler(const AudioOutput& output) {
    AVChannelLayout in_layout{};
    av_channel_layout_default(&in_layout, static_cast<int>(input_.channels));
    SwrContext* resampler = nullptr;
    int error = swr_alloc_set_opts2(&resampler, &context_->ch_layout, context_->sample_fmt,
                                    static_cast<int>(output.rate), &in_layout, FormatOf(input_),
                                    static_cast<int>(input_.rate), quiet_log_offset, nullptr);
    resampler_.reset(resampler);
    // Channels that are mixed into fewer must not overflow.
    if (error >= 0) error = av_opt_set_double(resampler, "rematrix_maxval", 1.0, 0);
    if (error >= 0) error = swr_init(resampler);
    return error >= 0 ? S_OK : ResultFromFfmpeg(error, "swr_init", FfmpegUse::encode);
}

std::vector<std::uint8_t> AudioEncoder::Configuration() const {
    return {context_->extradata, context_->extradata + context_->extradata_size};
}

HRESULT AudioEncoder::Encode(const std::uint8_t* frames, std::size_t count,
                             const PacketSink& sink) {
    if (!frames && silence_.empty())
        silence_.assign(slice * FrameBytes(), input_.bits == 8 ? 0x80 : 0);
    while (count > 0) {
        const std::size_t now = std::min(count, slice);
        const std::uint8_t* source = frames ? frames : silence_.data();
        if (input_.bits == 24) {
            Widen(source, now * input_.channels, widened_);
            source = widened_.data();
        }
        HRESULT hr = Resample(&source, static_cast<int>(now));
        if (SUCCEEDED(hr)) hr = EncodeFrames(false, sink);
        if (FAILED(hr)) return hr;
        pushed_ += static_cast<std::int64_t>(now);
        count -= now;
        if (frames) frames += now * FrameBytes();
    }
    return S_OK;
}

HRESULT AudioEncoder::Flush(const PacketSink& sink) {
    // The resampler's filter still holds samples, unless the rate stays.
    HRESULT hr = S_OK;
    if (pushed_ > 0) hr = Resample(nullptr, 0);
    if (SUCCEEDED(hr)) hr = EncodeFrames(true, sink);
    return SUCCEEDED(hr) ? Send(nullptr, sink) : hr;
}

HRESULT AudioEncoder::Resample(const std::uint8_t* const* source, int count) {
    const int room = swr_get_out_samples(resampler_.get(), count);
    if (room < 0) return ResultFromFfmpeg(room, "swr_get_out_samples", FfmpegUse::encode);
    if (room == 0) return S_OK;
    if (resampled_->nb_samples < room) {
        av_frame_unref(resampled_.get());
        resampled_->format = context_->sample_fmt;
        resampled_->nb_samples = room;
        if (const int error = av_channel_layout_copy(&resampled_->ch_layout, &context_->ch_layout);
            error < 0)
            return E_OUTOFMEMORY;
        if (av_frame_get_buffer(resampled_.get(), 0) < 0) return E_OUTOFMEMORY;
    }
    const int made = swr_convert(resampler_.get(), resampled_->extended_data, room,
                                 const_cast<const std::uint8_t**>(source), count);
    if (made < 0) return ResultFromFfmpeg(made, "swr_convert", FfmpegUse::encode);
    const int kept = av_audio_fifo_write(waiting_.get(),
                                         reinterpret_cast<void**>(resampled_->extended_data), made);
    return kept == made ? S_OK : E_OUTOFMEMORY;
}

HRESULT AudioEncoder::EncodeFrames(bool all, const PacketSink& sink) {
    for (;;) {
        const int waiting = av_audio_fifo_size(waiting_.get());
        if (waiting == 0 || (waiting < context_->frame_size && !all)) return S_OK;
        // The encoder keeps references to some frames.
        av_frame_unref(frame_.get());
        frame_->format = context_->sample_fmt;
        frame_->nb_samples = std::min(waiting, context_->frame_size);
        frame_->sample_rate = context_->sample_rate;
        if (av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout) < 0)
            return E_OUTOFMEMORY;
        if (av_frame_get_buffer(frame_.get(), 0) < 0) return E_OUTOFMEMORY;
        av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame_->extended_data),
                           frame_->nb_samples);
        frame_->pts = encoded_;
        encoded_ += frame_->nb_samples;
        if (const HRESULT hr = Send(frame_.get(), sink); FAILED(hr)) return hr;
    }
}

HRESULT AudioEncoder::Send(const AVFrame* frame, const PacketSink& sink) {
    int error = avcodec_send_frame(context_.get(), frame);
    if (error < 0) return ResultFromFfmpeg(error, "avcodec_send_frame", FfmpegUse::encode);
    while ((error = avcodec_receive_packet(context_.get(), packet_.get())) >= 0) {
        const HRESULT hr = sink(*packet_);
        av_packet_unref(packet_.get());
        if (FAILED(hr)) return hr;
    }
    return error == AVERROR(EAGAIN) || error == AVERROR_EOF
               ? S_OK
               : ResultFromFfmpeg(error, "avcodec_receive_packet", FfmpegUse::encode);
}

}  // namespace Vimbrel
