#include "platform/linux/mp4/Mp4File.h"

#include <unistd.h>

#include <cerrno>
#include <span>

#include "platform/linux/kernel/ErrnoResult.h"
#include "platform/linux/kernel/FileReplacement.h"

namespace Vimbrel {

namespace {

constexpr std::uint64_t header_bytes = 8;         // of a box
constexpr std::uint64_t large_header_bytes = 16;  // with a length of 64 bits
// How long what was written may wait for its way to the disk.
constexpr std::chrono::milliseconds sync_interval(500);

void PutHeader(Mp4Boxes& boxes, std::uint64_t size, std::string_view type) {
    boxes.Put32(static_cast<std::uint32_t>(size));
    boxes.PutText(type);
}

void PutLargeHeader(Mp4Boxes& boxes, std::uint64_t size, std::string_view type) {
    PutHeader(boxes, 1, type);
    boxes.Put64(size);
}

}  // namespace

Mp4File::~Mp4File() {
    if (file_ >= 0) close(file_);
}

HRESULT Mp4File::Create(const std::string& path, std::vector<Mp4TrackFormat> formats,
                        std::uint64_t index_room, std::unique_ptr<Mp4File>& result) {
    std::unique_ptr<Mp4File> file(new Mp4File);
    FileReplacement place;
    if (const HRESULT hr = place.Open(path, file->file_); FAILED(hr)) return hr;
    for (std::size_t i = 0; i < formats.size(); ++i)
        file->tracks_.emplace_back(static_cast<std::uint32_t>(i + 1), std::move(formats[i]));
    file->room_ = index_room;
    if (const HRESULT hr = file->WriteHeader(); FAILED(hr)) {
        file->Truncate(0);  // an empty file does not look like a recording
        return hr;
    }
    if (const HRESULT hr = place.Commit(); FAILED(hr)) return hr;
    result = std::move(file);
    return S_OK;
}

HRESULT Mp4File::WriteHeader() {
    Mp4Boxes boxes;
    {
        const Mp4Boxes::Scope ftyp(boxes, "ftyp");
        boxes.PutText("isom");
        boxes.Put32(0x200);
        boxes.PutText("isomiso6avc1mp41");
    }
    room_start_ = boxes.Size();
    {
        const Mp4Boxes::Scope room(boxes, "free");
        // Zeros and no hole: the index must fit when the disk is full.
        boxes.PutZeros(room_ - header_bytes);
    }
    PutMovie(boxes, true);
    const HRESULT hr = WriteAt(0, boxes.Bytes());
    if (FAILED(hr)) return hr;
    end_ = boxes.Size();
    return S_OK;
}

HRESULT Mp4File::WriteIfFull() {
    if (FAILED(failure_)) return failure_;
    for (const Mp4Track& track : tracks_) {
        if (track.IsFragmentFull()) return WriteFragment();
    }
    return S_OK;
}

HRESULT Mp4File::WriteFragment() {
    Mp4Boxes boxes;
    std::vector<std::size_t> data_offsets;
    {
        const Mp4Boxes::Scope moof(boxes, "moof");
        {
            const Mp4Boxes::Scope mfhd(boxes, "mfhd", 0, 0);
            boxes.Put32(fragments_ + 1);
        }
        for (const Mp4Track& track : tracks_) {
            if (track.HasPending()) data_offsets.push_back(track.PutFragment(boxes));
        }
    }
    if (data_offsets.empty()) return S_OK;
    std::uint64_t data_size = 0;
    for (Mp4Track& track : tracks_) {
        if (track.HasPending()) data_size += track.PendingBytes().size();
    }
    PutHeader(boxes, header_bytes + data_size, "mdat");
    std::uint64_t place = boxes.Size();
    std::size_t i = 0;
    for (Mp4Track& track : tracks_) {
        if (!track.HasPending()) continue;
        boxes.Set32(data_offsets[i++], static_cast<std::uint32_t>(place));
        place += track.PendingBytes().size();
    }

    HRESULT hr = WriteAt(end_, boxes.Bytes());
    place = end_ + boxes.Size();
    for (Mp4Track& track : tracks_) {
        if (!track.HasPending() || FAILED(hr)) continue;
        hr = WriteAt(place, track.PendingBytes());
        place += track.PendingBytes().size();
    }
    if (FAILED(hr)) {
        Truncate(end_);  // without the part of a fragment at its end the file is whole
        for (Mp4Track& track : tracks_) track.DropPending();
        return failure_ = hr;
    }
    std::uint64_t data = end_ + boxes.Size();
    for (Mp4Track& track : tracks_) {
        const std::uint64_t size = track.PendingBytes().size();
        track.Commit(data);
        data += size;
    }
    end_ = place;
    ++fragments_;
    const auto now = std::chrono::steady_clock::now();
    if (now - synced_ >= sync_interval) {
        // Faults of the medium are met again at the end.
        fdatasync(file_);
        synced_ = now;
    }
    return S_OK;
}

HRESULT Mp4File::Finish() {
    if (SUCCEEDED(failure_)) failure_ = WriteFragment();
    // What is in the file becomes an ordinary one also if the last part could not be added.
    const bool empty = std::none_of(tracks_.begin(), tracks_.end(),
                                    [](const Mp4Track& track) { return track.HasSamples(); });
    const HRESULT hr = empty ? mp4_no_samples : WriteIndex();
    if (empty) Truncate(0);
    if (SUCCEEDED(failure_)) failure_ = hr;
    close(file_);
    file_ = -1;
    return failure_;
}

HRESULT Mp4File::WriteIndex() {
    Mp4Boxes index;
    PutMovie(index, false);
    const std::uint64_t room_end = room_start_ + room_;
    const bool fits = index.Size() + header_bytes + large_header_bytes <= room_;
    // The header that makes it count, and where it goes.
    Mp4Boxes header;
    HRESULT hr = S_OK;
    if (fits) {
        Mp4Boxes rest;
        rest.PutBytes(std::span(index.Bytes()).subspan(header_bytes));
        PutHeader(rest, room_ - index.Size() - large_header_bytes, "free");
        hr = WriteAt(room_start_ + header_bytes, rest.Bytes());
        Mp4Boxes data;
        PutLargeHeader(data, end_ - (room_end - large_header_bytes), "mdat");
        if (SUCCEEDED(hr)) hr = WriteAt(room_end - large_header_bytes, data.Bytes());
        PutHeader(header, index.Size(), "moov");
    } else {
        hr = WriteAt(end_, index.Bytes());
        if (FAILED(hr)) Truncate(end_);
        PutLargeHeader(header, end_ - room_start_, "mdat");
    }
    if (FAILED(hr)) return hr;
    if (fdatasync(file_) != 0) return ResultFromErrno(errno);
    // When this reaches the disk does not matter: before it does, the file is a whole one in
    // fragments.
    return WriteAt(room_start_, header.Bytes());
}

HRESULT Mp4File::Truncate(std::uint64_t size) {
    return ftruncate(file_, static_cast<off_t>(size)) == 0 ? S_OK : ResultFromErrno(errno);
}

HRESULT Mp4File::WriteAt(std::uint64_t place, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return ResultFromErrno(written < 0 ? errno : ENOSPC);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        place += static_cast<std::uint64_t>(written);
    }
    return S_OK;
}

