// The decoder of pictures.
#pragma once

#include <atomic>
#include <limits>
#include <optional>

#include "filters/OutsideInterfaces.h"
#include "platform/linux/ds/file/DecoderFilter.h"
#include "platform/linux/ds/file/HardwareDecoding.h"
#include "platform/linux/ds/file/PictureOutput.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// After a seek, the first picture that it delivers is the one that covers the target: the last one
// that begins at or before stream time 0.
class VideoDecoder final : public DecoderFilter {
public:
    VideoDecoder();

    std::vector<CMediaType> OutputTypes() override;
    HRESULT CheckOutput(const CMediaType& type) override;
    HRESULT DecideBuffers(const CMediaType& type, ALLOCATOR_PROPERTIES& properties) override;

protected:
    void* FindInterface(REFIID iid) override;
    bool IsForMe(const CMediaType& type) const override;
    void Prepare(AVCodecContext& codec) override;
    void Begin() override;
    void Announce(const AVPacket& packet) override;
    bool OnCodecError(int error) override { return hardware_.OnError(error); }
    HRESULT Settle(bool at_end) override;
    HRESULT Deliver(AVFrame& frame) override;
    HRESULT Finish() override;

private:
    class Settings final : public Face<IVideoDecoderSettings> {
    public:
        explicit Settings(VideoDecoder& decoder) : Face(decoder) {}
        // Kept for the caller's sake: what is delivered depends on the picture's colours.
        HRESULT STDMETHODCALLTYPE EnableOutputFormat(int, BOOL) override { return S_OK; }
        // Decided when a stream is connected, which is after hosts have logged it.
        int STDMETHODCALLTYPE GetHardwareAcceleration() override { return 0; }
        HRESULT STDMETHODCALLTYPE SetTrayIcon(BOOL) override { return S_OK; }
    };

    PictureLayout ExpectedLayout() const;
    REFERENCE_TIME FrameTime() const;
    HRESULT Show(AVFrame& decoded, REFERENCE_TIME start, REFERENCE_TIME end);
    // Makes the connection fit the picture.
    HRESULT Adopt(const PictureLayout& layout);
    HRESULT Enlarge(LONG bytes);

    Settings settings_;
    HardwareDecoding hardware_;
    PictureOutput output_pictures_;
    PictureLayout layout_;           // of the samples that go out
    bool layout_changed_ = false;    // the next sample carries its type
    bool covered_ = false;           // a picture was delivered since the seek
    REFERENCE_TIME last_shown_ = 0;  // the start of the last one
    // Pictures up to this start were delivered before the codec was exchanged.
    REFERENCE_TIME shown_until_ = std::numeric_limits<REFERENCE_TIME>::min();
    FfmpegPtr<AVFrame> held_{av_frame_alloc()};  // the newest one before the target
    bool holds_ = false;
    REFERENCE_TIME held_start_ = 0;
    REFERENCE_TIME held_end_ = 0;
    REFERENCE_TIME next_start_ = 0;  // of a picture without a time
    // The latest start at or before the target of what the codec got since the seek.
    REFERENCE_TIME latest_early_ = std::numeric_limits<REFERENCE_TIME>::min();
};
#pragma GCC diagnostic pop

HRESULT CreateVideoDecoder(REFIID iid, void** object);

}  // namespace Vimbrel
