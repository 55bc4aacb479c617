// Decoding of pictures on a graphics card.
#pragma once

#include <deque>
#include <string>

#include "filters/MediaType.h"
#include "platform/linux/ffmpeg/FfmpegHandles.h"

namespace Vimbrel {

// Sets a codec up for the first device that works, and keeps the packets that a codec without the
// device has to decode again if the device fails. Of the thread that feeds the codec.
class HardwareDecoding {
public:
    // Before the codec is opened. False if it decodes on the processor: there is no device for it,
    // or the device has failed.
    bool SetUp(AVCodecContext& codec);
    // A codec was set up for the device, which has not failed.
    bool IsOn() const { return device_ && !failed_; }
    // The codec decodes on the processor from now on: it is opened anew.
    bool MustReopen() const { return device_ && failed_; }

    // A packet that the codec gets. The copies share its data.
    void Keep(const AVPacket& packet);
    // After a flush the codec needs none of them.
    void DropKept();
    // Everything since the key picture before the last one, or nothing if that is too much. The
    // device is released.
    std::deque<FfmpegPtr<AVPacket>> TakeKept();

    // An error of the codec. Whether it is the device's: those of a damaged stream are not.
    bool OnError(int error);
    // The picture in the processor's memory: `frame` itself, or a copy that the next call replaces.
    // Null after a failure of the device.
    AVFrame* Fetch(AVFrame& frame);

private:
    static AVPixelFormat Choose(AVCodecContext* codec, const AVPixelFormat* formats);
    bool OpenDevice();
    bool OpenNode(const std::string& node);
    void Fail(HRESULT hr, const char* step);

    FfmpegPtr<AVBufferRef> device_;
    bool failed_ = false;
    FfmpegPtr<AVFrame> fetched_{av_frame_alloc()};
    std::deque<FfmpegPtr<AVPacket>> kept_;
    std::size_t kept_bytes_ = 0;
    std::size_t last_key_ = 0;  // place in kept_
};

}  // namespace Vimbrel
