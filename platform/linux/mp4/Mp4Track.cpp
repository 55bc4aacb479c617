// One file in spite of its length: every box is made from the same table of samples.
#include "platform/linux/mp4/Mp4Track.h"

#include <limits>

namespace Vimbrel {

namespace {

// Bounds of a fragment when stamps hardly advance.
constexpr std::size_t fragment_bytes = std::size_t{8} << 20;
constexpr std::size_t fragment_samples = 4096;

constexpr std::uint32_t key_sample = 0x02000000;    // depends on no other
constexpr std::uint32_t other_sample = 0x01010000;  // depends on others, no place to start from

std::uint8_t VersionFor(std::int64_t time) {
    return time > std::numeric_limits<std::uint32_t>::max() ? 1 : 0;
}

// A table of (count, value) that counts equal neighbours. Its number of entries is set when it
// ends.
class RunTable {
public:
    explicit RunTable(Mp4Boxes& boxes) : boxes_(boxes), place_(boxes.Size()) { boxes.Put32(0); }
    ~RunTable() {
        PutRun();
        boxes_.Set32(place_, entries_);
    }
    RunTable(const RunTable&) = delete;
    RunTable& operator=(const RunTable&) = delete;

    void Add(std::uint32_t value) {
        if (value != value_) {
            PutRun();
            value_ = value;
        }
        ++count_;
    }

private:
    void PutRun() {
        if (count_ == 0) return;
        boxes_.Put32(count_);
        boxes_.Put32(value_);
        ++entries_;
        count_ = 0;
    }

