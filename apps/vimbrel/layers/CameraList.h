// The cameras of the system, for the studio's layers and for its users.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "vimbrel/MediaSourceCamera.h"

namespace studio {

// Selects a device by its name or path; an empty text selects the first one. With `path` it is the
// device that has both that name and that path.
struct CameraChoice {
    std::string device;
    std::string path;
};

// A camera of its own on the device, set to that format; an empty text is its default one. Null
// with `error` set to what is wrong. Any thread that has started COM.
std::unique_ptr<Vimbrel::MediaSourceCamera> FindCamera(const CameraChoice& choice,
                                                       const std::string& format,
                                                       std::string& error);

// The index of a format as "1280x720@30 MJPG"; rate and pixels may be left out. -1 if there is
// none.
int FindFormat(const Vimbrel::MediaSourceCamera& camera, const std::string& text);

// Whether an open camera has the rate of the format that was chosen, as exactly as both are known.
// The library sets the first rate of the size, and devices have wills of their own.
bool HasChosenRate(Vimbrel::MediaSourceCamera& camera);

// Each as {"name", "path", "formats"}, a format as {"format", "default"}. The default format is the
// one that a camera is set to without a choice. Starts COM for itself.
nlohmann::json ListCameras();

}  // namespace studio
