#include <gmock/gmock.h>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDeviceLists.h"
#include "tests/support/GraphKit.h"
#include "vimbrel/AudioDeviceEnumerator.h"

namespace Vimbrel::test {
namespace {

using testing::ElementsAre;
using Names = std::vector<std::wstring>;

class AudioDeviceTest : public testing::Test {
protected:
    AudioDeviceTest() {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        TakeLog();
        for (const wchar_t* name : {L"Speakers", L"DirectSound: Speakers", L"Halvorix Sonvex",
                                    L"Default WaveOut Device", L"DirectSound: Amplifier",
                                    L"Amplifier", L"Default DirectSound Device", L"DirectSound"})
            lists.outputs.push_back(Device(name));
    }
    ~AudioDeviceTest() override {
        devices.EnumerateOutputDevices(0);
        devices.Clear();
        CoUninitialize();
    }

    // Notes its name when it is opened.
    ListedDevice Device(const std::wstring& name) {
        return {name, [this, name](REFIID iid, void** object) {
                    opened = name;
                    return CreateCom<TestSource>(iid, object);
                }};
    }
    Names Outputs(int device_class) {
        devices.EnumerateOutputDevices(device_class);
        Names names;
        for (const auto& each : devices.GetOutputDevices()) names.push_back(each->name);
        return names;
    }
    // The device that a name opens; empty if none.
    std::wstring Opened(const std::wstring& name, bool input = false) {
        opened.clear();
        ComPtr<IBaseFilter> filter;
        const bool found = AudioDeviceEnumerator::GetAudioFilter(name, input, filter.Put());
        EXPECT_EQ(found, static_cast<bool>(filter));
        return opened;
    }
    std::vector<std::string> Log() {
        std::vector<std::string> texts;
        for (const LogLine& each : TakeLog()) {
            // The system's own lines, about its defaults.
            if (each.file != "Source\\AudioDevice") continue;
            texts.push_back(std::to_string(each.level) + " " + std::to_string(each.line) + " " +
                            each.text);
        }
        return texts;
    }

    FakeDeviceLists lists;
    AudioDeviceEnumerator& devices = *AudioDeviceEnumerator::GetInstance();
    std::wstring opened;
};

TEST_F(AudioDeviceTest, AClassHidesTheOthersTwins) {
    EXPECT_THAT(Outputs(0), ElementsAre(L"Default DirectSound Device", L"Amplifier", L"Speakers"));
    EXPECT_EQ(Opened(L"Speakers"), L"DirectSound: Speakers");
    EXPECT_EQ(Opened(L"DirectSound: Speakers"), L"DirectSound: Speakers");
    EXPECT_EQ(Opened(L"Default DirectSound Device"), L"Default DirectSound Device");
    EXPECT_EQ(Opened(L"Default WaveOut Device"), L"Default WaveOut Device");
    EXPECT_EQ(Opened(L"Halvorix Sonvex"), L"Halvorix Sonvex") << "it has no twin";
    EXPECT_EQ(Opened(L"DirectSound"), L"");
    EXPECT_EQ(Opened(L""), L"");

    EXPECT_THAT(Outputs(1), ElementsAre(L"Default WaveOut Device", L"Amplifier", L"DirectSound",
                                        L"Halvorix Sonvex", L"Speakers"));
    EXPECT_EQ(Opened(L"Speakers"), L"Speakers");

    EXPECT_THAT(Outputs(2),
                ElementsAre(L"Default DirectSound Device", L"Default WaveOut Device",
                            L"DirectSound: Amplifier", L"DirectSound: Speakers", L"Amplifier",
                            L"DirectSound", L"Halvorix Sonvex", L"Speakers"));
    // What is within the name is cut as well, once.
    lists.outputs = {Device(L"A DirectSound: B DirectSound: C")};
    EXPECT_THAT(Outputs(0), ElementsAre(L"A B DirectSound: C"));
}

TEST_F(AudioDeviceTest, DefaultsAreThoseOfTheClassOrTheApplications) {
    Outputs(0);
    EXPECT_EQ(devices.GetDefaultOutputDevice(), L"Default DirectSound Device");
    Outputs(7);
    EXPECT_EQ(devices.GetDefaultOutputDevice(), L"Default DirectSound Device");
    devices.SetDefaultOutputDevice(L"DirectSound: Amplifier");
    EXPECT_EQ(devices.GetDefaultOutputDeviceName(), L"Amplifier");
    devices.SetDefaultOutputDevice(L"Amplifier");
    EXPECT_EQ(devices.GetDefaultOutputDeviceName(), L"Amplifier");
    devices.SetDefaultInputDevice(L"Anything");
    EXPECT_EQ(devices.GetDefaultInputDevice(), L"Anything");
    devices.EnumerateInputDevices();
    EXPECT_EQ(devices.GetDefaultInputDevice(), devices.GetDefaultInputDeviceName());
}

TEST_F(AudioDeviceTest, InputsAreListedAsTheyStand) {
    lists.inputs = {Device(L"Line"), Device(L"Default Mic"), Device(L"DirectSound: Mic")};
    lists.inputs.push_back({L"no properties", nullptr, false});
    lists.inputs.push_back({L"no name", nullptr, true, false});
    TakeLog();
    devices.EnumerateInputDevices();
    Names names;
    for (const auto& each : devices.GetInputDevices()) names.push_back(each->name);
    EXPECT_THAT(names, ElementsAre(L"Line", L"Default Mic", L"DirectSound: Mic", L""));
    EXPECT_THAT(Log(), ElementsAre("3 260 IMoniker BindToStorage failed - 0x80004002"));
    EXPECT_EQ(Opened(L"Line", true), L"Line");
    EXPECT_EQ(Opened(L"Mic", true), L"");
    devices.Clear();
    EXPECT_TRUE(devices.GetInputDevices().empty());
}

TEST_F(AudioDeviceTest, WhatFailsIsLogged) {
    lists.inputs.clear();
    TakeLog();
    devices.EnumerateInputDevices();
    EXPECT_THAT(Log(), ElementsAre("4 203 CreateClassEnumerator failed - 0x00000001"));
    EXPECT_TRUE(devices.GetInputDevices().empty());
    lists.inputs = {{L"Locked"}};
    EXPECT_EQ(Opened(L"Locked", true), L"");
    EXPECT_THAT(Log(), ElementsAre("4 327 GetAudioFilterDS BindToObject failed - 0x80070005"));
    lists.available = false;
    devices.EnumerateInputDevices();
    EXPECT_THAT(Log(), ElementsAre("4 195 Create SystemDeviceEnum failed - 0x80004005"));
}

}  // namespace
}  // namespace Vimbrel::test
