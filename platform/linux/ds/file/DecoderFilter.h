// What the decoders of pictures and sound have in common.
#pragma once

#include "filters/BaseFilter.h"
#include "platform/linux/ds/file/DecoderPins.h"
#include "platform/linux/ds/media/StreamTypes.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Feeds packets to a codec of libavcodec. The codec and what a decoder derives from it belong to
// the streaming thread, and to the control thread while the filter is stopped or flushed.
class DecoderFilter : public CBaseFilter {
public:
    // Frees the streaming thread and waits until it has left.
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Pause() override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override;

    // What the pins pass on.
    HRESULT CheckInput(const CMediaType& type);
    HRESULT SetInput(const CMediaType& type);
    void ForgetInput();
    HRESULT Receive(IMediaSample* sample);
    HRESULT EndOfStream();
    HRESULT EndFlush();
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

    // The types of what is decoded, best first; none before the input is connected.
    virtual std::vector<CMediaType> OutputTypes() = 0;
    virtual HRESULT CheckOutput(const CMediaType& type) = 0;
    virtual HRESULT DecideBuffers(const CMediaType& type, ALLOCATOR_PROPERTIES& properties) = 0;

    DecoderInput& Input() { return input_; }
    DecoderOutput& Output() { return output_; }

protected:
    DecoderFilter(REFCLSID clsid, AVMediaType kind);
    ~DecoderFilter() override = default;

    // Whether `type` is one that the decoder wants to hear of.
    virtual bool IsForMe(const CMediaType& type) const = 0;
    // Settings of a codec before it is opened.
    virtual void Prepare(AVCodecContext& codec) = 0;
    // The codec is open, or was flushed: a stream begins anew.
    virtual void Begin() = 0;
    // Before the codec gets a packet.
    virtual void Announce(const AVPacket&) {}
    // An error of the codec. Whether the filter deals with it.
    virtual bool OnCodecError(int) { return false; }
    // The codec has taken a packet, or the end of the stream. The only place to reopen it.
    virtual HRESULT Settle(bool /*at_end*/) { return S_OK; }
    // A decoded frame. S_OK if more may come.
    virtual HRESULT Deliver(AVFrame& frame) = 0;
    // The stream is over; what is held back is delivered.
    virtual HRESULT Finish() { return S_OK; }

    bool HasStream() const { return codec_ != nullptr; }
    AVCodecContext& Codec() { return *codec_; }
    const StreamDescription& Stream() const { return stream_; }
    // The sender knows no more of its stream than the media type, as a camera.
    bool IsLive() const { return live_; }
    // Stream time at which the segment stops; below 0 for one that goes on to the end.
    REFERENCE_TIME StreamStop() const { return stream_stop_; }
    // Some containers say of most packets when they are decoded, but not when they are shown.
    bool HasShownTimes() const { return shown_times_; }
    double Rate() const { return input_.SegmentRate(); }
    // A codec with new settings, from the stream's description.
    HRESULT OpenCodec();
    // Null for the end of the stream.
    HRESULT Send(const AVPacket* packet);

private:
    HRESULT Drain();

    const AVMediaType kind_;
    DecoderInput input_;
    DecoderOutput output_;
    StreamDescription stream_;
    bool live_ = false;
    FfmpegPtr<AVCodecContext> codec_;
    FfmpegPtr<AVFrame> frame_{av_frame_alloc()};
    REFERENCE_TIME stream_stop_ = -1;
    bool shown_times_ = true;
    int refused_ = 0;  // packets that the codec could not use, in a row
    // Held while a sample passes, delivery included: a control thread takes it only after a flush
    // or a stop has freed the streaming thread.
    Mutex receive_lock_ ACQUIRED_AFTER(state_lock_);
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
