// Selection, span, rotation, pointer rules and failures of desktop duplication, on scripted
// outputs.
#include "ScreenCapture/DXGICapture.h"

#include <gmock/gmock.h>

#include <numeric>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeDxgi.h"
#include "tests/fakes/FakeGdi.h"
#include "tests/fakes/FakeWindowSystem.h"
#include "tests/support/Imaging.h"

namespace Vimbrel::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr HRESULT refused = E_ACCESSDENIED;

class DXGICaptureTest : public testing::Test {
protected:
    DXGICaptureTest() {
        left = MakeOutput({0, 0, 2, 2}, 100);
        right = MakeOutput({2, 0, 4, 2}, 200);
        right.monitor = reinterpret_cast<HMONITOR>(std::uintptr_t{2});
        windows.primary = right.monitor;
        dxgi.adapters = {{&left, &right}};
    }

    static FakeOutput MakeOutput(const RECT& place, std::uint32_t first) {
        FakeOutput output;
        output.place = place;
        output.width = place.right - place.left;
        output.pixels.resize(static_cast<std::size_t>(output.width * (place.bottom - place.top)));
        std::iota(output.pixels.begin(), output.pixels.end(), first);
        return output;
    }

    // What a capture into a frame of `rect` gives, over a frame of nines.
    std::vector<std::uint32_t> Bits(DXGICapture& capture, const RECT& rect,
                                    HRESULT expected = S_OK) {
        std::vector<std::uint32_t> pixels(
            static_cast<std::size_t>((rect.right - rect.left) * (rect.bottom - rect.top)), 9);
        EXPECT_EQ(capture.GetOutputBits(reinterpret_cast<BYTE*>(pixels.data()), &rect), expected);
        return pixels;
    }

    void ShowPointer(FakeOutput& output, POINT at, UINT side, std::uint32_t pixel) {
        output.pointer_visible = TRUE;
        output.pointer = at;
        output.shape_info = {4, side, side, side * 4, {}};
        output.shape.resize(side * side * 4);
        for (std::size_t i = 0; i < side * side; ++i) std::memcpy(&output.shape[i * 4], &pixel, 4);
        output.told_size = static_cast<UINT>(output.shape.size());
    }

    Imaging imaging;
    FakeOutput left, right;
    FakeDxgi dxgi;
    FakeWindowSystem windows;
    FakeGdi gdi;
    CaptureSystem system{windows, gdi, PlatformCaptureSystem().gdiplus, dxgi};
};

TEST_F(DXGICaptureTest, SelectsAndSpans) {
    struct Row {
        int source;
        RECT span;
    };
    const Row rows[] = {{1, {2, 0, 4, 2}}, {2, {0, 0, 2, 2}}, {3, {0, 0, 4, 2}}, {0, {}}, {7, {}}};
    for (const Row& row : rows) {
        DXGICapture capture(system);
        capture.captureSource = row.source;
        RECT span{1, 1, 1, 1};
        EXPECT_EQ(capture.GetOutputRect(&span), S_OK);
        EXPECT_EQ(std::memcmp(&span, &row.span, sizeof span), 0) << row.source;
    }
    const auto log = TakeLog();
    EXPECT_EQ(log.at(1).text,
              "Display output found. DeviceName=FAKE AttachedToDesktop=1 Rotation=1 "
              "DesktopCoordinates={(2,0),(4,2)}");
    EXPECT_EQ(log.at(1).level, 0);

    DXGICapture all(system);
    all.captureSource = 3;
    EXPECT_THAT(Bits(all, {0, 0, 4, 2}), ElementsAre(100, 101, 200, 201, 102, 103, 202, 203));
    EXPECT_EQ(left.acquired, left.released);
    DXGICapture none(system);
    EXPECT_THAT(Bits(none, {0, 0, 4, 2}), Each(9u));
}

TEST_F(DXGICaptureTest, ATurnedOutputIsUpright) {
    left = MakeOutput({0, 0, 2, 3}, 1);
    left.width = 3;
    left.rotation = 2;
    dxgi.adapters = {{&left}};
    DXGICapture capture(system);
    capture.captureSource = 3;
    EXPECT_THAT(Bits(capture, {0, 0, 2, 3}), ElementsAre(4, 1, 5, 2, 6, 3));
}

TEST_F(DXGICaptureTest, FailuresOfTheStart) {
    RECT span;
    const auto start = [&] {
        DXGICapture capture(system);
        const HRESULT hr = capture.GetOutputRect(&span);
        EXPECT_TRUE(IsRectEmpty(&span) || SUCCEEDED(hr));
        return hr;
    };
    dxgi.create_factory = refused;
    EXPECT_EQ(start(), refused);
    EXPECT_THAT(TakeErrors(), ElementsAre("Failed to CreateDXGIFactory1 hr=0x80070005"));
    dxgi.create_factory = S_OK;
    dxgi.create_device = refused;
    EXPECT_EQ(start(), refused);
    EXPECT_THAT(TakeErrors(), ElementsAre("Failed to create D3D11CreateDevice hr=0x80070005"));
    dxgi.create_device = S_OK;
    dxgi.dxgi_device = false;
    EXPECT_EQ(start(), E_NOINTERFACE);
    EXPECT_THAT(TakeErrors(), ElementsAre("spDXGIDevice is NULL", "spDXGIDevice is NULL"));
    dxgi.dxgi_device = true;
    left.query = E_NOINTERFACE;
    right.duplicate = refused;
    EXPECT_EQ(start(), refused);
    EXPECT_THAT(TakeErrors(),
                ElementsAre("spDXGIOutput1 is NULL", "Failed to duplicate output hr=0x80070005"));
    left.attached = right.attached = FALSE;
    EXPECT_EQ(start(), E_FAIL);
    EXPECT_THAT(TakeErrors(), IsEmpty());

    // One output of two is enough, and a start that failed can be tried again.
    DXGICapture capture(system);
    capture.captureSource = 3;
    EXPECT_EQ(capture.GetOutputRect(&span), E_FAIL);
    left.attached = right.attached = TRUE;
    left.query = S_OK;
    EXPECT_EQ(capture.GetOutputRect(&span), S_OK);
    EXPECT_EQ(span.right, 2);
}

