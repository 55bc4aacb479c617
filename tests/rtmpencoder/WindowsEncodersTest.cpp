// The live encoders on the encoders of Windows, or on Wine without them.
#include <gmock/gmock.h>

#include <windows.h>

#include <mfapi.h>
#include <mftransform.h>
#include <objbase.h>
#include <wmcodecdsp.h>

#include <cstdio>

#include "rtmpencoder/live_encoder_aac.h"
#include "rtmpencoder/live_encoder_h264.h"
#include "tests/fakes/CapturingLog.h"
#include "tests/support/Wine.h"

namespace Vimbrel::test {
namespace {

// The system's own result of making a class.
HRESULT Make(const GUID& clsid) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IUnknown* made = nullptr;
    const HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER,
                                        __uuidof(IMFTransform), reinterpret_cast<void**>(&made));
    if (made != nullptr) made->Release();
    CoUninitialize();
    return hr;
}

std::vector<std::string> Words(const char* format, HRESULT hr) {
    if (SUCCEEDED(hr)) return {};
    char text[128];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(hr));
    return {text};
}

// They start with the system's encoders. Without, they log the reason, and stop does nothing.
TEST(LiveEncodersOnWindows, StartIfTheSystemHasItsEncoders) {
    const HRESULT aac_result = Make(CLSID_AACMFTEncoder);
    const HRESULT h264_result = Make(CLSID_CMSH264EncoderMFT);
    if (RunsUnderWine()) {
        // Wine 8 has decoders only.
        EXPECT_EQ(aac_result, REGDB_E_CLASSNOTREG);
        EXPECT_EQ(h264_result, REGDB_E_CLASSNOTREG);
    }
    TakeErrors();

    live_encoder_aac aac;
    EXPECT_EQ(aac.start(), SUCCEEDED(aac_result));
    EXPECT_EQ(TakeErrors(), Words("Live - Create audio encoder failed - 0x%08X", aac_result));
    aac.stop();
    EXPECT_FALSE(aac.running);

    live_encoder_h264 h264;
    EXPECT_EQ(h264.start(), SUCCEEDED(h264_result));
    EXPECT_EQ(TakeErrors(), Words("Live - Create video encoder failed - 0x%08X", h264_result));
    h264.stop();
    EXPECT_FALSE(h264.running);
}

}  // namespace
}  // namespace Vimbrel::test
