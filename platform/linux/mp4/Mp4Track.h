// One track of an MP4 file: the samples that wait for the next fragment, and the table of those
// that are in the file.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/linux/mp4/Mp4Boxes.h"
#include "platform/linux/mp4/Mp4TrackFormat.h"

namespace Vimbrel {

class Mp4Track {
public:
    // Of the movie's header and edit lists.
    static constexpr std::uint32_t movie_timescale = 90000;

    Mp4Track(std::uint32_t id, Mp4TrackFormat format) : id_(id), format_(std::move(format)) {}

    // Times in ticks from the movie's start. The caller appends the sample's bytes itself, and then
    // adds it.
    std::vector<std::uint8_t>& PendingBytes() { return pending_bytes_; }
    // Decoding times must rise; one that does not is set a tick after the last.
    void Add(std::int64_t decode_time, std::int64_t presentation_time, std::int64_t duration,
             bool key);
    // Sound beyond the end was never pushed, and players leave it out.
    void SetEnd(std::int64_t end) { end_limit_ = end; }

    bool HasPending() const { return !pending_.empty(); }
    bool HasSamples() const { return !samples_.empty(); }
    // True from half a second on, or from as much as a fragment should hold.
    bool IsFragmentFull() const;

    // Puts the box traf of the samples that wait. Returns the place of the data's offset from the
    // fragment's start.
    std::size_t PutFragment(Mp4Boxes& boxes) const;
    // The samples that waited are in the file, their data at that place.
    void Commit(std::uint64_t place);
    void DropPending();

    // The box trak, without samples for a file in fragments.
    void PutTrack(Mp4Boxes& boxes, bool fragmented) const;
    void PutFragmentDefaults(Mp4Boxes& boxes) const;
    // In the movie's time.
    std::int64_t EndTime() const;

private:
    struct Sample {
        std::int64_t decode_time;
        std::int32_t offset;  // of the presentation
        std::uint32_t size : 31;
        std::uint32_t key : 1;
    };
    struct Chunk {
        std::uint64_t place;
        std::uint32_t samples;
    };
    struct Ends {
        std::int64_t last_decode = 0;
        std::int64_t last_duration = 0;
        std::int64_t presentation = 0;
    };

    std::int64_t ToMovieTime(std::int64_t ticks) const;
    std::int64_t Start() const { return first_presentation_ + (format_.video ? 0 : format_.lead); }
    std::int64_t End() const { return std::max(std::min(ends_.presentation, end_limit_), Start()); }
    // At which the last sample in the file ends. Where frames are reordered its own duration would
    // be too short for all of them.
    std::int64_t DecodeEnd() const {
        return std::max(ends_.last_decode + ends_.last_duration,
                        first_decode_ + ends_.presentation - first_presentation_);
    }
    void PutEdits(Mp4Boxes& boxes) const;
    void PutMedia(Mp4Boxes& boxes, bool fragmented) const;
    void PutTimes(Mp4Boxes& boxes) const;
    void PutPlaces(Mp4Boxes& boxes) const;

    std::uint32_t id_;
    Mp4TrackFormat format_;
    std::vector<std::uint8_t> pending_bytes_;
    std::vector<Sample> pending_;
    std::size_t pending_counted_ = 0;  // bytes of the samples that were added
    std::vector<Sample> samples_;
    std::vector<Chunk> chunks_;
    // Of the first sample.
    bool is_first_known_ = false;
    std::int64_t first_decode_ = 0;
    std::int64_t first_presentation_ = 0;
    // Of the samples so far, and of those in the file.
    Ends pending_ends_;
    Ends ends_;
    std::int64_t end_limit_ = INT64_MAX;
};

}  // namespace Vimbrel