TEST_F(DXGICaptureTest, FailuresOfAFrame) {
    DXGICapture capture(system);
    capture.captureSource = 3;
    EXPECT_EQ(Bits(capture, {0, 0, 4, 2}).at(0), 100u);
    TakeLog();
    right.acquire = DXGI_ERROR_WAIT_TIMEOUT;
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}, DXGI_ERROR_WAIT_TIMEOUT),
                ElementsAre(100, 101, 9, 9, 102, 103, 9, 9));
    EXPECT_THAT(TakeErrors(),
                ElementsAre("DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0027"));
    left.acquire = DXGI_ERROR_ACCESS_LOST;
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}, DXGI_ERROR_ACCESS_LOST), Each(9u));
    EXPECT_THAT(TakeErrors(),
                ElementsAre("DXGIOutputDuplication->AcquireNextFrame failed with hr=0x887a0026"));
    left.acquire = right.acquire = S_OK;
    left.map = E_FAIL;
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}), ElementsAre(9, 9, 200, 201, 9, 9, 202, 203));
    EXPECT_THAT(TakeErrors(), IsEmpty());
    dxgi.create_texture = refused;
    Bits(capture, {0, 0, 4, 2}, refused);
    EXPECT_THAT(TakeErrors(),
                ElementsAre("DXGIOutputDuplication->CreateTexture2D failed with hr=0x80070005"));
    EXPECT_EQ(left.acquired, left.released);
}

TEST_F(DXGICaptureTest, ThePointerStaysWhenItIsNotTold) {
    DXGICapture capture(system);
    capture.captureSource = 3;
    ShowPointer(right, {1, 1}, 1, 0x00FFFFFF);
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}),
                ElementsAre(100, 101, 200, 201, 102, 103, 202, 0xFFFFFF));
    // Too large: the old shape moves.
    ShowPointer(right, {0, 1}, 130, 0x00EEEEEE);
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}),
                ElementsAre(100, 101, 200, 201, 102, 103, 0xFFFFFF, 203));
    // Not changed: no size, no shape.
    right.told_size = 0;
    right.shape.clear();
    right.shape_info = {};
    right.pointer = {1, 0};
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}),
                ElementsAre(100, 101, 200, 0xFFFFFF, 102, 103, 202, 203));
    // Not visible: where it was.
    right.pointer_visible = FALSE;
    right.pointer = {0, 0};
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}),
                ElementsAre(100, 101, 200, 0xFFFFFF, 102, 103, 202, 203));
    // More than was told: asked for again.
    ShowPointer(left, {0, 0}, 128, 0x00DDDDDD);
    left.told_size = 4;
    EXPECT_THAT(Bits(capture, {0, 0, 4, 2}), Each(0xDDDDDDu));
    capture.drawCursor = false;
    EXPECT_EQ(Bits(capture, {0, 0, 4, 2}).at(0), 100u);
}

TEST_F(DXGICaptureTest, ADesktopLargerThanTheFrameIsScaledAndPacked) {
    left = MakeOutput({0, 0, 8, 4}, 100);
    dxgi.adapters = {{&left}};
    DXGICapture capture(system);
    capture.captureSource = 3;
    // Wide: 4 x 2 within a frame of 4 x 3, packed from the start.
    const auto wide = Bits(capture, {0, 0, 4, 3});
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x) {
            const auto pixel = wide[static_cast<std::size_t>(y * 4 + x)] - 100;
            EXPECT_EQ(static_cast<int>(pixel) % 8 / 2, x);
            EXPECT_EQ(static_cast<int>(pixel) / 8 / 2, y);
        }
    }
    EXPECT_THAT(std::vector<std::uint32_t>(wide.begin() + 8, wide.end()), Each(9u));
    // High: 2 x 4 of a frame of 3 x 4, rows of 2 pixels.
    left = MakeOutput({0, 0, 4, 8}, 100);
    DXGICapture high(system);
    high.captureSource = 3;
    const auto narrow = Bits(high, {0, 0, 3, 4});
    EXPECT_EQ((narrow[2] - 100) / 4 / 2, 1u);
    EXPECT_THAT(std::vector<std::uint32_t>(narrow.begin() + 8, narrow.end()), Each(9u));
    // A desktop that begins left of the origin and a frame it does not fit into: nothing is written
    // outside.
    left = MakeOutput({-6, 0, 2, 4}, 100);
    DXGICapture shifted(system);
    shifted.captureSource = 3;
    EXPECT_THAT(Bits(shifted, {0, 0, 4, 4}), ElementsAre(100, 101, 102, 103, 108, 109, 110, 111,
                                                         116, 117, 118, 119, 124, 125, 126, 127));
}

}  // namespace

}  // namespace Vimbrel::test
