// The cameras of the system, for the studio's layers and for its users.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "vimbrel/MediaSourceCamera.h"

namespace studio {

// A camera of its own on the device of that name or path, set to that format; an empty text is the
// first device, or its current format. Null with `error` set to what is wrong. Any thread that has
// started COM.
std::unique_ptr<Vimbrel::MediaSourceCamera> FindCamera(const std::string& device,
                                                       const std::string& format,
                                                       std::string& error);

// The index of a format as "1280x720@30 MJPG"; rate and pixels may be left out. -1 if there is
// none.
int FindFormat(const Vimbrel::MediaSourceCamera& camera, const std::string& text);

// Each as {"name", "path", "formats"}, a format as {"format", "current"}. Starts COM for itself.
nlohmann::json ListCameras();

}  // namespace studio
