// Pictures as PNG files.
#pragma once

#include <filesystem>

#include "scene/Raster.h"

namespace studio {

// Without its transparency. False if the file cannot be written.
bool WritePng(const Raster& picture, const std::filesystem::path& out);

}  // namespace studio
