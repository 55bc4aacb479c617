// The rules of window capture, of the version and of the scale. The system is a fake.
#include "ScreenCapture/WindowCapture.h"

#include <gmock/gmock.h>

#include "tests/fakes/FakeGraphics.h"

namespace Vimbrel::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

HWND Window(std::uintptr_t number) { return reinterpret_cast<HWND>(number); }

UINT scripted_dpi = 96;
UINT WINAPI ScriptedWindowDpi(HWND) { return scripted_dpi; }
HRESULT WINAPI ScriptedMonitorDpi(HMONITOR, int type, UINT* x, UINT* y) {
    if (type != 0 || scripted_dpi == 0) return E_INVALIDARG;
    *x = scripted_dpi;
    *y = 1;
    return S_OK;
}

class WindowCaptureTest : public testing::Test {
protected:
    WindowCaptureTest() {
        scripted_dpi = 96;
        fake.windows.window_dpi =
            reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ScriptedWindowDpi));
        fake.windows.monitor_dpi =
            reinterpret_cast<FARPROC>(reinterpret_cast<void*>(ScriptedMonitorDpi));
    }

    FakeCapture fake;
    LONG width = -1;
    LONG height = -1;
};

TEST_F(WindowCaptureTest, ABlackFirstPixelMovesToPrintWindowUntilAResize) {
    WindowCapture capture(fake.system);
    capture.Start(Window(1));
    EXPECT_TRUE(capture.Capture(&width, &height));
    fake.gdi.fill = 0;
    EXPECT_TRUE(capture.Capture(&width, &height));
    fake.gdi.fill = 5;
    EXPECT_TRUE(capture.Capture(&width, &height));
    EXPECT_TRUE(capture.Capture(&width, &height));
    EXPECT_THAT(fake.gdi.TakeJournal(),
                ElementsAre("BitBlt 4x2 0,0 onto 4x2", "BitBlt 4x2 0,0 onto 4x2",
                            "PrintWindow 2 onto 4x2", "PrintWindow 2 onto 4x2"));
    fake.windows.client = {0, 0, 6, 3};
    EXPECT_TRUE(capture.Capture(&width, &height));
    EXPECT_EQ(width, 6);
    EXPECT_EQ(height, 3);
    EXPECT_THAT(fake.gdi.TakeJournal(), ElementsAre("BitBlt 6x3 0,0 onto 6x3"));
    EXPECT_EQ(fake.gdi.bitmaps.size(), 1u);
    EXPECT_EQ(fake.gdi.bitmaps[0]->image_size, 72u);
}

TEST_F(WindowCaptureTest, OlderVersionsPrint) {
    struct Row {
        DWORD major, minor;
        const char* first;
    };
    const Row rows[] = {{6, 0, "PrintWindow 1 onto 4x2"},
                        {5, 2, "PrintWindow 1 onto 4x2"},
                        {6, 1, "BitBlt 4x2 0,0 onto 4x2"}};
    for (const Row& row : rows) {
        fake.windows.version = {row.major, row.minor, 0, 7601};
        WindowCapture capture(fake.system);
        capture.Start(Window(1));
        capture.Capture(&width, &height);
        EXPECT_THAT(fake.gdi.TakeJournal(), ElementsAre(row.first));
    }
}

TEST_F(WindowCaptureTest, MinimisedEmptyAndClosed) {
    WindowCapture capture(fake.system);
    fake.windows.parents[Window(1)] = Window(2);
    capture.Start(Window(1));
    const BYTE* bits = capture.Capture(&width, &height);
    ASSERT_TRUE(bits);
    fake.gdi.TakeJournal();
    fake.windows.iconic = Window(2);
    fake.windows.client = {0, 0, 9, 9};
    EXPECT_EQ(capture.Capture(&width, &height), bits);
    EXPECT_EQ(width, 4);
    fake.windows.iconic = nullptr;
    fake.windows.client = {0, 0, 0, 9};
    EXPECT_EQ(capture.Capture(&width, &height), bits);
    EXPECT_THAT(fake.gdi.TakeJournal(), IsEmpty());
    fake.windows.exists = FALSE;
    EXPECT_FALSE(capture.Capture(&width, &height));
    // Also one that never was.
    WindowCapture none(fake.system);
    none.Start(nullptr);
    EXPECT_FALSE(none.Capture(&width, &height));
}

