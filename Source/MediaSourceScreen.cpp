#include "vimbrel/MediaSourceScreen.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "ScreenCapture/DXCapture.h"
#include "ScreenCapture/DXGICapture.h"
#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/WindowCapture.h"
#include "ScreenCapture/system/CaptureSystem.h"
#include "base/Clock.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_TRACE;

// Of the log line, too.
enum Method : std::uint32_t {
    method_bitblt = 0,
    method_front_buffer = 1,
    method_duplication = 2,
    method_window = 3,
};

constexpr INT all_outputs = 3;
constexpr std::int64_t pixel_limit = std::int64_t{1} << 28;
constexpr std::int64_t pixel_size = 4;

std::int64_t Length(LONG from, LONG to) { return std::llabs(std::int64_t{to} - from); }

BOOL CALLBACK CountMonitor(HMONITOR, HDC, RECT*, LPARAM count) {
    ++*reinterpret_cast<int*>(count);
    return TRUE;
}

// False if the system could not say.
bool CountMonitors(int& count) {
    count = 0;
    return CaptureSystem::Current().windows.EnumDisplayMonitors(
               nullptr, nullptr, CountMonitor, reinterpret_cast<LPARAM>(&count)) != FALSE;
}

bool IsAtLeast(DWORD major, DWORD minor, WORD service_pack) {
    OSVERSIONINFOEXW wanted{};
    wanted.dwOSVersionInfoSize = sizeof wanted;
    wanted.dwMajorVersion = major;
    wanted.dwMinorVersion = minor;
    wanted.wServicePackMajor = service_pack;
    ULONGLONG conditions = 0;
    constexpr DWORD types[] = {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR};
    for (const DWORD type : types)
        conditions = VerSetConditionMask(conditions, type, VER_GREATER_EQUAL);
    return CaptureSystem::Current().windows.VerifyVersionInfoW(
               &wanted, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, conditions) !=
           FALSE;
}

// Duplication serves single monitors, the front buffer single monitors of older systems; several
// monitors are always copied.
std::uint32_t DesktopMethod() {
    int monitors = 0;
    if (IsAtLeast(6, 2, 0) && (!CountMonitors(monitors) || monitors < 2)) return method_duplication;
    if (IsAtLeast(6, 1, 1) && !(CountMonitors(monitors) && monitors > 1))
        return method_front_buffer;
    return method_bitblt;
}

}  // namespace

MediaSourceScreen::MediaSourceScreen() = default;

MediaSourceScreen::~MediaSourceScreen() { MediaSourceScreen::Close(); }

bool MediaSourceScreen::Open(const Settings* newSettings) {
    settings = *newSettings;
    return Open();
}

bool MediaSourceScreen::Open() {
    if (!ChooseMethod()) return false;
    const std::int64_t width = Length(settings.rect.left, settings.rect.right);
    const std::int64_t height = Length(settings.rect.top, settings.rect.bottom);
    if (width > pixel_limit || height > pixel_limit || width * height > pixel_limit) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "Screen Capture - the rectangle is too large");
        return false;
    }
    mediaInfo.width = static_cast<std::int32_t>(width);
    mediaInfo.height = static_cast<std::int32_t>(height);
    mediaInfo.duration = -1.0;
    if (!AllocateFrame(true)) return false;
    StartBackEnd();
    APPLOG_STREAM(LOG_LEVEL_TRACE,
                  "Screen Capture - Method: " << method << ", [" << settings.rect.left << ", "
                                              << settings.rect.top << "], " << mediaInfo.width
                                              << " x " << mediaInfo.height);
    frameCount = 0;
    startTime = Clock::Current().TimeMilliseconds();
    SetState(State::Opened);
    return true;
}

bool MediaSourceScreen::ChooseMethod() {
    if (settings.window) {
        if (IsRectEmpty(&settings.rect))
            CaptureSystem::Current().windows.GetClientRect(settings.window, &settings.rect);
        method = method_window;
        return true;
    }
    // Swapped sides are no empty rectangle here: they give frames of that size.
    if (settings.rect.left == settings.rect.right || settings.rect.top == settings.rect.bottom)
        return false;
    method = DesktopMethod();
    return true;
}

void MediaSourceScreen::StartBackEnd() {
    const CaptureSystem& system = CaptureSystem::Current();
    if (method == method_duplication) {
        if (!dxgiCapture) dxgiCapture = std::make_unique<DXGICapture>(system);
        dxgiCapture->captureSource = all_outputs;
        if (FAILED(dxgiCapture->GetOutputRect(&outputRect))) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "DXGICapture GetOutputRect failed!");
            dxgiCapture.reset();
            method = method_front_buffer;
        } else {
            const std::int64_t pixels = Length(outputRect.left, outputRect.right) *
                                        Length(outputRect.top, outputRect.bottom);
            // Zeros: places that no output covers, or that cannot be mapped, are never written.
            dxgiBuffer.reset(
                new (std::nothrow) unsigned char[static_cast<std::size_t>(pixels * pixel_size)]());
        }
    }
    if (method == method_front_buffer) {
        if (!dxCapture) dxCapture = std::make_unique<DXCapture>(system);
        const HRESULT hr = dxCapture->InitCapture(settings.rect);
        if (FAILED(hr)) {
            APPLOG_FORMAT(LOG_LEVEL_ERROR, "DXCapture InitCapture failed with hr=0x%08x",
                          static_cast<unsigned>(hr));
            dxCapture.reset();
            method = method_bitblt;
        }
    }
    if (method == method_bitblt) {
        if (!gdiCapture) gdiCapture = std::make_unique<GdiCapture>(system.gdi);
        gdiCapture->Start(settings.rect);
    } else if (method == method_window) {
        if (!windowCapture) windowCapture = std::make_unique<WindowCapture>(system);
        windowCapture->Start(settings.window);
    }
}

