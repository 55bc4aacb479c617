#pragma once

#include <wincodec.h>

namespace Vimbrel {

// Creator of the factory's classes for CoCreateInstance.
HRESULT CreateImagingFactory(REFIID iid, void** object);

}  // namespace Vimbrel
