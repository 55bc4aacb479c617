// A screen source that is open, as the tests with X servers look at it.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/CapturingLog.h"
#include "tests/fakes/RecordingDispatcher.h"
#include "tests/support/CapturedPicture.h"
#include "tests/support/WaitUntil.h"
#include "vimbrel/MediaSourceScreen.h"

namespace Vimbrel::test {

// A source with its dispatcher, open on a rectangle of the desktop.
struct Screen {
    explicit Screen(const RECT& rect, bool cursor = false, HWND window = nullptr) {
        source.SetDispatcher(&dispatcher);
        MediaSourceScreen::Settings settings;
        settings.window = window;
        settings.rect = rect;
        settings.drawCursor = cursor;
        TakeLog();
        EXPECT_TRUE(source.Open(&settings));
        for (const LogLine& line : TakeLog()) {
            constexpr std::string_view start = "Screen Capture - Method: ";
            if (line.text.rfind(start, 0) == 0) method = line.text[start.size()] - '0';
            opening.push_back(line.text);
        }
    }

    std::uint32_t At(int x, int y) const {
        const auto& sample = dispatcher.video.back();
        return ColorAt(sample.pixels, sample.stride, x, y);
    }
    // The errors of one request.
    std::vector<std::string> Request() {
        TakeLog();
        source.RequestSample();
        return TakeErrors();
    }

    RecordingDispatcher dispatcher;
    MediaSourceScreen source;
    int method = -1;
    std::vector<std::string> opening;
};

// Requests until the picture has arrived, which takes its time on a busy machine.
inline bool SeesAt(Screen& screen, int x, int y, std::uint32_t color) {
    return WaitUntil([&] {
        screen.source.RequestSample();
        return screen.At(x, y) == color;
    });
}

}  // namespace Vimbrel::test
