// A camera source over a fake device, on both systems.
#include "vimbrel/MediaSourceCamera.h"

#include <gtest/gtest.h>

#include <atomic>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeCamera.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "tests/support/GraphKit.h"
#include "tests/support/Watchdog.h"
#include "tests/support/Wine.h"
#include "vimbrel/MediaSourceEnumerator.h"

namespace Vimbrel::test {
namespace {

using State = MediaSource::State;

CMediaType Rgb(LONG width, LONG height, REFERENCE_TIME frame_time) {
    return VideoType(MEDIASUBTYPE_RGB32, width, height, static_cast<DWORD>(width * height * 4),
                     frame_time);
}

void Pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

std::vector<std::string> LogTexts(int lowest) {
    std::vector<std::string> texts;
    for (const LogLine& line : TakeLog()) {
        if (line.level >= lowest) texts.push_back(line.text);
    }
    return texts;
}

class CameraSource : public testing::Test {
protected:
    CameraSource() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        setup->capabilities = {Rgb(640, 480, 333'333), Rgb(320, 240, 400'000),
                               Rgb(320, 240, 333'333)};
        camera.SetFriendlyName(L"Desk camera");
        camera.SetDispatcher(&seen);
        for (const CMediaType& type : setup->capabilities) {
            const auto& info = *type.FormatAs<VIDEOINFOHEADER>(FORMAT_VideoInfo);
            camera.GetOutputFormats().push_back(
                {type.subtype, info.bmiHeader.biWidth, info.bmiHeader.biHeight, 0, L""});
        }
        Plug();
        TakeLog();
    }
    ~CameraSource() override { CoUninitialize(); }
    // A moniker where there is none.
    void Plug() {
        if (!camera.GetMoniker()) camera.SetMoniker(MakeCom<FakeCameraMoniker>(setup).Detach());
    }

    const Watchdog watchdog{"camera source"};
    const std::shared_ptr<CameraSetup> setup = std::make_shared<CameraSetup>();
    RecordingDispatcher seen;
    MediaSourceCamera camera;
};

TEST_F(CameraSource, OpensWithTheChosenFormatAndDeliversWithoutAClock) {
    camera.SetOutputFormat(2);
    ASSERT_TRUE(camera.Open());
    // The rate plays no part: the first capability of the size is set.
    EXPECT_EQ(setup->current, 1u);
    EXPECT_EQ(camera.GetMediaInfo().width, 320);
    EXPECT_EQ(camera.GetMediaInfo().height, 240);
    EXPECT_EQ(camera.GetMediaInfo().frameRate, 25.0);
    EXPECT_TRUE(camera.GetMediaInfo().audioStreams.empty());
    EXPECT_EQ(LogTexts(0), std::vector<std::string>{"SetFormat: 320 x 240"});
    ASSERT_NE(setup->last, nullptr);
    ASSERT_TRUE(camera.Play());
    // A start in the far future would keep a clocked sink waiting.
    Streaming streaming([&] { return setup->last->Pin().Send(9, 3600 * second, 3601 * second); });
    EXPECT_EQ(streaming.Join(), S_OK);
    ASSERT_EQ(seen.video.size(), 1u);
    EXPECT_EQ(seen.video[0].source, &camera);
    EXPECT_EQ(seen.video[0].stride, 1280);
    EXPECT_EQ(seen.video[0].time, 3600 * second);
    EXPECT_EQ(seen.video[0].duration, second);
    EXPECT_TRUE(camera.Pause());
    EXPECT_TRUE(camera.Play());
    camera.Stop();
    camera.Close();
    EXPECT_EQ(seen.States(), (std::vector{State::Opened, State::Playing, State::Paused,
                                          State::Playing, State::Stopped, State::Closed}));
    EXPECT_EQ(setup->filters, 0);
    EXPECT_EQ(FakeCameraMoniker::alive, 0) << "closing gives the moniker back";
    EXPECT_FALSE(camera.Open()) << "a closed camera has no device";
}

TEST_F(CameraSource, GoesOnToTheNextCapabilityAndLeavesTheFormatAloneWithoutAChoice) {
    camera.SetOutputFormat(1);
    setup->refused = 1;
    ASSERT_TRUE(camera.Open());
    EXPECT_EQ(setup->current, 2u);
    EXPECT_EQ(setup->set_calls, 2);
    camera.Close();
    for (const int index : {-1, 3}) {
        Plug();
        camera.SetOutputFormat(index);
        setup->current = 0;
        ASSERT_TRUE(camera.Open());
        EXPECT_EQ(setup->set_calls, 2);
        EXPECT_EQ(camera.GetMediaInfo().width, 640);
        camera.Close();
    }
    camera.SetOutputFormat(1);
    setup->has_config = false;
    Plug();
    EXPECT_TRUE(camera.Open());
    EXPECT_EQ(camera.GetMediaInfo().width, 640);
    setup->has_config = true;
    setup->capability_size = 112;
    camera.Close();
    Plug();
    EXPECT_TRUE(camera.Open());
    EXPECT_EQ(setup->set_calls, 2);
}

TEST_F(CameraSource, TakesTheFirstPinForCaptureOrPreviewElseTheFirstOutput) {
    const struct {
        std::vector<GUID> pins;
        int connected;
    } cases[] = {{{GUID_NULL, PIN_CATEGORY_PREVIEW, PIN_CATEGORY_CAPTURE}, 1},
                 {{GUID_NULL, GUID_NULL, PIN_CATEGORY_CAPTURE}, 2},
                 {{GUID_NULL, GUID_NULL}, 0}};
    for (const auto& [pins, connected] : cases) {
        setup->pins = pins;
        Plug();
        EXPECT_TRUE(camera.Open());
        EXPECT_EQ(setup->connected_pin, connected);
        camera.Close();
    }
    setup->pins = {};
    Plug();
    TakeLog();
    EXPECT_FALSE(camera.Open());
    EXPECT_TRUE(LogTexts(3).empty()) << "no pin, no word";
}

TEST_F(CameraSource, SaysWhyItDoesNotOpen) {
    setup->bind_result = E_ACCESSDENIED;
    EXPECT_FALSE(camera.Open());
    EXPECT_EQ(LogTexts(3), std::vector<std::string>{"IMoniker BindToObject failed - 0x80070005"});
    EXPECT_EQ(camera.GetState(), State::Closed);
    EXPECT_TRUE(seen.changes.empty());
    setup->bind_result = S_OK;
    setup->capabilities = {VideoType(MEDIASUBTYPE_MJPG, 640, 480, 100'000)};
    // No decoder takes it, wherever the decoder comes from.
    const ScopedClassOverride none(
        GUID{0xEE30215D, 0x164F, 0x4A92, {0xA4, 0xEB, 0x9D, 0x4C, 0x13, 0x39, 0x0F, 0x9F}},
        [](REFIID, void**) { return REGDB_E_CLASSNOTREG; });
    EXPECT_FALSE(camera.Open());
    const std::vector<std::string> lines = LogTexts(3);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].find("Connect device with renderer failed - 0x8004"), 0u);
    EXPECT_NE(lines[0].find(", will try again with LAV"), std::string::npos);
    EXPECT_EQ(lines[1], "Add internal video decoder failed");
    EXPECT_EQ(lines[2], "Create video decoder failed - 0x80040154");
    EXPECT_EQ(lines[3].find("Connect device with renderer (with LAV decoder added) failed - 0x8"),
              0u);
    EXPECT_EQ(setup->filters, 0) << "a failed open leaves nothing";
}

TEST_F(CameraSource, EventsOfTheGraphBecomeStatesOnTheOpenersLoopAlone) {
    ASSERT_TRUE(camera.Open());
    ASSERT_TRUE(camera.Play());
    seen.changes.clear();
    const struct {
        LONG code;
        State state;
    } cases[] = {{EC_COMPLETE, State::Ended},
                 {EC_DEVICE_LOST, State::Stopped},
                 {EC_USERABORT, State::Stopped},
                 {EC_ERRORABORT, State::Stopped}};
    for (const auto& [code, state] : cases) {
        camera.Play();
        seen.changes.clear();
        Streaming streaming([&, code = code] {
            return setup->last->NotifyEvent(
                code, 0, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(setup->last)));
        });
        EXPECT_GE(streaming.Join(), 0);
        EXPECT_TRUE(seen.changes.empty()) << "nothing changes before the loop runs";
        EXPECT_TRUE(WaitUntil([&] { return Pump(), !seen.changes.empty(); })) << code;
        EXPECT_EQ(camera.GetState(), state) << code;
        if (code == EC_COMPLETE) camera.Stop();
    }
    camera.Play();
    seen.changes.clear();
    setup->last->NotifyEvent(EC_DEVICE_LOST, 0, 0);
    camera.Close();
    Pump();
    EXPECT_EQ(seen.States(), std::vector{State::Closed}) << "nothing arrives after Close";
}

TEST_F(CameraSource, ACopyHasItsOwnReferenceAndTheSameChoice) {
    camera.SetDevicePath(L"usb-7");
    camera.SetOutputFormat(1);
    const std::unique_ptr<MediaSourceCamera> copy(camera.CreateDevice());
    EXPECT_EQ(copy->GetFriendlyName(), L"Desk camera");
    EXPECT_EQ(copy->GetDevicePath(), L"usb-7");
    EXPECT_EQ(copy->GetOutputFormats().size(), 3u);
    EXPECT_EQ(copy->GetOutputFormat(), 1);
    EXPECT_EQ(copy->GetMoniker(), camera.GetMoniker());
    EXPECT_FALSE(copy->HasPropertyPages());
    copy->ShowPropertyPages(nullptr);
    EXPECT_TRUE(copy->Open());
    copy->Close();
    EXPECT_EQ(FakeCameraMoniker::alive, 1) << "the prototype keeps its device";
    EXPECT_TRUE(camera.Open());
}

}  // namespace
}  // namespace Vimbrel::test
