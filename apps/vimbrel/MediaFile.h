// Commands on one media file.
#pragma once

#include <filesystem>
#include <string>

namespace studio {

// Writes the picture that is shown at that time as PNG. False with `error` set if there is none
// within ten seconds, or if it cannot be written.
bool WriteThumbnail(const std::filesystem::path& file, double seconds,
                    const std::filesystem::path& out, std::string& error);

// Whether it opens; otherwise `error` says what is wrong.
bool CanPlayMedia(const std::filesystem::path& file, std::string& error);

// Prints duration, size, rate and streams. False with `error` set if the file does not open.
bool PrintMediaInfo(const std::filesystem::path& file, bool json, std::string& error);

}  // namespace studio
