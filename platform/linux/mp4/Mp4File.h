// An MP4 file that can be read at any moment of its making, and is an ordinary one at its end.
//
// While it grows it consists of fragments, each written at once. In front of them room is left; at
// the end the index of the whole goes there, and the fragments become the data of an ordinary file
// without being moved. The header that makes the difference is written in one piece and last, so
// the file is either the one or the other. If the room is too small the index comes after the
// data.
#pragma once

#include <winerror.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/mp4/Mp4Track.h"

namespace Vimbrel {

// No track got a sample. The value is that of the system's MF_E_SINK_NO_SAMPLES_PROCESSED.
inline constexpr HRESULT mp4_no_samples = VimbrelResult(0xC00D4A44u);

class Mp4File {
public:
    ~Mp4File();
    Mp4File(const Mp4File&) = delete;
    Mp4File& operator=(const Mp4File&) = delete;

    // Makes or replaces the file, which must be an ordinary one. The room is taken from the disk at
    // once. An older file stays if this fails.
    static HRESULT Create(const std::string& path, std::vector<Mp4TrackFormat> formats,
                          std::uint64_t index_room, std::unique_ptr<Mp4File>& result);

    Mp4Track& Track(std::size_t i) { return tracks_[i]; }
    // Writes a fragment if one of the tracks has enough for it. A failure leaves the fragments
    // before it, and is given again by every later call.
    HRESULT WriteIfFull();
    // Writes what waits, and the index. A file without a sample is no recording and is left empty.
    HRESULT Finish();

private:
    Mp4File() = default;
    HRESULT WriteHeader();
    HRESULT WriteFragment();
    HRESULT WriteIndex();
    HRESULT Truncate(std::uint64_t size);
    HRESULT WriteAt(std::uint64_t place, std::span<const std::uint8_t> bytes);
    void PutMovie(Mp4Boxes& boxes, bool fragmented) const;

    int file_ = -1;
    HRESULT failure_ = S_OK;
    std::vector<Mp4Track> tracks_;
    std::uint64_t room_start_ = 0;
    std::uint64_t room_ = 0;
    std::uint64_t end_ = 0;  // of the last whole fragment
    std::uint32_t fragments_ = 0;
    std::chrono::steady_clock::time_point synced_;
};

}  // namespace Vimbrel
