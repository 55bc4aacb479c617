// The cast: two encoders, and a sender that turns what they make into messages.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "Source/cast/CastEncoders.h"
#include "Source/cast/PublishingSession.h"
#include "Source/cast/StreamSender.h"
#include "vimbrel/MediaRTMPCast.h"

namespace Vimbrel {

// Threads: the application's, a worker per encoder, and the sender's. Locks: those of the encoders'
// queues and of the sender's; none is held while another is taken, or over a call of the network.
//
// No operation throws for want of memory: settings stay as they were, samples are dropped, and
// Start reports that an encoder or the connection failed.
class CRTMPCastImpl final : public CMediaRTMPCast, public live_encoder::dispatcher {
public:
    CRTMPCastImpl(const RTMPCastOptions& options, PublishingSessionFactory factory);
    CRTMPCastImpl(const CRTMPCastImpl&) = delete;
    CRTMPCastImpl& operator=(const CRTMPCastImpl&) = delete;
    ~CRTMPCastImpl() override;

    void SetCallback(std::function<void(int)> function) override;
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
    int GetCurrentBitRate() override { return sender.BitRate().Current(); }
    int GetAverageBitRate() override { return sender.BitRate().Average(); }

    // Called on the encoders' threads; only queues.
    void dispatch(encoded_frame_ptr& frame) override { sender.Queue(frame); }

    // What the settings have made of the encoders.
    const CastEncoders& Encoders() const { return encoders; }

private:
    const std::shared_ptr<RTMPCastProgress> progress;  // not null
    std::atomic<std::uint64_t> counted_drops = 0;      // the encoder's, in `progress` already
    CastEncoders encoders;
    std::atomic<bool> audio_enabled = true;
    CastServer server;
    StreamSender sender;
};

}  // namespace Vimbrel
