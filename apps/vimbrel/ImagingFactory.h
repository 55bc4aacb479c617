// The system's imaging factory, owned.
#pragma once

#include <wincodec.h>

#include <memory>

namespace studio {

struct ReleaseFactory {
    void operator()(IWICImagingFactory* factory) const { factory->Release(); }
};
using ImagingFactory = std::unique_ptr<IWICImagingFactory, ReleaseFactory>;

// Null if there is none. COM has been started.
inline ImagingFactory MakeImagingFactory() {
    IWICImagingFactory* factory = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                     IID_PPV_ARGS(&factory));
    return ImagingFactory(factory);
}

}  // namespace studio
