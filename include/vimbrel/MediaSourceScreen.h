// The desktop or one window as a source.
#pragma once

#include <windef.h>

#include <cstdint>
#include <memory>

#include "vimbrel/MediaSource.h"

namespace Vimbrel {

class DXCapture;
class DXGICapture;
class GdiCapture;
class WindowCapture;

// The source has no thread: each RequestSample is one capture on the caller's thread, in whatever
// state the source is. Open, RequestSample and Close must not overlap. A frame that cannot be
// captured is the last one once more, with a new time; the log has the reason. Frames are opaque;
// the alpha byte has no meaning (some ways of capture leave it 0).
//
// On one monitor a request waits up to 100 ms for the screen to change, and then delivers the last
// frame again: an application that must not be held up requests on a thread of its own.
class VIMBREL_API MediaSourceScreen : public MediaSource {
public:
    struct Settings {
        HWND window = nullptr;  // null for the desktop
        // What to capture, in desktop coordinates. For a window it is only the size of the frames
        // until the first capture; empty stands for the window's client area. For the desktop it
        // must not be empty.
        RECT rect{};
        std::int32_t fps = 25;  // kept for the application; the source does not read it
        std::int32_t drawCursor = 1;
    };

    MediaSourceScreen();
    ~MediaSourceScreen() override;

    // Keeps a copy of the settings and opens. False for null, without a window and with an empty
    // rectangle, with one of more than 2^28 pixels, or without memory for a frame; an open before
    // that goes on as it was. What cannot be captured still opens, and its frames stay black.
    bool Open(const Settings* newSettings);
    // With the settings of the last open, and for a window the rectangle that they got then.
    bool Open() override;
    // After a request: the screen was changed (its size, its outputs), and no more pictures come
    // until Close and Open.
    bool IsLost() const { return lost; }
    const Settings& GetCapSettings() const { return settings; }

    SourceType GetSourceType() override { return SourceType::Screen; }
    void Close() override;
    bool Play() override;
    void Stop() override;
    // Captures and delivers, with the time since Open in whole milliseconds, counted in 100
    // nanoseconds. The frame is valid until the next request or Close. When a captured window is
    // gone the source goes to Stopped; when it has another size, MEDIA_INFO and the frame have it
    // from this request on.
    void RequestSample() override;

private:
    void CaptureFrame();
    bool ChooseMethod(std::uint32_t& chosen);
    void StartBackEnd();
    // Changes nothing without memory.
    bool AllocateFrame(std::int32_t width, std::int32_t height, bool zeroed);
    void CaptureOutputs();
    void CaptureWindow();
    void CopyFrame(const unsigned char* pixels);

    std::uint32_t method = 0;
    std::unique_ptr<GdiCapture> gdiCapture;
    std::unique_ptr<WindowCapture> windowCapture;
    std::unique_ptr<DXCapture> dxCapture;
    std::unique_ptr<DXGICapture> dxgiCapture;
    std::unique_ptr<unsigned char[]> dxgiBuffer;  // of all outputs; method 2 only
    RECT outputRect{};                            // that they span
    Settings settings;                            // of the last open, also if it was refused
    RECT captureRect{};                           // of the last open that succeeded
    std::unique_ptr<unsigned char[]> frameBuffer;
    std::int64_t startTime = 0;    // milliseconds
    std::uint32_t frameCount = 0;  // requests since the open
    bool lost = false;
};

}  // namespace Vimbrel