bool MediaSourceScreen::AllocateFrame(bool zeroed) {
    const std::size_t size = static_cast<std::size_t>(mediaInfo.width) *
                             static_cast<std::size_t>(mediaInfo.height) * pixel_size;
    frameBuffer.reset(zeroed ? new (std::nothrow) unsigned char[size]()
                             : new (std::nothrow) unsigned char[size]);
    return frameBuffer != nullptr;
}

bool MediaSourceScreen::Play() {
    SetState(State::Playing);
    return true;
}

void MediaSourceScreen::Stop() { SetState(State::Stopped); }

void MediaSourceScreen::RequestSample() {
    CaptureFrame();
    ++frameCount;
    // In 64 bits by design: behind a wrap of the clock the time is negative.
    const std::int64_t time =
        (std::int64_t{Clock::Current().TimeMilliseconds()} - startTime) * 10000;
    SetVideoSample(frameBuffer.get(), mediaInfo.width, mediaInfo.height, mediaInfo.width * 4, time,
                   0);
}

void MediaSourceScreen::CaptureFrame() {
    // What an earlier open left has no place to go if there was no memory for this one's frames.
    if (!frameBuffer) return;
    const bool cursor = settings.drawCursor != 0;
    if (method == method_bitblt && gdiCapture) {
        gdiCapture->drawCursor = cursor;
        gdiCapture->Capture();
        if (gdiCapture->GetBits()) CopyFrame(gdiCapture->GetBits());
    } else if (method == method_front_buffer && dxCapture) {
        dxCapture->drawCursor = cursor;
        if (const BYTE* bits = dxCapture->Capture()) CopyFrame(bits);
    } else if (method == method_duplication && dxgiCapture && dxgiBuffer) {
        dxgiCapture->drawCursor = cursor;
        CaptureOutputs();
    } else if (method == method_window && windowCapture) {
        windowCapture->drawCursor = cursor;
        CaptureWindow();
    }
}

void MediaSourceScreen::CopyFrame(const unsigned char* pixels) {
    std::memcpy(frameBuffer.get(), pixels,
                static_cast<std::size_t>(mediaInfo.width) *
                    static_cast<std::size_t>(mediaInfo.height) * pixel_size);
}

void MediaSourceScreen::CaptureOutputs() {
    const RECT& rect = settings.rect;
    // Of a whole output nothing has to be cut out. Of one only: it fails before anything is
    // written, so the frame stays whole.
    const bool at_origin = outputRect.left == 0 && outputRect.top == 0;
    if (dxgiCapture->HasSingleOutput() && at_origin &&
        std::memcmp(&rect, &outputRect, sizeof rect) == 0) {
        dxgiCapture->GetOutputBits(frameBuffer.get(), &outputRect);
        return;
    }
    if (FAILED(dxgiCapture->GetOutputBits(dxgiBuffer.get(), &outputRect))) return;
    if (rect.left < outputRect.left || rect.top < outputRect.top || rect.right > outputRect.right ||
        rect.bottom > outputRect.bottom)
        return;
    // Rows and columns count from the origin of the desktop, by design, which is that of a single
    // monitor. Where it is not, or the sides are swapped, there is nothing in the buffer to copy.
    const std::int64_t row_pixels = outputRect.right - outputRect.left;
    if (rect.left < 0 || rect.top < 0 || rect.right > row_pixels ||
        rect.bottom > outputRect.bottom - outputRect.top)
        return;
    if (rect.right <= rect.left) return;
    const std::size_t row_bytes = static_cast<std::size_t>(rect.right - rect.left) * pixel_size;
    unsigned char* to = frameBuffer.get();
    for (LONG y = rect.top; y < rect.bottom; ++y, to += row_bytes) {
        std::memcpy(to, dxgiBuffer.get() + (y * row_pixels + rect.left) * pixel_size, row_bytes);
    }
}

void MediaSourceScreen::CaptureWindow() {
    LONG width = 0;
    LONG height = 0;
    const BYTE* bits = windowCapture->Capture(&width, &height);
    if (!bits) {
        Stop();
        return;
    }
    if (width != mediaInfo.width || height != mediaInfo.height) {
        mediaInfo.width = static_cast<std::int32_t>(width);
        mediaInfo.height = static_cast<std::int32_t>(height);
        if (!AllocateFrame(false)) {
            mediaInfo.width = mediaInfo.height = 0;
            return;
        }
    }
    CopyFrame(bits);
}

void MediaSourceScreen::Close() {
    dxgiBuffer.reset();
    // Only the one in use, by design: what an earlier open left is used again by a later one.
    switch (method) {
        case method_bitblt:
            gdiCapture.reset();
            break;
        case method_front_buffer:
            dxCapture.reset();
            break;
        case method_duplication:
            dxgiCapture.reset();
            break;
        default:
            windowCapture.reset();
            break;
    }
    SetState(State::Closed);
}

}  // namespace Vimbrel