void Mp4File::PutMovie(Mp4Boxes& boxes, bool fragmented) const {
    std::int64_t duration = 0;
    for (const Mp4Track& track : tracks_) duration = std::max(duration, track.EndTime());
    if (fragmented) duration = 0;

    const Mp4Boxes::Scope moov(boxes, "moov");
    {
        const std::uint8_t version = duration > UINT32_MAX ? 1 : 0;
        const Mp4Boxes::Scope mvhd(boxes, "mvhd", version, 0);
        boxes.PutTime(0, version);
        boxes.PutTime(0, version);
        boxes.Put32(Mp4Track::movie_timescale);
        boxes.PutTime(duration, version);
        boxes.Put32(0x10000);  // rate
        boxes.Put16(0x0100);   // volume
        boxes.PutZeros(10);
        boxes.PutMatrix();
        boxes.PutZeros(24);
        boxes.Put32(static_cast<std::uint32_t>(tracks_.size() + 1));
    }
    // One that got nothing is left out in the end.
    for (const Mp4Track& track : tracks_) {
        if (fragmented || track.HasSamples()) track.PutTrack(boxes, fragmented);
    }
    if (fragmented) {
        const Mp4Boxes::Scope mvex(boxes, "mvex");
        for (const Mp4Track& track : tracks_) track.PutFragmentDefaults(boxes);
    }
}

}  // namespace Vimbrel