    Mp4Boxes& boxes_;
    std::size_t place_;
    std::uint32_t entries_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t value_ = 0;
};

}  // namespace

void Mp4Track::Add(std::int64_t decode_time, std::int64_t presentation_time, std::int64_t duration,
                   bool key) {
    if (!is_first_known_) {
        is_first_known_ = true;
        decode_time = std::max(decode_time, -std::int64_t{format_.lead});
        first_decode_ = decode_time;
        first_presentation_ = presentation_time;
    } else {
        decode_time = std::max(decode_time, pending_ends_.last_decode + 1);
    }
    presentation_time = std::max(presentation_time, decode_time);
    const std::size_t size = pending_bytes_.size() - pending_counted_;
    pending_counted_ = pending_bytes_.size();
    pending_.push_back({decode_time, static_cast<std::int32_t>(presentation_time - decode_time),
                        static_cast<std::uint32_t>(size) & 0x7FFFFFFFu, key ? 1u : 0u});
    pending_ends_ = {decode_time, std::max<std::int64_t>(duration, 1),
                     std::max(pending_ends_.presentation,
                              presentation_time + std::max<std::int64_t>(duration, 1))};
}

bool Mp4Track::IsFragmentFull() const {
    if (pending_.empty()) return false;
    const std::int64_t span =
        pending_ends_.last_decode + pending_ends_.last_duration - pending_.front().decode_time;
    return span * 2 >= format_.timescale || pending_bytes_.size() >= fragment_bytes ||
           pending_.size() >= fragment_samples;
}

std::size_t Mp4Track::PutFragment(Mp4Boxes& boxes) const {
    const Mp4Boxes::Scope traf(boxes, "traf");
    {
        constexpr std::uint32_t base_is_fragment = 0x020000;
        const Mp4Boxes::Scope tfhd(boxes, "tfhd", 0, base_is_fragment);
        boxes.Put32(id_);
    }
    // Fragments are placed on the movie's line by their own times; the header has no edits but for
    // the lead, since when the other track begins cannot be known when it is written.
    {
        const Mp4Boxes::Scope tfdt(boxes, "tfdt", 1, 0);
        boxes.Put64(static_cast<std::uint64_t>(pending_.front().decode_time + format_.lead));
    }
    constexpr std::uint32_t has_offset_and_all_fields = 0x000F01;
    const Mp4Boxes::Scope trun(boxes, "trun", 0, has_offset_and_all_fields);
    boxes.Put32(static_cast<std::uint32_t>(pending_.size()));
    const std::size_t data_offset = boxes.Size();
    boxes.Put32(0);
    for (std::size_t i = 0; i < pending_.size(); ++i) {
        const Sample& sample = pending_[i];
        const bool last = i + 1 == pending_.size();
        boxes.Put32(static_cast<std::uint32_t>(
            last ? pending_ends_.last_duration : pending_[i + 1].decode_time - sample.decode_time));
        boxes.Put32(sample.size);
        boxes.Put32(sample.key ? key_sample : other_sample);
        boxes.Put32(static_cast<std::uint32_t>(sample.offset));
    }
    return data_offset;
}

void Mp4Track::Commit(std::uint64_t place) {
    if (pending_.empty()) return;
    chunks_.push_back({place, static_cast<std::uint32_t>(pending_.size())});
    samples_.insert(samples_.end(), pending_.begin(), pending_.end());
    ends_ = pending_ends_;
    DropPending();
}

void Mp4Track::DropPending() {
    pending_.clear();
    pending_bytes_.clear();
    pending_counted_ = 0;
}

std::int64_t Mp4Track::ToMovieTime(std::int64_t ticks) const {
    const std::int64_t scale = format_.timescale;
    return ticks / scale * movie_timescale + (ticks % scale * movie_timescale + scale / 2) / scale;
}

std::int64_t Mp4Track::EndTime() const { return HasSamples() ? ToMovieTime(End()) : 0; }

void Mp4Track::PutTrack(Mp4Boxes& boxes, bool fragmented) const {
    const Mp4Boxes::Scope trak(boxes, "trak");
    {
        constexpr std::uint32_t enabled_in_movie = 3;
        const std::int64_t duration = fragmented ? 0 : EndTime();
        const std::uint8_t version = VersionFor(duration);
        const Mp4Boxes::Scope tkhd(boxes, "tkhd", version, enabled_in_movie);
        boxes.PutTime(0, version);
        boxes.PutTime(0, version);
        boxes.Put32(id_);
        boxes.Put32(0);
        boxes.PutTime(duration, version);
        boxes.PutZeros(8);
        boxes.Put16(0);
        boxes.Put16(format_.video ? 0 : 1);  // alternatives of one kind
        boxes.Put16(format_.video ? 0 : 0x0100);
        boxes.Put16(0);
        boxes.PutMatrix();
        boxes.Put32(std::uint32_t{format_.width} << 16);
        boxes.Put32(std::uint32_t{format_.height} << 16);
    }
    if (fragmented) {
        if (format_.lead != 0) {
            const Mp4Boxes::Scope edts(boxes, "edts");
            const Mp4Boxes::Scope elst(boxes, "elst", 0, 0);
            boxes.Put32(1);
            boxes.Put32(0);  // to the end
            boxes.Put32(format_.lead);
            boxes.Put32(0x10000);
        }
    } else if (HasSamples()) {
        PutEdits(boxes);
    }
    PutMedia(boxes, fragmented);
}

void Mp4Track::PutEdits(Mp4Boxes& boxes) const {
    const std::int64_t start = ToMovieTime(Start());
    const std::int64_t media_time = Start() - first_decode_;
    const std::uint8_t version = VersionFor(std::max(EndTime(), media_time));
    const Mp4Boxes::Scope edts(boxes, "edts");
    const Mp4Boxes::Scope elst(boxes, "elst", version, 0);
    boxes.Put32(start > 0 ? 2 : 1);
    if (start > 0) {
        boxes.PutTime(start, version);
        boxes.PutTime(-1, version);  // nothing
        boxes.Put32(0x10000);
    }
    boxes.PutTime(EndTime() - start, version);
    boxes.PutTime(media_time, version);
    boxes.Put32(0x10000);
}

void Mp4Track::PutMedia(Mp4Boxes& boxes, bool fragmented) const {
    const Mp4Boxes::Scope mdia(boxes, "mdia");
    {
        const std::int64_t duration = fragmented || !HasSamples() ? 0 : DecodeEnd() - first_decode_;
        const std::uint8_t version = VersionFor(duration);
        const Mp4Boxes::Scope mdhd(boxes, "mdhd", version, 0);
        boxes.PutTime(0, version);
        boxes.PutTime(0, version);
        boxes.Put32(format_.timescale);
        boxes.PutTime(duration, version);
        boxes.Put16(0x55C4);  // language "und"
        boxes.Put16(0);
    }
    {
        const Mp4Boxes::Scope hdlr(boxes, "hdlr", 0, 0);
        boxes.Put32(0);
        boxes.PutText(format_.video ? "vide" : "soun");
        boxes.PutZeros(12);
        boxes.PutText(format_.video ? "VideoHandler" : "SoundHandler");
        boxes.Put8(0);
    }
    const Mp4Boxes::Scope minf(boxes, "minf");
    if (format_.video) {
        const Mp4Boxes::Scope vmhd(boxes, "vmhd", 0, 1);
        boxes.PutZeros(8);
    } else {
        const Mp4Boxes::Scope smhd(boxes, "smhd", 0, 0);
        boxes.PutZeros(4);
    }
    {
        const Mp4Boxes::Scope dinf(boxes, "dinf");
        const Mp4Boxes::Scope dref(boxes, "dref", 0, 0);
        boxes.Put32(1);
        constexpr std::uint32_t same_file = 1;
        const Mp4Boxes::Scope url(boxes, "url ", 0, same_file);
    }
    const Mp4Boxes::Scope stbl(boxes, "stbl");
    PutSampleDescription(format_, boxes);
    if (fragmented || !HasSamples()) {
        for (const char* empty : {"stts", "stsc", "stco"}) {
            const Mp4Boxes::Scope table(boxes, empty, 0, 0);
            boxes.Put32(0);
        }
        const Mp4Boxes::Scope stsz(boxes, "stsz", 0, 0);
        boxes.PutZeros(8);
    } else {
        PutTimes(boxes);
        PutPlaces(boxes);
    }
}

void Mp4Track::PutFragmentDefaults(Mp4Boxes& boxes) const {
    const Mp4Boxes::Scope trex(boxes, "trex", 0, 0);
    boxes.Put32(id_);
    boxes.Put32(1);
    boxes.PutZeros(12);
}

void Mp4Track::PutTimes(Mp4Boxes& boxes) const {
    {
        const Mp4Boxes::Scope stts(boxes, "stts", 0, 0);
        RunTable table(boxes);
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            const std::int64_t next =
                i + 1 < samples_.size() ? samples_[i + 1].decode_time : DecodeEnd();
            table.Add(static_cast<std::uint32_t>(next - samples_[i].decode_time));
        }
    }
    if (std::any_of(samples_.begin(), samples_.end(),
                    [](const Sample& sample) { return sample.offset != 0; })) {
        const Mp4Boxes::Scope ctts(boxes, "ctts", 0, 0);
        RunTable table(boxes);
        for (const Sample& sample : samples_) table.Add(static_cast<std::uint32_t>(sample.offset));
    }
    const auto keys = static_cast<std::uint32_t>(std::count_if(
        samples_.begin(), samples_.end(), [](const Sample& sample) { return sample.key; }));
    if (keys != samples_.size()) {
        const Mp4Boxes::Scope stss(boxes, "stss", 0, 0);
        boxes.Put32(keys);
        for (std::size_t i = 0; i < samples_.size(); ++i) {
            if (samples_[i].key) boxes.Put32(static_cast<std::uint32_t>(i + 1));
        }
    }
}

