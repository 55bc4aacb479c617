// The formats of a device as a camera lists them.
#pragma once

#include <vector>

#include "filters/MediaType.h"
#include "vimbrel/MediaSourceCamera.h"

namespace Vimbrel {

// What the format block of a picture type has; null if it is not one of the two kinds, or is too
// short.
struct PictureFormat {
    const BITMAPINFOHEADER* header = nullptr;
    REFERENCE_TIME frame_time = 0;
};
PictureFormat ReadPictureFormat(const AM_MEDIA_TYPE& type);

// Whether both are the same picture type, to the last byte of the format.
bool IsSamePictureType(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b);

// Appends the format, unless it is no picture type, smaller than 320 x 240 or in the list already.
void AddFormat(std::vector<MediaSourceCamera::Format>& formats, const AM_MEDIA_TYPE& type);

// The media types of a pin's capabilities, in their order; empty without capabilities of the
// published size for pictures. `config` must not be null.
std::vector<CMediaType> CapabilitiesOf(IAMStreamConfig& config);

}  // namespace Vimbrel