TEST_F(WindowCaptureTest, AScaledWindowGoesThroughABitmapOfItsPhysicalSize) {
    scripted_dpi = 144;
    {
        WindowCapture capture(fake.system);
        capture.Start(Window(1));
        capture.Capture(&width, &height);
        EXPECT_THAT(fake.gdi.TakeJournal(),
                    ElementsAre("BitBlt 4x2 0,0 onto 6x3", "StretchBlt 6x3 to 4x2"));
        EXPECT_EQ(fake.gdi.bitmaps.size(), 2u);
        EXPECT_EQ(fake.gdi.bitmaps[1]->image_size, 72u);
    }
    EXPECT_THAT(fake.gdi.bitmaps, IsEmpty());
    EXPECT_THAT(fake.gdi.contexts, IsEmpty());
    EXPECT_EQ(fake.windows.loaded, 0);
}

TEST_F(WindowCaptureTest, TheCursorCountsFromTheOuterCorner) {
    WindowCapture capture(fake.system);
    capture.Start(Window(1));
    fake.windows.outer = {100, 50, 120, 70};
    const struct {
        POINT cursor;
        DWORD flags;
        std::vector<std::string> drawn;
    } rows[] = {
        {{103, 60}, 1, {"DrawIcon 2,8"}},
        {{100, 50}, 1, {"DrawIcon -1,-2"}},
        {{120, 60}, 1, {}},
        {{103, 60}, 0, {}},
        {{103, 60}, 3, {}},
    };
    for (const auto& row : rows) {
        fake.gdi.cursor = row.cursor;
        fake.gdi.cursor_flags = row.flags;
        capture.Capture(&width, &height);
        std::vector<std::string> drawn = fake.gdi.TakeJournal();
        drawn.erase(drawn.begin());
        EXPECT_EQ(drawn, row.drawn);
    }
    EXPECT_EQ(fake.gdi.bitmaps.size(), 1u);
    capture.drawCursor = false;
    fake.gdi.cursor = {103, 60};
    capture.Capture(&width, &height);
    EXPECT_EQ(fake.gdi.TakeJournal().size(), 1u);
}

TEST_F(WindowCaptureTest, WhereTheScaleComesFrom) {
    struct Row {
        DWORD major, minor, build;
        UINT dpi;
        bool library;
        std::int32_t percent;
        const wchar_t* asked;
    };
    const wchar_t* const user = L"User32.dll";
    const wchar_t* const shcore = L"Shcore.dll";
    fake.gdi.dpi = 120;
    const Row rows[] = {
        {5, 9, 9999, 144, true, 100, nullptr}, {6, 0, 9999, 144, true, 100, nullptr},
        {6, 1, 7599, 144, true, 100, nullptr}, {6, 1, 7600, 144, true, 125, nullptr},
        {6, 2, 1, 144, true, 125, nullptr},    {6, 3, 1, 144, true, 150, shcore},
        {7, 0, 1, 144, true, 150, shcore},     {10, 0, 14954, 144, true, 150, shcore},
        {10, 0, 14955, 144, true, 150, user},  {10, 1, 1, 97, true, 101, user},
        {11, 0, 1, 144, false, 100, user},     {6, 3, 1, 144, false, 100, shcore},
        {6, 3, 1, 0, true, 100, shcore},
    };
    for (const Row& row : rows) {
        scripted_dpi = row.dpi;
        fake.windows.library_exists = row.library;
        fake.windows.libraries.clear();
        OsVersion version;
        version.versionMajor = static_cast<std::uint16_t>(row.major);
        version.versionMinor = static_cast<std::uint16_t>(row.minor);
        version.versionBuild = static_cast<std::uint16_t>(row.build);
        EXPECT_EQ(DpiPercent(fake.windows, fake.gdi, version, Window(1)), row.percent)
            << row.major << "." << row.minor << "." << row.build;
        EXPECT_EQ(fake.windows.libraries,
                  row.asked ? std::vector<std::wstring>{row.asked} : std::vector<std::wstring>{});
    }
}

TEST_F(WindowCaptureTest, TheVersionComesFromTheResource) {
    fake.windows.version = {6, 3, 0, 9600};
    std::uint16_t parts[4] = {1, 2, 3, 4};
    fake.windows.resource_size = 0;
    EXPECT_FALSE(GetOsVersion(fake.windows, parts[0], parts[1], parts[2], parts[3]));
    EXPECT_THAT(parts, ElementsAre(1, 2, 3, 4));
    fake.windows.resource_size = 51;
    EXPECT_TRUE(GetOsVersion(fake.windows, parts[0], parts[1], parts[2], parts[3]));
    EXPECT_THAT(parts, ElementsAre(1, 2, 3, 4));
    fake.windows.resource_size = 52;
    EXPECT_TRUE(GetOsVersion(fake.windows, parts[0], parts[1], parts[2], parts[3]));
    EXPECT_THAT(parts, ElementsAre(6, 3, 9600, 7));
}

}  // namespace

}  // namespace Vimbrel::test
