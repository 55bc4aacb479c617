// Subtitles in a file beside the media file.
#pragma once

#include <string>
#include <vector>

#include "platform/linux/ds/file/Demuxer.h"

namespace Vimbrel {

// The whole file: they are small. Times are in units of 100 nanoseconds.
struct SubtitleFile {
    SubtitleFile() = default;
    SubtitleFile(SubtitleFile&&) = default;
    SubtitleFile& operator=(SubtitleFile&&) = default;

    MediaStream stream;
    std::vector<FfmpegPtr<AVPacket>> packets;
};

// SRT, ASS and SSA files whose name is that of the media file, with or without a part between the
// name and the ending: "film.srt" and "film.de.srt" belong to "film.mkv". In the order of their
// names. What cannot be read is logged and left out.
std::vector<SubtitleFile> FindSubtitleFiles(const std::string& media);

}  // namespace Vimbrel
