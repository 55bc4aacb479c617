#include "vimbrel/MediaSourceScreen.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "ScreenCapture/DXCapture.h"
#include "ScreenCapture/DXGICapture.h"
#include "ScreenCapture/GdiCapture.h"
#include "ScreenCapture/PixelSize.h"
#include "ScreenCapture/WindowCapture.h"
#include "ScreenCapture/system/CaptureSystem.h"
#include "base/Clock.h"
#include "base/Failure.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_TRACE;

// The log prints these numbers as well.
enum Method : std::uint32_t {
    method_bitblt = 0,
    method_front_buffer = 1,
    method_duplication = 2,
    method_window = 3,
};

constexpr INT all_outputs = 3;
constexpr std::int64_t pixel_limit = std::int64_t{1} << 28;

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

// Duplication serves single monitors, and the front buffer single monitors of older systems.
// Several monitors are always copied.
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
    if (!newSettings) return false;
    settings = *newSettings;
    return Open();
}

bool MediaSourceScreen::Open() {
    std::uint32_t chosen = 0;
    if (!ChooseMethod(chosen)) return false;
    const std::int64_t width = Length(settings.rect.left, settings.rect.right);
    const std::int64_t height = Length(settings.rect.top, settings.rect.bottom);
    if (width > pixel_limit || height > pixel_limit || width * height > pixel_limit) {
        APPLOG_FORMAT(LOG_LEVEL_ERROR, "Screen Capture - the rectangle is too large");
        return false;
    }
    if (!AllocateFrame(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), true))
        return false;
    // Only now: an open that is refused leaves what Close frees, and what is delivered, as it was.
    method = chosen;
    captureRect = settings.rect;
    mediaInfo.duration = -1.0;
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

bool MediaSourceScreen::ChooseMethod(std::uint32_t& chosen) {
    if (settings.window) {
        if (IsRectEmpty(&settings.rect))
            CaptureSystem::Current().windows.GetClientRect(settings.window, &settings.rect);
        chosen = method_window;
        return true;
    }
    // Swapped sides are no empty rectangle here: they give frames of that size.
    if (settings.rect.left == settings.rect.right || settings.rect.top == settings.rect.bottom)
        return false;
    chosen = DesktopMethod();
    return true;
}

void MediaSourceScreen::StartBackEnd() {
    const CaptureSystem& system = CaptureSystem::Current();
    lost = false;
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
        if (FAILED(LogHrIfFailed(dxCapture->InitCapture(settings.rect),
                                 "DXCapture InitCapture failed with"))) {
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

bool MediaSourceScreen::AllocateFrame(std::int32_t width, std::int32_t height, bool zeroed) {
    const std::size_t size =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * pixel_size;
    std::unique_ptr<unsigned char[]> made(zeroed ? new (std::nothrow) unsigned char[size]()
                                                 : new (std::nothrow) unsigned char[size]);
    if (!made) return false;
    frameBuffer = std::move(made);
    mediaInfo.width = width;
    mediaInfo.height = height;
    return true;
}

bool MediaSourceScreen::Play() {
    SetState(State::Playing);
    return true;
}

void MediaSourceScreen::Stop() { SetState(State::Stopped); }

void MediaSourceScreen::RequestSample() {
    CaptureFrame();
    ++frameCount;
    // Kept: 64 bits, so that the time is negative after a wrap of the clock; hosts rely on it.
    const std::int64_t time =
        (std::int64_t{Clock::Current().TimeMilliseconds()} - startTime) * 10000;
    SetVideoSample(frameBuffer.get(), mediaInfo.width, mediaInfo.height, mediaInfo.width * 4, time,
                   0);
}

void MediaSourceScreen::CaptureFrame() {
    // Without an open before this request there is no place for a picture.
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
    const RECT& rect = captureRect;
    // Nothing has to be cut out of a whole output. Only of a single one: it fails before anything
    // is written, so the frame stays whole.
    const bool whole =
        dxgiCapture->HasSingleOutput() && std::memcmp(&rect, &outputRect, sizeof rect) == 0;
    unsigned char* const target = whole ? frameBuffer.get() : dxgiBuffer.get();
    const HRESULT hr = dxgiCapture->GetOutputBits(target, &outputRect);
    lost = hr == DXGI_ERROR_ACCESS_LOST;
    if (FAILED(hr) || whole) return;
    if (rect.left < outputRect.left || rect.top < outputRect.top || rect.right > outputRect.right ||
        rect.bottom > outputRect.bottom)
        return;
    // Swapped sides leave nothing to copy.
    if (rect.right <= rect.left) return;
    // A single monitor need not lie at the desktop's origin: its neighbour may be switched off.
    const std::int64_t row_pixels = outputRect.right - outputRect.left;
    const std::int64_t column = rect.left - outputRect.left;
    const std::size_t row_bytes = static_cast<std::size_t>(rect.right - rect.left) * pixel_size;
    unsigned char* to = frameBuffer.get();
    for (LONG y = rect.top; y < rect.bottom; ++y, to += row_bytes) {
        const std::int64_t from = (y - outputRect.top) * row_pixels + column;
        std::memcpy(to, dxgiBuffer.get() + from * pixel_size, row_bytes);
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
    const bool resized = width != mediaInfo.width || height != mediaInfo.height;
    // Without memory for the new size the last frame stays.
    if (resized &&
        !AllocateFrame(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), false))
        return;
    CopyFrame(bits);
}

void MediaSourceScreen::Close() {
    dxgiBuffer.reset();
    lost = false;
    // Kept: only the one in use is freed, because a later open uses the others again.
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
