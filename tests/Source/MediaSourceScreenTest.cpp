// Which way of capture is chosen, and what a request delivers. The system is a fake.
#include "vimbrel/MediaSourceScreen.h"

#include <gmock/gmock.h>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/FakeGraphics.h"
#include "tests/fakes/ManualClock.h"
#include "tests/fakes/RecordingDispatcher.h"

namespace Vimbrel::test {

namespace {

using State = MediaSource::State;
using testing::ElementsAre;
using testing::IsEmpty;

MediaSourceScreen::Settings Desktop(const RECT& rect) {
    MediaSourceScreen::Settings settings;
    settings.rect = rect;
    return settings;
}

HWND SomeWindow() { return reinterpret_cast<HWND>(std::uintptr_t{77}); }

class MediaSourceScreenTest : public testing::Test {
protected:
    MediaSourceScreenTest() { source.SetDispatcher(&dispatcher); }

    // The method of the log line.
    std::string Method() {
        std::string text;
        for (const LogLine& line : TakeLog()) {
            if (line.text.rfind("Screen Capture - Method: ", 0) == 0) text = line.text;
        }
        return text;
    }

    FakeCapture fake;
    ManualClock clock;
    ScopedClock scoped_clock{clock};
    RecordingDispatcher dispatcher;
    MediaSourceScreen source;
};

TEST_F(MediaSourceScreenTest, TheMethodFollowsFromVersionAndMonitors) {
    struct Row {
        FakeWindowSystem::Version version;
        int monitors;
        BOOL count_works;
        int dxgi, direct3d;  // how often each was tried; both fail here
    };
    const Row rows[] = {
        {{10, 0, 0}, 1, TRUE, 1, 1}, {{10, 0, 0}, 2, TRUE, 0, 0}, {{6, 2, 0}, 1, TRUE, 1, 1},
        {{6, 2, 0}, 3, TRUE, 0, 0},  {{6, 2, 0}, 2, FALSE, 1, 1}, {{6, 1, 1}, 1, TRUE, 0, 1},
        {{6, 1, 1}, 2, TRUE, 0, 0},  {{6, 1, 1}, 2, FALSE, 0, 1}, {{6, 1, 0}, 1, TRUE, 0, 0},
        {{5, 1, 3}, 1, TRUE, 0, 0},  {{7, 0, 0}, 0, TRUE, 1, 1},
    };
    for (const Row& row : rows) {
        fake.windows.version = row.version;
        fake.windows.monitors = row.monitors;
        fake.windows.count_works = row.count_works;
        fake.graphics.dxgi_asked = fake.graphics.direct3d_asked = 0;
        const auto settings = Desktop({0, 0, 6, 4});
        EXPECT_TRUE(source.Open(&settings));
        const std::string about = std::to_string(row.version.major) + "." +
                                  std::to_string(row.version.minor) + ", " +
                                  std::to_string(row.monitors) + " monitors";
        EXPECT_EQ(fake.graphics.dxgi_asked, row.dxgi) << about;
        EXPECT_EQ(fake.graphics.direct3d_asked, row.direct3d) << about;
        EXPECT_TRUE(fake.windows.last_question_fits);
        EXPECT_EQ(Method(), "Screen Capture - Method: 0, [0, 0], 6 x 4") << about;
        source.Close();
    }
}

TEST_F(MediaSourceScreenTest, EachFallbackIsLogged) {
    const auto settings = Desktop({0, 0, 6, 4});
    EXPECT_TRUE(source.Open(&settings));
    EXPECT_THAT(TakeErrors(), ElementsAre("Failed to CreateDXGIFactory1 hr=0x80004001",
                                          "DXGICapture GetOutputRect failed!",
                                          "DXCapture InitCapture failed with hr=0x80004005"));
}

TEST_F(MediaSourceScreenTest, ARequestDeliversInAnyState) {
    fake.windows.monitors = 2;
    auto settings = Desktop({10, 20, 13, 22});
    fake.gdi.cursor = {12, 21};
    ASSERT_TRUE(source.Open(&settings));
    EXPECT_EQ(source.GetMediaInfo().duration, -1.0);
    clock.Advance(40);
    source.RequestSample();
    ASSERT_EQ(dispatcher.video.size(), 1u);
    const auto& sample = dispatcher.video[0];
    EXPECT_EQ(sample.width, 3);
    EXPECT_EQ(sample.height, 2);
    EXPECT_EQ(sample.stride, 12);
    EXPECT_EQ(sample.time, 400'000);
    EXPECT_EQ(sample.duration, 0);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(reinterpret_cast<const std::uint32_t*>(sample.pixels)[i], fake.gdi.fill);
    EXPECT_THAT(fake.gdi.TakeJournal(),
                ElementsAre("BitBlt 3x2 10,20 with layers onto 3x2", "DrawIcon 1,-1"));

    EXPECT_FALSE(source.Pause());
    EXPECT_TRUE(source.Play());
    EXPECT_TRUE(source.Play());
    source.Stop();
    source.RequestSample();
    source.Close();
    EXPECT_EQ(dispatcher.video.size(), 2u);
    EXPECT_THAT(dispatcher.States(),
                ElementsAre(State::Opened, State::Playing, State::Stopped, State::Closed));
    EXPECT_THAT(fake.gdi.bitmaps, IsEmpty());
    EXPECT_THAT(fake.gdi.contexts, IsEmpty());
}

TEST_F(MediaSourceScreenTest, BehindAWrapOfTheClockTheTimeIsNegative) {
    fake.windows.monitors = 2;
    const auto settings = Desktop({0, 0, 1, 1});
    clock.Advance((std::int64_t{1} << 32) - 1'000'000 - 5);
    source.Open(&settings);
    clock.Advance(10);
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.at(0).time, (5 - ((std::int64_t{1} << 32) - 5)) * 10000);
}

TEST_F(MediaSourceScreenTest, RectanglesThatAreNone) {
    fake.windows.monitors = 2;
    const RECT empty[] = {{0, 0, 0, 0}, {5, 5, 5, 9}, {5, 5, 9, 5}};
    for (const RECT& rect : empty) {
        const auto settings = Desktop(rect);
        EXPECT_FALSE(source.Open(&settings));
    }
    const auto huge = Desktop({-2'000'000'000, 0, 2'000'000'000, 2'000'000'000});
    EXPECT_FALSE(source.Open(&huge));
    EXPECT_EQ(source.GetState(), State::Closed);

    // Swapped sides give the size and black frames, whichever way is tried.
    for (const int monitors : {1, 2}) {
        fake.windows.monitors = monitors;
        const auto swapped = Desktop({30, 20, 10, 5});
        EXPECT_TRUE(source.Open(&swapped));
        source.RequestSample();
        EXPECT_EQ(dispatcher.video.back().width, 20);
        EXPECT_EQ(dispatcher.video.back().height, 15);
        for (int i = 0; i < 20 * 15 * 4; ++i) ASSERT_EQ(dispatcher.video.back().pixels[i], 0);
        source.Close();
    }
}

TEST_F(MediaSourceScreenTest, ARefusedOpenChangesNothing) {
    fake.windows.monitors = 2;
    const auto settings = Desktop({0, 0, 3, 2});
    ASSERT_TRUE(source.Open(&settings));
    const auto bitmaps = fake.gdi.bitmaps.size();
    // The size is looked at after the method is chosen, which would be another one.
    auto huge = Desktop({0, 0, 30'000, 30'000});
    huge.window = SomeWindow();
    EXPECT_FALSE(source.Open(&huge));
    EXPECT_FALSE(source.Open(nullptr));
    source.RequestSample();
    ASSERT_EQ(dispatcher.video.size(), 1u);
    EXPECT_EQ(dispatcher.video[0].width, 3);
    EXPECT_EQ(*reinterpret_cast<const std::uint32_t*>(dispatcher.video[0].pixels), fake.gdi.fill);
    EXPECT_EQ(fake.gdi.bitmaps.size(), bitmaps);
    source.Close();
    EXPECT_THAT(fake.gdi.bitmaps, IsEmpty());
}

TEST_F(MediaSourceScreenTest, AWindowGivesItsOwnSizeFromTheFirstRequestOn) {
    MediaSourceScreen::Settings settings;
    settings.window = SomeWindow();
    settings.rect = {50, 0, 350, 200};
    ASSERT_TRUE(source.Open(&settings));
    EXPECT_EQ(Method(), "Screen Capture - Method: 3, [50, 0], 300 x 200");
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.back().width, 4);
    fake.windows.client = {0, 0, 7, 5};
    source.RequestSample();
    EXPECT_EQ(dispatcher.video.back().width, 7);
    EXPECT_EQ(dispatcher.video.back().stride, 28);
    EXPECT_EQ(source.GetMediaInfo().height, 5);

    fake.windows.exists = FALSE;
    source.RequestSample();
    EXPECT_EQ(source.GetState(), State::Stopped);
    EXPECT_EQ(dispatcher.video.size(), 3u);
    EXPECT_EQ(dispatcher.video.back().width, 7);

    // An empty rectangle stands for the client area.
    settings.rect = {};
    fake.windows.exists = TRUE;
    ASSERT_TRUE(source.Open(&settings));
    EXPECT_EQ(source.GetCapSettings().rect.right, 7);
    EXPECT_EQ(source.GetMediaInfo().width, 7);
}

}  // namespace

}  // namespace Vimbrel::test
