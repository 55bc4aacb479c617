// How long an MP4 file says it is.
#pragma once

#include <filesystem>
#include <optional>

namespace studio {

// Seconds, by the index of the whole file. Nothing if it has none, as one that was cut off.
std::optional<double> Mp4Length(const std::filesystem::path& file);

}  // namespace studio
