// The live stream: raw pictures and sound in, one RTMP publishing session out (H.264 and AAC).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vimbrel/Export.h"

struct tWAVEFORMATEX;
typedef struct tWAVEFORMATEX WAVEFORMATEX;

namespace Vimbrel {

// What Start returns, and what the callback gets.
enum RTMPCastStatus : int {
    RTMPCAST_OK = 0,  // connected and publishing
    RTMPCAST_ENCODER_FAILED =
        1,                 // an encoder did not start, or Start was called before; from Start only
    RTMPCAST_BAD_URL = 2,  // the URL could not be parsed
    RTMPCAST_CONNECTION_FAILED =
        3,  // no connection; or, in the callback, the link was lost while streaming
    RTMPCAST_STREAM_FAILED = 4,  // the server did not take the stream
};

// An object serves one session: settings, Start, samples, Stop. There is no reconnection; another
// session takes another object.
//
// Settings are for before Start, on one thread. Samples may come from any thread, and each medium
// from its own.
class VIMBREL_API CMediaRTMPCast {
public:
    CMediaRTMPCast();
    CMediaRTMPCast(const CMediaRTMPCast& other);
    CMediaRTMPCast& operator=(const CMediaRTMPCast& other);

    // As Stop. Not from within the callback.
    virtual ~CMediaRTMPCast();

    // Called once if the link is lost while streaming, with RTMPCAST_CONNECTION_FAILED, on a thread
    // of the library's. Nothing is sent any more by then. Stop may be called from it.
    virtual void SetCallback(std::function<void(int)> callback) = 0;
    // `url` is the whole target, "rtmp://host[:port]/app/key" or "rtmps://…"; what follows a blank
    // in it are options of the form name=value. User and password, if not empty, answer a server
    // that asks publishers to log in.
    virtual void SetServer(const std::string& url, const std::string& user,
                           const std::string& password) = 0;
    // Take an encoder of the graphics hardware if there is one. Off at first.
    virtual void SetHardwareEncoder(bool enabled) = 0;
    // Pixels, and frames a second as a fraction; 640 x 480 and 30/1 at first. Both sides must be
    // even. Frames of other sizes are scaled, with black bars. There is a key frame every second.
    virtual void SetVideoOutputFormat(int width, int height, int frame_rate_num,
                                      int frame_rate_den) = 0;
    // 2 is best, 1 (at first) medium, 0 the lowest: 5, 2.5 or 1 bits a second and pixel.
    virtual void SetVideoQuality(int quality) = 0;
    // The sound that SetAudioSample gets, in 16 bits, and the rate of the AAC in bytes a second.
    // Channels other than 1, 2 and 6 become 2, rates other than 44100 and 48000 become 44100, other
    // bytes a second than 12000, 16000, 20000 and 24000 become 16000. With 0 channels or a rate of
    // 0 nothing changes. At first 2, 44100, 16000.
    virtual void SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) = 0;
    // On at first. Without sound the stream has only picture.
    virtual void EnableAudio(bool enabled) = 0;
    // Notes what format the sound came in before the application converted it. `extra` are the
    // format's own cbSize bytes, null if that is 0. What SetAudioSample gets stays as
    // SetAudioOutputFormat tells.
    virtual void SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) = 0;

    // A RTMPCastStatus. Waits for the encoders and for the server: up to 30 seconds for each of its
    // answers.
    virtual int Start() = 0;
    // What still waits to be sent is dropped. Waits for the message that is on its way, without
    // limit.
    virtual void Stop() = 0;

    // Rows top down of blue, green, red and a fourth byte, `stride` bytes apart (at least 4 *
    // width). `time` in units of 100 ns from any origin, rising. Copied; never waits. Ignored
    // unless the stream stands and stride is positive. At most 12 frames wait for the encoder; then
    // the oldest is dropped.
    virtual void SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                                std::int64_t time) = 0;
    // Whole sample frames of 16-bit sound; with bit value 2 in `flags` silence of that size.
    // Copied; never waits. Time and duration are not used: sound has the clock's time at which it
    // is encoded, or sent in the native framing.
    virtual void SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                std::int64_t duration, unsigned flags) = 0;

    // Bits of picture a second, over the last second of its times and over all of them; 0 in the
    // first second. On any thread.
    virtual int GetCurrentBitRate() = 0;
    virtual int GetAverageBitRate() = 0;
};

// Frames of picture, counted as they pass. For any thread, and for longer than the cast.
struct RTMPCastProgress {
    std::atomic<std::uint64_t> taken{0};    // by SetVideoSample
    std::atomic<std::uint64_t> dropped{0};  // of these, because too many waited for the encoder
    std::atomic<std::uint64_t> sent{0};     // of these, given to the network whole
};

struct RTMPCastOptions {
    enum class Framing {
        // Each piece of an access unit is a message of its own, with its start code kept behind the
        // length.
        Native,
        // One message an access unit, of length-prefixed NAL units; parameter sets in the sequence
        // header alone; onMetaData first;
        // chunks of 4096 bytes. For servers that look into the payload.
        Standard,
    };
    Framing framing = Framing::Native;
    // Shared with the cast, which only adds to it. May be null.
    std::shared_ptr<RTMPCastProgress> progress = nullptr;
};

VIMBREL_API std::unique_ptr<CMediaRTMPCast> CreateRTMPCast();
VIMBREL_API std::unique_ptr<CMediaRTMPCast> CreateRTMPCast(const RTMPCastOptions& options);

}  // namespace Vimbrel
