// A window with known pixels, without a frame, on either system.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Vimbrel::test {

// 0xRRGGBB at (x, y) of the inside of a window with that seed; no two neighbours are equal and the
// first is not black.
inline std::uint32_t PatternPixel(int x, int y, std::uint32_t seed) {
    const auto mix = static_cast<std::uint32_t>(x) * 2654435761u ^
                     static_cast<std::uint32_t>(y) * 2246822519u ^ seed * 3266489917u;
    return ((mix ^ mix >> 15) & 0xFFFFFF) | 1;
}

class TestWindow {
public:
    // Shown and painted when the constructor returns. A seed of 0 stands for a black window.
    TestWindow(int x, int y, int width, int height, std::uint32_t seed,
               const std::string& title = "test");
    ~TestWindow();
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    HWND Handle() const;
    // Each returns when the system has done it and the window is painted.
    void Resize(int width, int height);
    void Raise();
    void Minimise();
    void Close();

    std::uint32_t Expected(int x, int y) const { return seed == 0 ? 0 : PatternPixel(x, y, seed); }
    int Width() const { return width; }
    int Height() const { return height; }

    struct Native;

private:
    std::unique_ptr<Native> native;
    int width;
    int height;
    std::uint32_t seed;
};

// Puts the mouse pointer there.
void MovePointer(int x, int y);

}  // namespace Vimbrel::test
