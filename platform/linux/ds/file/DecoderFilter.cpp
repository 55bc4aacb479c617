#include "platform/linux/ds/file/DecoderFilter.h"

#include <cstring>

#include "platform/linux/ds/file/ReferenceTime.h"
#include "platform/linux/ffmpeg/FfmpegError.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

// A packet with the sample's data and times. Other sources' samples have no padding behind their
// data, which decoders read beyond, and so are copied.
FfmpegPtr<AVPacket> PacketOf(IMediaSample& sample) {
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    void* found = nullptr;
    if (SUCCEEDED(sample.QueryInterface(__uuidof(IPacketSample), &found))) {
        ComPtr<IPacketSample> holder;
        holder.Attach(static_cast<IPacketSample*>(found));
        if (av_packet_ref(packet.get(), holder->Packet()) < 0) packet.reset();
        return packet;
    }
    BYTE* data = nullptr;
    const LONG length = sample.GetActualDataLength();
    if (FAILED(sample.GetPointer(&data)) || !data || av_new_packet(packet.get(), length) < 0)
        return nullptr;
    std::memcpy(packet->data, data, static_cast<std::size_t>(length));
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT times = sample.GetTime(&start, &end);
    if (SUCCEEDED(times)) packet->pts = start;
    if (times == S_OK) packet->duration = end - start;
    if (sample.IsSyncPoint() == S_OK) packet->flags |= AV_PKT_FLAG_KEY;
    return packet;
}

}  // namespace

DecoderFilter::DecoderFilter(REFCLSID clsid, AVMediaType kind)
    : CBaseFilter(clsid), kind_(kind), input_(*this), output_(*this) {}

CBasePin* DecoderFilter::GetPin(int index) {
    if (index == 0) return &input_;
    return index == 1 ? &output_ : nullptr;
}

HRESULT STDMETHODCALLTYPE DecoderFilter::Stop() {
    const HRESULT hr = CBaseFilter::Stop();
    const MutexLock gone(receive_lock_);
    return hr;
}

HRESULT STDMETHODCALLTYPE DecoderFilter::Pause() {
    if (State() == State_Stopped && codec_) {
        const MutexLock guard(receive_lock_);
        avcodec_flush_buffers(codec_.get());
        Begin();
    }
    return CBaseFilter::Pause();
}

HRESULT DecoderFilter::CheckInput(const CMediaType& type) {
    if (!IsForMe(type)) return VFW_E_TYPE_NOT_ACCEPTED;
    // A splitter's type may name a codec by a number of FFmpeg's own.
    GUID base = MEDIASUBTYPE_PCM;
    base.Data1 = type.subtype.Data1;
    if (!(type.subtype == base)) return VFW_E_TYPE_NOT_ACCEPTED;
    StreamDescription stream;
    AVCodecID codec = AV_CODEC_ID_NONE;
    if (SUCCEEDED(DescribeType(type, stream)))
        codec = stream.parameters->codec_id;
    else if (type.subtype.Data1 >= 0x10000u)
        codec = static_cast<AVCodecID>(type.subtype.Data1 - 0x10000u);
    const AVCodecDescriptor* const known = avcodec_descriptor_get(codec);
    return known && known->type == kind_ && avcodec_find_decoder(codec) ? S_OK
                                                                        : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT DecoderFilter::SetInput(const CMediaType& type) {
    const ComPtr<IPin> peer = input_.Peer();
    const auto stream = peer.As<ICodecStream>();
    live_ = !stream;
    stream_ = stream ? stream->Describe() : StreamDescription();
    if (live_) DescribeType(type, stream_);
    return OpenCodec();
}

void DecoderFilter::ForgetInput() { codec_.reset(); }

HRESULT DecoderFilter::OpenCodec() {
    codec_.reset();
    const AVCodec* const decoder = avcodec_find_decoder(stream_.parameters->codec_id);
    FfmpegPtr<AVCodecContext> codec(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!codec) return VFW_E_TYPE_NOT_ACCEPTED;
    int error = avcodec_parameters_to_context(codec.get(), stream_.parameters.get());
    if (error < 0) return ResultFromFfmpeg(error, "set up the decoder");
    codec->pkt_timebase = hundreds;
    codec->log_level_offset = quiet_log_offset;
    Prepare(*codec);
    error = avcodec_open2(codec.get(), decoder, nullptr);
    if (error < 0) {
        const HRESULT hr = ResultFromFfmpeg(error, "open the decoder");
        APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_ERROR, "Decoder %s failed - 0x%08X", decoder->name,
                      static_cast<unsigned>(hr));
        return hr;
    }
    codec_ = std::move(codec);
    refused_ = 0;
    shown_times_ = true;
    Begin();
    return S_OK;
}

HRESULT DecoderFilter::Receive(IMediaSample* sample) {
    const MutexLock guard(receive_lock_);
    const HRESULT hr = input_.Accept(sample);
    if (hr != S_OK) return hr;
    if (!codec_) return VFW_E_WRONG_STATE;
    const FfmpegPtr<AVPacket> packet = PacketOf(*sample);
    if (!packet) return E_OUTOFMEMORY;
    if (packet->pts == AV_NOPTS_VALUE && packet->dts != AV_NOPTS_VALUE) shown_times_ = false;
    Announce(*packet);
    return Send(packet.get());
}

HRESULT DecoderFilter::Send(const AVPacket* packet) {
    for (;;) {
        const int error = avcodec_send_packet(codec_.get(), packet);
        if (error == AVERROR(ENOMEM)) return E_OUTOFMEMORY;
        // Once per row of damaged packets: a file may consist of them.
        if (error < 0 && error != AVERROR(EAGAIN) && error != AVERROR_EOF && refused_++ == 0) {
            const HRESULT hr = ResultFromFfmpeg(error, "decode");
            APPLOG_FORMAT(HalvorixAppLog::LOG_LEVEL_WARN, "Decoding a packet failed - 0x%08X",
                          static_cast<unsigned>(hr));
        }
        if (error >= 0) refused_ = 0;
        const HRESULT hr = Drain();
        if (hr != S_OK || error != AVERROR(EAGAIN)) return hr;
    }
}

HRESULT DecoderFilter::Drain() {
    while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
        const HRESULT hr = Deliver(*frame_);
        av_frame_unref(frame_.get());
        if (hr != S_OK) return hr;
    }
    return S_OK;
}

HRESULT DecoderFilter::EndOfStream() {
    const MutexLock guard(receive_lock_);
    const HRESULT hr = input_.CheckStream();
    if (hr != S_OK) return hr;
    HRESULT delivered = codec_ ? Send(nullptr) : S_OK;
    if (delivered == S_OK) delivered = Finish();
    return delivered == S_OK ? output_.DeliverEndOfStream() : delivered;
}

HRESULT DecoderFilter::EndFlush() {
    const MutexLock gone(receive_lock_);
    if (codec_) {
        avcodec_flush_buffers(codec_.get());
        Begin();
    }
    return output_.DeliverEndFlush();
}

HRESULT DecoderFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const MutexLock guard(receive_lock_);
    stream_stop_ =
        stop >= start ? static_cast<REFERENCE_TIME>(static_cast<double>(stop - start) / rate) : -1;
    return output_.DeliverNewSegment(start, stop, rate);
}

}  // namespace Vimbrel
