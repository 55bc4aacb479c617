// The lines or pictures of one subtitle stream, and how they look at a time.
#pragma once

#include <ass/ass.h>

#include <memory>

#include "base/ThreadSafety.h"
#include "platform/linux/ds/file/SubtitlePictures.h"
#include "platform/linux/ds/media/StreamTypes.h"

namespace Vimbrel {

struct AssDeleter {
    void operator()(ASS_Library* library) const { ass_library_done(library); }
    void operator()(ASS_Renderer* renderer) const { ass_renderer_done(renderer); }
    void operator()(ASS_Track* track) const { ass_free_track(track); }
};

// One thread adds lines while another one draws. Times are media times in units of 100 nanoseconds.
class SubtitleTrack {
public:
    // Begins an empty track. A codec that cannot be drawn is logged, and the track stays empty.
    void Open(const StreamDescription& stream);
    void Close();
    // Forgets the lines, as for a seek.
    void Clear();
    void Add(const AVPacket& packet, LONGLONG start, LONGLONG duration);
    // Draws what is shown at `time`.
    void Draw(LONGLONG time, const MaskPainter& painter, std::uint8_t* picture, std::int64_t size);

private:
    template <class Object>
    using AssPtr = std::unique_ptr<Object, AssDeleter>;

    bool OpenDecoder() REQUIRES(lock_);
    // The renderer looks for the system's fonts, which takes time: it waits for the first line.
    bool OpenRenderer() REQUIRES(lock_);
    void AddFonts() REQUIRES(lock_);
    void AddLines(const AVSubtitle& subtitle, LONGLONG start, LONGLONG duration) REQUIRES(lock_);
    void AddPictures(const AVSubtitle& subtitle, LONGLONG start, LONGLONG duration) REQUIRES(lock_);

    Mutex lock_;  // a leaf
    StreamDescription stream_ GUARDED_BY(lock_);
    FfmpegPtr<AVCodecContext> decoder_ GUARDED_BY(lock_);
    // The library outlives what was made of it.
    AssPtr<ASS_Library> library_ GUARDED_BY(lock_);
    AssPtr<ASS_Renderer> renderer_ GUARDED_BY(lock_);
    AssPtr<ASS_Track> track_ GUARDED_BY(lock_);
    SubtitlePictures pictures_ GUARDED_BY(lock_);
};

}  // namespace Vimbrel
