// The cast: two encoders, and a thread that connects and turns what they make into messages.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "Source/cast/BitRateMeter.h"
#include "Source/cast/RtmpMessage.h"
#include "Source/cast/RtmpSession.h"
#include "rtmpencoder/live_encoder_aac.h"
#include "rtmpencoder/live_encoder_h264.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {

// Threads: the application's, a worker of each encoder, and the one that sends. Locks: each
// encoder's queue and `mutex`; none is held while another is taken, or over a call of the network.
// What is sent is never dropped: a slow network costs memory and delay.
class CRTMPCastImpl final : public CMediaRTMPCast, public live_encoder::dispatcher {
public:
    explicit CRTMPCastImpl(const RTMPCastOptions& options);
    CRTMPCastImpl(const CRTMPCastImpl&) = delete;
    CRTMPCastImpl& operator=(const CRTMPCastImpl&) = delete;
    ~CRTMPCastImpl() override;

    void SetCallback(std::function<void(int)> function) override { callback = std::move(function); }
    void SetServer(const std::string& target, const std::string& user_name,
                   const std::string& pass) override;
    void SetHardwareEncoder(bool enabled) override;
    void SetVideoOutputFormat(int width, int height, int frame_rate_num,
                              int frame_rate_den) override;
    void SetVideoQuality(int quality) override;
    void SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) override;
    void EnableAudio(bool enabled) override { audio_enabled = enabled; }
    void SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) override;
    int Start() override;
    void Stop() override;
    void SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                        std::int64_t time) override;
    void SetAudioSample(unsigned char* data, int size, std::int64_t time, std::int64_t duration,
                        unsigned flags) override;
    int GetCurrentBitRate() override { return bit_rate.Current(); }
    int GetAverageBitRate() override { return bit_rate.Average(); }

    // On the encoders' threads; only queues.
    void dispatch(encoded_frame_ptr& frame) override;

private:
    int Connect();
    void StopEncoders();
    void SendFrames();
    encoded_frame_ptr NextFrame();
    bool Process(const encoded_frame& frame);
    bool SendAac(const encoded_frame& frame);
    void SendAacMessage(ByteSpan frames, std::uint32_t time);
    void SendAacFrames(const encoded_frame& frame, double clock);
    bool SendVideo(const encoded_frame& frame);
    bool SendVideoHeader();
    bool SendPieces(ByteSpan access_unit, bool key);
    bool SendVideoMessage(std::size_t counted_bytes);
    bool SendMetadata();
    bool IsStandard() const { return framing == RTMPCastOptions::Framing::Standard; }

    const RTMPCastOptions::Framing framing;
    const std::shared_ptr<RTMPCastProgress> progress;  // not null
    std::function<void(int)> callback;
    live_encoder_aac aac;
    live_encoder_h264 h264;
    std::atomic<bool> audio_enabled = true;
    std::atomic<bool> connected = false;
    std::string url, user, password;
    RtmpSession session;
    RtmpMessage audio_buffer;
    RtmpMessage video_buffer;
    std::uint32_t audio_time_base = 0;  // milliseconds of the clock, at the first AAC frame
    double audio_time = 0;         // milliseconds, of the next AAC message in the standard framing
    std::uint32_t video_time = 0;  // milliseconds, of the frame at work
    bool video_header_sent = false;
    bool audio_header_sent = false;
    int status = RTMPCAST_OK;
    std::thread send_thread;
    HANDLE send_started;
    std::condition_variable queue_changed;
    std::mutex mutex;
    std::deque<encoded_frame_ptr> send_queue;  // guarded by mutex, oldest first
    BitRateMeter bit_rate;
};

}  // namespace Vimbrel
