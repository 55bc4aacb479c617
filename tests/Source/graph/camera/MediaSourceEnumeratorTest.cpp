// The list of cameras over fake devices, on both systems.
#include "vimbrel/MediaSourceEnumerator.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeCamera.h"
#include "tests/support/GraphKit.h"

namespace Vimbrel::test {
namespace {

CMediaType Type(REFGUID subtype, LONG width, LONG height, REFERENCE_TIME frame_time,
                REFGUID format = FORMAT_VideoInfo) {
    return VideoType(subtype, width, height, static_cast<DWORD>(width * height * 4), frame_time,
                     format);
}

// The list lives as long as the process: each test looks at what it adds.
class CameraList : public testing::Test {
protected:
    CameraList() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~CameraList() override {
        enumerator.GetVideoDevices().clear();
        CoUninitialize();
    }
    std::vector<std::unique_ptr<MediaSourceCamera>>& Enumerate(CameraSetups setups) {
        const FakeCameras cameras(std::move(setups));
        enumerator.EnumerateVideoDS();
        return enumerator.GetVideoDevices();
    }
    MediaSourceEnumerator& enumerator = *MediaSourceEnumerator::GetInstance();
};

// A machine without cameras has an empty list, for which the system has a result of its own.
TEST_F(CameraList, IsAsLongAsTheSystemsOwn) {
    ComPtr<ICreateDevEnum> system;
    ASSERT_EQ(CreateObject(CLSID_SystemDeviceEnum, system), S_OK);
    ComPtr<IEnumMoniker> devices;
    const HRESULT hr =
        system->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, devices.Put(), 0);
    ASSERT_TRUE(hr == S_OK || hr == S_FALSE) << std::hex << hr;
    enumerator.EnumerateVideoDS();
    EXPECT_EQ(enumerator.GetVideoDevices().empty(), hr == S_FALSE);
}

TEST_F(CameraList, KeepsFormatsOnceLargeEnoughAndMarksTheCurrentOne) {
    const auto setup = std::make_shared<CameraSetup>();
    CMediaType other = Type(MEDIASUBTYPE_YUY2, 640, 480, 333'333);
    other.majortype = MEDIATYPE_Audio;
    CMediaType brief = Type(MEDIASUBTYPE_YUY2, 640, 480, 333'333);
    brief.cbFormat = 87;
    setup->capabilities = {
        Type(MEDIASUBTYPE_YUY2, 160, 120, 333'333),
        Type(MEDIASUBTYPE_YUY2, 640, 200, 333'333),
        other,
        brief,
        Type(MEDIASUBTYPE_YUY2, 640, 480, 333'333),
        Type(MEDIASUBTYPE_YUY2, 640, 480, 333'339),  // the same whole milliseconds
        Type(MEDIASUBTYPE_MJPG, 1280, 720, 166'666, FORMAT_VideoInfo2),
        Type(MEDIASUBTYPE_RGB24, 320, -240, 0),
        Type(MEDIASUBTYPE_ARGB32, 320, 240, 20'000'000),
        Type(GUID{1, 2, 3, {}}, 320, 240, 400'000),
    };
    setup->current = 6;
    const auto& devices = Enumerate({setup});
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0]->GetFriendlyName(), L"Camera");
    EXPECT_EQ(devices[0]->GetDevicePath(), L"usb-1");
    EXPECT_EQ(devices[0]->GetOutputFormat(), 1);
    const struct {
        const wchar_t* label;
        int width, height, frame_time;
    } expected[] = {{L"YUY2 640 x 480, 30FPS", 640, 480, 33},
                    {L"MJPG 1280 x 720, 60FPS", 1280, 720, 16},
                    {L"RGB24 320 x 240", 320, 240, 0},
                    {L"ARGB 320 x 240", 320, 240, 2000},
                    {L"Unknown 320 x 240, 25FPS", 320, 240, 40}};
    const auto& formats = devices[0]->GetOutputFormats();
    ASSERT_EQ(formats.size(), std::size(expected));
    for (std::size_t i = 0; i < formats.size(); ++i) {
        EXPECT_STREQ(formats[i].label, expected[i].label);
        EXPECT_EQ(formats[i].width, expected[i].width);
        EXPECT_EQ(formats[i].height, expected[i].height);
        EXPECT_EQ(formats[i].frameTime, expected[i].frame_time);
    }
    EXPECT_EQ(setup->filters, 0) << "the listed device is not kept open";
    // The current format is a duplicate at the end: the index points past the list.
    setup->capabilities.push_back(setup->capabilities[4]);
    setup->capabilities.back().SetFormat(FORMAT_VideoInfo, setup->capabilities[5].pbFormat, 88);
    setup->capabilities.erase(setup->capabilities.begin() + 5);
    setup->capabilities.erase(setup->capabilities.begin() + 5);
    setup->current = 8;
    Enumerate({setup});
    ASSERT_EQ(devices.size(), 2u) << "a second enumeration appends";
    EXPECT_EQ(devices[1]->GetOutputFormat(), 4);
    EXPECT_EQ(devices[1]->GetOutputFormats().size(), 4u);
}

TEST_F(CameraList, LeavesOutWhatCannotBeUsedAndFindsByExactText) {
    const GUID virtual_set{7, 7, 7, {}};
    std::vector<std::shared_ptr<CameraSetup>> setups(7);
    for (std::size_t i = 0; i < setups.size(); ++i) {
        setups[i] = std::make_shared<CameraSetup>();
        setups[i]->name = L"Device " + std::to_wstring(i);
        setups[i]->path = L"path " + std::to_wstring(i);
        setups[i]->capabilities = {Type(MEDIASUBTYPE_YUY2, 640, 480, 333'333)};
    }
    setups[0]->bind_result = E_FAIL;
    setups[1]->bag_result = E_FAIL;
    setups[2]->settable = {virtual_set};
    setups[3]->pins = {GUID_NULL};  // no capture pin
    setups[4]->capability_size = 112;
    setups[5]->has_path = false;
    setups[6]->has_config = false;
    enumerator.AddExcludeDevicePropertyGuid(virtual_set);
    enumerator.AddExcludeDevicePropertyGuid(virtual_set);
    const auto& devices = Enumerate(setups);
    ASSERT_EQ(devices.size(), 4u);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        EXPECT_EQ(devices[i]->GetFriendlyName(), L"Device " + std::to_wstring(i + 3));
        EXPECT_EQ(devices[i]->GetOutputFormats().size(), i == 2 ? 1u : 0u);
    }
    EXPECT_EQ(devices[2]->GetDevicePath(), L"");
    EXPECT_EQ(enumerator.GetVideoDeviceByName(L"Device 4"), devices[1].get());
    EXPECT_EQ(enumerator.GetVideoDeviceByName(L"device 4"), nullptr);
    EXPECT_EQ(enumerator.GetVideoDeviceByName(L"Device"), nullptr);
    EXPECT_EQ(enumerator.GetVideoDeviceById(L"path 6"), devices[3].get());
    EXPECT_EQ(enumerator.GetVideoDeviceById(L"Device 6"), nullptr);
    enumerator.GetVideoDevices().clear();
    EXPECT_EQ(FakeCameraMoniker::alive, 0);
    EXPECT_TRUE(Enumerate({}).empty());
}

}  // namespace
}  // namespace Vimbrel::test