void Mp4Track::PutPlaces(Mp4Boxes& boxes) const {
    {
        const Mp4Boxes::Scope stsz(boxes, "stsz", 0, 0);
        boxes.Put32(0);
        boxes.Put32(static_cast<std::uint32_t>(samples_.size()));
        for (const Sample& sample : samples_) boxes.Put32(sample.size);
    }
    {
        const Mp4Boxes::Scope stsc(boxes, "stsc", 0, 0);
        const std::size_t count_place = boxes.Size();
        boxes.Put32(0);
        std::uint32_t entries = 0;
        for (std::size_t i = 0; i < chunks_.size(); ++i) {
            if (i > 0 && chunks_[i].samples == chunks_[i - 1].samples) continue;
            boxes.Put32(static_cast<std::uint32_t>(i + 1));
            boxes.Put32(chunks_[i].samples);
            boxes.Put32(1);
            ++entries;
        }
        boxes.Set32(count_place, entries);
    }
    const bool wide = chunks_.back().place > std::numeric_limits<std::uint32_t>::max();
    const Mp4Boxes::Scope stco(boxes, wide ? "co64" : "stco", 0, 0);
    boxes.Put32(static_cast<std::uint32_t>(chunks_.size()));
    for (const Chunk& chunk : chunks_)
        boxes.PutTime(static_cast<std::int64_t>(chunk.place), wide ? 1 : 0);
}

}  // namespace Vimbrel
