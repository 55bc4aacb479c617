// The system's imaging component, within its apartment.
#pragma once

#include <gtest/gtest.h>
#include <objbase.h>
#include <wincodec.h>

#include "com/ComPtr.h"

namespace Vimbrel::test {

class Imaging {
public:
    Imaging() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        EXPECT_GE(CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_PPV_ARGS(factory.Put())),
                  0);
    }
    ~Imaging() {
        factory.Reset();
        CoUninitialize();
    }
    Imaging(const Imaging&) = delete;
    Imaging& operator=(const Imaging&) = delete;

    ComPtr<IWICImagingFactory2> factory;
};

}  // namespace Vimbrel::test
