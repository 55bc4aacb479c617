// Recorders: raw pictures and sound in, one file out.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vimbrel/Export.h"

struct tWAVEFORMATEX;
typedef struct tWAVEFORMATEX WAVEFORMATEX;

namespace Vimbrel {

// Order of calls: the Set operations for format, rate and quality; Create; Start; samples; Stop;
// Cleanup. Samples are copied: the caller keeps its buffers. Control operations are for one thread
// at a time; samples may come from another.
class VIMBREL_API MediaTranscode {
public:
    enum class OutputType : std::int32_t {
        MP4 = 0,       // picture, and sound if a format was set
        MP4Audio = 1,  // sound only
        GIF = 2,
    };

    MediaTranscode();
    MediaTranscode(const MediaTranscode& other);
    MediaTranscode& operator=(const MediaTranscode& other);

    // Stores the path of the output file and prepares the recorder. The result is the recorder's
    // own: a GIF recorder has nothing to prepare and always returns false; go on to Start all the
    // same.
    bool Create(const std::wstring& name);
    bool Start();
    void Stop();
    void Cleanup();
    const std::wstring& GetFilename() const { return filename; }

    virtual ~MediaTranscode();

    virtual OutputType GetOutputType() const = 0;
    // One frame of premultiplied blue, green, red, alpha, 4 bytes per pixel; `stride` in bytes;
    // times in 100 nanoseconds. What rows, stride and times mean to a recorder is documented at its
    // factory.
    virtual void SetVideoSample(void* data, unsigned width, unsigned height, unsigned stride,
                                std::int64_t time, std::int64_t duration);
    // `size` bytes of sound in the format set.
    virtual void SetAudioSample(void* data, unsigned size, std::int64_t time,
                                std::int64_t duration);
    virtual void SetVideoOutputFormat(int width, int height);
    virtual void SetVideoFps(int numerator, int denominator);
    virtual void SetVideoQuality(int quality);
    // `extra` are the format's own cbSize bytes; both are copied.
    virtual void SetAudioOutputFormat(const WAVEFORMATEX* format, const unsigned char* extra);

protected:
    virtual bool OnCreate();
    virtual void OnCleanup();
    virtual bool OnStart();
    virtual void OnStop();

    std::wstring filename;
};

// Counts of one run of a recorder: from its Start on, or from Create if it takes samples then. What
// was taken and is neither dropped nor written still waits. After Stop nothing waits.
struct TranscodeStatistics {
    std::uint64_t videoTaken = 0;    // frames accepted
    std::uint64_t videoLimited = 0;  // frames refused to hold the frame rate
    std::uint64_t videoDropped = 0;  // accepted frames that were lost: late, without memory, failed
    std::uint64_t videoWritten = 0;  // frames handed to the file or, in MP4, to its encoder
    std::uint64_t audioTaken = 0;    // the same for blocks of sound
    std::uint64_t audioDropped = 0;
    std::uint64_t audioWritten = 0;
    // The file is not what was pushed: something could not be encoded or written, for example on a
    // full disk, or there was nothing to write, and without a frame or a block there is no file
    // that plays. Complete after Stop; the causes are in the log.
    bool failed = false;
};

// May be called at any time, on any thread.
VIMBREL_API TranscodeStatistics GetTranscodeStatistics(const MediaTranscode& recorder);

// An MP4 file with H.264 (Main profile) and AAC, or with AAC alone if `audio_only`. It plays up to
// its last two seconds even if the program is killed.
//
// SetVideoOutputFormat: pixels; width and height must be even, and every frame must have that size:
// frames are neither scaled nor turned. SetVideoFps: a fraction, 25/1 by default; frames may vary
// from it, as their times count. SetVideoQuality: 0, 1 (the default) or 2, for 2, 5 or 10 bits per
// second and pixel; a greater number is a better picture. SetAudioOutputFormat: the format of what
// SetAudioSample gets; null or no channels (the default) for no sound. The file gets 48000 Hz, or
// 44100 Hz if the format has another rate, and the format's channels if they are 1, 2 or 6, else 2,
// at 96 kbit/s.
//
// Create makes the file; false, with the cause in the log, if it cannot be made or the formats do
// not fit. Start waits until the encoders run and is false if they fail before. Stop waits until
// the file is whole. Both take and dispatch the calling thread's messages meanwhile, and have no
// time limit. What still waits for the encoder when Stop is called is dropped
// (GetTranscodeStatistics shows when nothing waits). Afterwards Create may be called again. On
// Windows the thread of Create, Start and Stop has called CoInitializeEx; the media platform
// (MFStartup) is started by the recorder itself.
//
// SetVideoSample: rows top down, `stride` exactly width * 4. SetAudioSample: whole sample frames.
// Both copy, never wait and never throw, and each medium may come from its own thread. How much may
// wait for the encoder is not limited. Times count from the first sample of each medium, so both
// media should begin together. Samples are taken from Create to Stop; any other sample is
// dropped.
//
// A frame of another size, half a sample of sound or a time out of all reason is left out of the
// file: it counts as dropped and sets `failed`, and the recording goes on.
//
// A block of size 0 of either medium ends the recording: what waits is dropped, and later samples
// are neither taken nor counted. Sound without a format set is a failure, which ends it as well.
// After a failure, for example on a full disk, no call reports it, but `failed` of the statistics
// is set. Later samples are then taken and dropped, and Stop ends the file with what was written
// before; it is an ordinary file, or empty if there was nothing.
VIMBREL_API std::unique_ptr<MediaTranscode> CreateMediaTranscodeMP4(bool audio_only);

// An animated GIF that repeats for ever, one palette per frame. Sound is ignored.
//
// SetVideoOutputFormat: the box in pixels into which the first frame is fitted, its shape kept; all
// frames are scaled to that size. SetVideoFps: whole frames a second (the second argument is
// ignored); this is both the delay written and a limit by the clock: frames above the rate are
// refused. SetVideoQuality: above 0 is error diffusion, 0 none. SetVideoSample: rows top down and
// without gaps (`stride` is taken as width * 4), times ignored; it never throws. A null buffer ends
// the recording, whatever its size: frames that wait before it are still written, and later ones
// are neither taken nor counted. At most 5 frames wait for the encoder, or 4 and the end; then the
// oldest is dropped.
//
// Start throws std::system_error if there is no thread to be had. The file is made at the first
// frame and has its trailer when Stop returns. A file that cannot be written is tried again with
// each frame, with the cause in the log; those frames count as dropped, and `failed` is set. Frames
// are compressed and written after they count as written: if that fails, `failed` is set at the
// latest when Stop returns.
VIMBREL_API std::unique_ptr<MediaTranscode> CreateMediaTranscodeGIF();

}  // namespace Vimbrel
