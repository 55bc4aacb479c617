// Recorders: raw pictures and sound in, one file out.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vimbrel/Export.h"

struct tWAVEFORMATEX;
typedef struct tWAVEFORMATEX WAVEFORMATEX;

namespace Vimbrel {

// Order of calls: the Set operations for format, rate and quality; Create; Start; samples; Stop; Cleanup. Samples are copied:
// the caller keeps its buffers. Control operations are for one thread at a time; samples may come from another.
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

    // Stores the path of the output file and prepares the recorder. The result is the recorder's own: a GIF recorder has
    // nothing to prepare and always returns false; go on to Start all the same.
    bool Create(const std::wstring& name);
    bool Start();
    void Stop();
    void Cleanup();
    const std::wstring& GetFilename() const { return filename; }

    virtual ~MediaTranscode();

    virtual OutputType GetOutputType() const = 0;
    // One frame of premultiplied blue, green, red, alpha, 4 bytes a pixel; `stride` in bytes; times in 100 nanoseconds. What
    // rows, stride and times mean to a recorder stands with its factory.
    virtual void SetVideoSample(void* data, unsigned width, unsigned height, unsigned stride, std::int64_t time, std::int64_t duration);
    // `size` bytes of sound in the format set.
    virtual void SetAudioSample(void* data, unsigned size, std::int64_t time, std::int64_t duration);
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

// Counts of one run of a recorder, from its Start on.
struct TranscodeStatistics {
    std::uint64_t videoTaken = 0;    // frames accepted
    std::uint64_t videoLimited = 0;  // frames refused to hold the frame rate
    std::uint64_t videoDropped = 0;  // accepted frames that were lost: the encoder was too slow, or failed
    std::uint64_t videoWritten = 0;  // frames handed to the file
};

// May be called at any time, on any thread.
VIMBREL_API TranscodeStatistics GetTranscodeStatistics(const MediaTranscode& recorder);

// An animated GIF that repeats for ever, one palette a frame. Sound is ignored.
//
// SetVideoOutputFormat: the box in pixels into which the first frame is fitted, its shape kept; all frames are scaled to that
// size. SetVideoFps: whole frames a second (the second argument is ignored); this is both the delay written and a limit by
// the clock: frames above the rate are refused. SetVideoQuality: above 0 is error diffusion, 0 none. SetVideoSample: rows top
// down and without gaps (`stride` is taken as width * 4), times ignored; a null buffer ends the recording. At most 5 frames
// wait for the encoder; then the oldest is dropped.
//
// The file is made at the first frame and has its trailer when Stop returns. A file that cannot be written is tried again
// with each frame, with the cause in the log; videoWritten then stays 0.
VIMBREL_API std::unique_ptr<MediaTranscode> CreateMediaTranscodeGIF();

}  // namespace Vimbrel
