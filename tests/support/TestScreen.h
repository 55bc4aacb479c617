// A screen of 320 x 240 for tests that draw and capture: on Linux a server of its own, under Wine
// the one that the test runner started.
#pragma once

#include <memory>

namespace Vimbrel::test {

class TestScreen {
public:
    TestScreen();
    ~TestScreen();
    TestScreen(const TestScreen&) = delete;
    TestScreen& operator=(const TestScreen&) = delete;

    static constexpr int width = 320;
    static constexpr int height = 240;

private:
    struct Native;
    std::unique_ptr<Native> native;
};

}  // namespace Vimbrel::test
