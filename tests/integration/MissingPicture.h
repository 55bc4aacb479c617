// Makes the library log a line at the level of errors.
#pragma once

#include <wincodec.h>

#include "vimbrel/MediaSourcePicture.h"

inline void OpenMissingPicture() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    IWICImagingFactory* factory = nullptr;
    CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&factory));
    if (factory) {
        Vimbrel::MediaSourcePicture source;
        source.SetWicImagingFactory(factory);
        source.SetFileName(L"/vimbrel/there/is/no/such.png");
        source.Open();
        factory->Release();
    }
    CoUninitialize();
}
