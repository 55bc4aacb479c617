#include "platform/linux/mf/transform/ResamplerTransform.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <mfapi.h>

#include <utility>

#include "base/ChannelMask.h"
#include "platform/linux/ffmpeg/FfmpegError.h"
#include "platform/linux/mf/objects/MediaType.h"

namespace Vimbrel {

namespace {

constexpr UINT32 most_channels = 8;
constexpr UINT32 highest_rate = 768000;

AVSampleFormat SamplesOf(IMFMediaType* type, UINT32 bits) {
    if (IsMediaType(type, MFMediaType_Audio, MFAudioFormat_Float))
        return bits == 32 ? AV_SAMPLE_FMT_FLT : AV_SAMPLE_FMT_NONE;
    if (!IsMediaType(type, MFMediaType_Audio, MFAudioFormat_PCM)) return AV_SAMPLE_FMT_NONE;
    switch (bits) {
        case 8:
            return AV_SAMPLE_FMT_U8;
        case 16:
            return AV_SAMPLE_FMT_S16;
        case 32:
            return AV_SAMPLE_FMT_S32;
        default:
            return AV_SAMPLE_FMT_NONE;
    }
}

// The library's own choice for 3, 4 and 7 channels has other loudspeakers.
AVChannelLayout LayoutOf(int channels) {
    AVChannelLayout layout{};
    av_channel_layout_from_mask(&layout, ChannelMask(static_cast<unsigned>(channels)));
    return layout;
}

// One channel plays at full level on both sides; the library would halve its power.
int MixMonoAtFullLevel(SwrContext* context) {
    constexpr double full[] = {1.0, 1.0};
    return swr_set_matrix(context, full, 1);
}

}  // namespace

DWORD ResamplerTransform::Format::FrameBytes() const {
    return static_cast<DWORD>(av_get_bytes_per_sample(samples) * channels);
}

HRESULT ResamplerTransform::Read(IMFMediaType* type, Format& format) {
    const UINT32 bits = MFGetAttributeUINT32(type, MF_MT_AUDIO_BITS_PER_SAMPLE, 0);
    const UINT32 rate = MFGetAttributeUINT32(type, MF_MT_AUDIO_SAMPLES_PER_SECOND, 0);
    const UINT32 channels = MFGetAttributeUINT32(type, MF_MT_AUDIO_NUM_CHANNELS, 0);
    format.samples = SamplesOf(type, bits);
    if (format.samples == AV_SAMPLE_FMT_NONE || rate == 0 || rate > highest_rate || channels == 0 ||
        channels > most_channels)
        return MF_E_INVALIDMEDIATYPE;
    format.rate = static_cast<int>(rate);
    format.channels = static_cast<int>(channels);
    const UINT32 packed = format.FrameBytes();
    return MFGetAttributeUINT32(type, MF_MT_AUDIO_BLOCK_ALIGNMENT, packed) == packed
               ? S_OK
               : MF_E_INVALIDMEDIATYPE;
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::GetOutputStreamInfo(DWORD stream,
                                                                  MFT_OUTPUT_STREAM_INFO* info) {
    if (!info) return E_POINTER;
    *info = {};
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (output_type_) info->cbSize = output_.FrameBytes();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::SetInputType(DWORD stream, IMFMediaType* type,
                                                           DWORD) {
    return SetType(stream, type, input_type_, input_);
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::SetOutputType(DWORD stream, IMFMediaType* type,
                                                            DWORD) {
    return SetType(stream, type, output_type_, output_);
}

HRESULT ResamplerTransform::SetType(DWORD stream, IMFMediaType* type, ComPtr<IMFMediaType>& current,
                                    Format& format) {
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    Discard();
    context_.reset();
    current.Reset();
    if (!type) return S_OK;
    if (const HRESULT hr = Read(type, format); FAILED(hr)) return hr;
    current = ComPtr<IMFMediaType>(type);
    const HRESULT hr = input_type_ && output_type_ ? Open() : S_OK;
    if (FAILED(hr)) current.Reset();
    return hr;
}

HRESULT ResamplerTransform::Open() {
    AVChannelLayout in_layout = LayoutOf(input_.channels);
    AVChannelLayout out_layout = LayoutOf(output_.channels);
    SwrContext* context = nullptr;
    int error =
        swr_alloc_set_opts2(&context, &out_layout, output_.samples, output_.rate, &in_layout,
                            input_.samples, input_.rate, quiet_log_offset, nullptr);
    context_.reset(context);
    // Floats inside lose nothing to rounding between the stages; with 16 bits the library would
    // work in 16 bits. The longer filter lets less of what is above the lower rate fold back.
    if (error >= 0) error = av_opt_set_int(context, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
    if (error >= 0) error = av_opt_set_int(context, "filter_size", 64, 0);
    if (error >= 0) error = av_opt_set_double(context, "cutoff", 0.98, 0);
    // Channels that are mixed into fewer must not overflow.
    if (error >= 0) error = av_opt_set_double(context, "rematrix_maxval", 1.0, 0);
    if (error >= 0 && input_.channels == 1 && output_.channels == 2)
        error = MixMonoAtFullLevel(context);
    if (error >= 0) error = swr_init(context);
    if (error >= 0) return S_OK;
    context_.reset();
    ResultFromFfmpeg(error, "swr_init", FfmpegUse::encode);
    return MF_E_INVALIDMEDIATYPE;
}

// Forgets the sound that has not come out yet.
void ResamplerTransform::Discard() {
    waiting_.Reset();
    // Building the filter again takes milliseconds.
    if (std::exchange(used_, false) && context_) {
        swr_close(context_.get());
        if (swr_init(context_.get()) < 0) context_.reset();
    }
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) {
    if (message == MFT_MESSAGE_COMMAND_FLUSH) Discard();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::ProcessInput(DWORD stream, IMFSample* sample, DWORD) {
    if (!sample) return E_POINTER;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!context_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (waiting_) return MF_E_NOTACCEPTING;
    waiting_ = ComPtr<IMFSample>(sample);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE ResamplerTransform::ProcessOutput(DWORD, DWORD count,
                                                            MFT_OUTPUT_DATA_BUFFER* samples,
                                                            DWORD* status) {
    if (!samples || !status || !samples->pSample) return E_POINTER;
    if (count != 1 || samples->dwStreamID != 0) return E_INVALIDARG;
    if (!context_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (!waiting_) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    LockedSample target(samples->pSample);
    if (FAILED(target.Result())) return target.Result();
    if (target.Capacity() < output_.FrameBytes()) return MF_E_BUFFERTOOSMALL;
    const ComPtr<IMFSample> input = std::exchange(waiting_, nullptr);
    const LockedSample block(input.Get());
    if (FAILED(block.Result())) return block.Result();
    const std::uint8_t* source = block.Data();
    std::uint8_t* converted = target.Data();
    used_ = true;
    const int made = swr_convert(context_.get(), &converted,
                                 static_cast<int>(target.Capacity() / output_.FrameBytes()),
                                 &source, static_cast<int>(block.Length() / input_.FrameBytes()));
    if (made < 0) return ResultFromFfmpeg(made, "swr_convert", FfmpegUse::encode);
    if (made == 0) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    return target.SetLength(static_cast<DWORD>(made) * output_.FrameBytes());
}

HRESULT CreateResampler(REFIID iid, void** object) {
    return CreateCom<ResamplerTransform>(iid, object);
}

}  // namespace Vimbrel
