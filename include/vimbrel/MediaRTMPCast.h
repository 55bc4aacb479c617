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

// Results of Start, and the callback's argument.
enum RTMPCastStatus : int {
    RTMPCAST_OK = 0,  // connected and publishing
    // An encoder did not start, or Start was called before. From Start only.
    RTMPCAST_ENCODER_FAILED = 1,
    // The URL could not be parsed.
    RTMPCAST_BAD_URL = 2,
    // There is no connection, or no memory for one. In the callback: the link was lost.
    RTMPCAST_CONNECTION_FAILED = 3,
    // The server did not take the stream.
    RTMPCAST_STREAM_FAILED = 4,
};

// An object serves one session: settings, Start, samples, Stop. There is no reconnection; another
// session takes another object.
//
// Settings are made before Start, on one thread. Samples may come from any thread, and each medium
// from its own.
//
// No operation throws for want of memory: a setting stays as it was, a sample is dropped, Start
// returns a failure.
class VIMBREL_API CMediaRTMPCast {
public:
    CMediaRTMPCast();
    CMediaRTMPCast(const CMediaRTMPCast& other);
    CMediaRTMPCast& operator=(const CMediaRTMPCast& other);

    // Calls Stop. Not from within the callback.
    virtual ~CMediaRTMPCast();

    // `callback` is called once if the link is lost while streaming, with
    // RTMPCAST_CONNECTION_FAILED, on a thread of the library. Nothing is sent any more by then. It
    // may call Stop.
    virtual void SetCallback(std::function<void(int)> callback) = 0;
    // `url` is the whole target, "rtmp://host[:port]/app/key" or "rtmps://…"; options of the form
    // name=value may follow, each after a blank. User and password, if not empty, answer a server
    // that asks publishers to log in. The strings are copied.
    virtual void SetServer(const std::string& url, const std::string& user,
                           const std::string& password) = 0;
    // Prefers an encoder of the graphics hardware. Off by default.
    virtual void SetHardwareEncoder(bool enabled) = 0;
    // Pixels, and frames per second as a fraction; 640 x 480 and 30/1 by default. Both sides must
    // be even. Frames of other sizes are scaled, with black bars. There is a key frame every
    // second; below one frame per second each frame is one.
    virtual void SetVideoOutputFormat(int width, int height, int frame_rate_num,
                                      int frame_rate_den) = 0;
    // 2 is best, 1 (the default) medium, 0 the lowest: 5, 2.5 or 1 bits per second and pixel.
    virtual void SetVideoQuality(int quality) = 0;
    // The 16-bit sound that SetAudioSample gets, and the rate of the AAC in bytes per second; 2,
    // 44100 and 16000 by default. Channels other than 1, 2 and 6 become 2, sample rates other than
    // 44100 and 48000 become 44100, and AAC rates other than 12000, 16000, 20000 and 24000 become
    // 16000. With 0 channels or a sample rate of 0 nothing changes.
    virtual void SetAudioOutputFormat(int channels, int sample_rate, int bytes_per_second) = 0;
    // On by default. Without sound the stream has only picture.
    virtual void EnableAudio(bool enabled) = 0;
    // Records the format that the sound had before the application converted it. `extra` points to
    // the format's cbSize bytes, and is null if that is 0. SetAudioSample still gets the format of
    // SetAudioOutputFormat.
    virtual void SetAudioInputFormat(const WAVEFORMATEX& format, const unsigned char* extra) = 0;

    // Returns a RTMPCastStatus. Waits for the encoders and for the server: up to 30 seconds for
    // each of its replies.
    virtual int Start() = 0;
    // Drops what still waits to be sent. Waits for the message that is on its way, without limit.
    virtual void Stop() = 0;

    // Rows top down of blue, green, red and a fourth byte, `stride` bytes apart (at least 4 *
    // width). `time` is in units of 100 ns from any origin, and rises. The frame is copied; the
    // call never waits. Ignored unless the stream stands and stride is positive. At most 12 frames
    // wait for the encoder; then the oldest is dropped.
    virtual void SetVideoSample(unsigned char* data, unsigned width, unsigned height, int stride,
                                std::int64_t time) = 0;
    // Whole sample frames of 16-bit sound, `size` in bytes; with bit value 2 in `flags`, silence of
    // that size. The block is copied; the call never waits. Time and duration are not used: sound
    // is stamped with the clock when it is encoded, or in the native framing when it is sent.
    virtual void SetAudioSample(unsigned char* data, int size, std::int64_t time,
                                std::int64_t duration, unsigned flags) = 0;

    // Bits of picture per second: over the last second of its times, and over all of them; 0 in the
    // first second. Any thread.
    virtual int GetCurrentBitRate() = 0;
    virtual int GetAverageBitRate() = 0;
};

// Counters of pictures. Any thread may read them, also after the cast's end.
struct RTMPCastProgress {
    std::atomic<std::uint64_t> taken{0};    // by SetVideoSample
    std::atomic<std::uint64_t> dropped{0};  // of these, because 12 waited for the encoder
    std::atomic<std::uint64_t> sent{0};     // of these, passed to the network as a whole
};

struct RTMPCastOptions {
    enum class Framing {
        // Each piece of an access unit is a message of its own, with its start code kept after the
        // length.
        Native,
        // Each access unit is a message of length-prefixed NAL units. Parameter sets are in the
        // sequence header alone, onMetaData comes first, and chunks have 4096 bytes. For servers
        // that look into the payload.
        Standard,
    };
    Framing framing = Framing::Native;
    // Shared with the cast, which only adds to it. May be null.
    std::shared_ptr<RTMPCastProgress> progress = nullptr;
};

// Null if there is no memory.
VIMBREL_API std::unique_ptr<CMediaRTMPCast> CreateRTMPCast();
VIMBREL_API std::unique_ptr<CMediaRTMPCast> CreateRTMPCast(const RTMPCastOptions& options);

}  // namespace Vimbrel
