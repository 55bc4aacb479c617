// Formats of the kernel's capture devices as media types, and their pictures as samples.
#pragma once

#include <optional>

#include "filters/MediaType.h"
#include "platform/linux/ds/device/V4l2Device.h"

namespace Vimbrel {

// Null for pixels that neither a sink nor a decoder takes.
const GUID* SubtypeOf(std::uint32_t pixel_format);

// The media type of a format, whose subtype must be known. Rows of RGB run upwards, as they do from
// every device of the system's graph.
CMediaType TypeOf(const V4l2Format& format);

// Copies a picture to a sample of the type of its format, without the padding of rows. The bytes
// written; none if the picture is damaged or too short, or the sample is.
std::optional<std::size_t> CopyPicture(const V4l2Layout& layout, const V4l2Picture& picture,
                                       std::uint8_t* target, std::size_t capacity);

}  // namespace Vimbrel
