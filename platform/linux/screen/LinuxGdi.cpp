#include "platform/linux/screen/LinuxGdi.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/linux/screen/Blend.h"
#include "platform/linux/screen/DeviceContext.h"
#include "platform/linux/screen/ScreenChoice.h"
#include "platform/linux/x11/XPointer.h"
#include "platform/linux/x11/XWindows.h"

namespace Vimbrel {

namespace {

HDC ToHandle(DeviceContext* context) { return reinterpret_cast<HDC>(context); }

XRectangle Common(const XRectangle& a, const XRectangle& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    return {left, top, std::min(a.x + a.width, b.x + b.width) - left,
            std::min(a.y + a.height, b.y + b.height) - top};
}

bool IsEmpty(const XRectangle& area) { return area.width <= 0 || area.height <= 0; }

XRectangle RootArea(const XConnection& connection) {
    const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
        connection.Get(), xcb_get_geometry(connection.Get(), connection.Root()), nullptr));
    return geometry ? XRectangle{0, 0, geometry->width, geometry->height} : XRectangle{};
}

// Of a window its own pixels, whatever covers it. Where the server does not keep them apart they
// are those on the screen: what is covered is black then, and what is outside of the screen stays
// as it was in the target.
bool ReadWindow(DeviceContext& source, const XRectangle& wanted, PixelBuffer& target, int x,
                int y) {
    const XConnection& connection = *source.connection;
    constexpr auto clear = DrawableReader::Alpha::Clear;
    const XRectangle root = RootArea(connection);
    if (source.window == connection.Root()) {
        const XRectangle area = Common(wanted, root);
        return !IsEmpty(area) &&
               source.reader.Read(source.window, connection.RootFormat(), area, clear, target,
                                  x + area.x - wanted.x, y + area.y - wanted.y);
    }
    XWindowPlace place;
    if (!ReadWindowPlace(connection, source.window, place) || !place.viewable) return false;
    source.KeepApart(source.window);
    const XPixelFormat format = connection.FormatOf(place.visual, place.depth);
    const XRectangle inside = Common(wanted, {0, 0, place.width, place.height});
    if (IsEmpty(inside)) return false;
    if (source.reader.Read(source.window, format, inside, clear, target, x + inside.x - wanted.x,
                           y + inside.y - wanted.y))
        return true;
    const XRectangle shown = Common(inside, {-place.x, -place.y, root.width, root.height});
    return !IsEmpty(shown) && source.reader.Read(source.window, format, shown, clear, target,
                                                 x + shown.x - wanted.x, y + shown.y - wanted.y);
}

bool Fits(const XRectangle& area, const PixelBuffer& buffer) {
    return !IsEmpty(area) && area.x >= 0 && area.y >= 0 && area.x + area.width <= buffer.Width() &&
           area.y + area.height <= buffer.Height();
}

// The cursor that GetCursorInfo last reported to this thread; its address is the handle.
thread_local XPointerShape cursor_shape;

XPointerShape* FromCursor(HICON icon) { return reinterpret_cast<XPointerShape*>(icon); }

}  // namespace

HWND LinuxGdi::GetDesktopWindow() {
    // A null window also selects the screen.
    if (IsWaylandChosen()) return nullptr;
    const auto connection = XConnection::Shared();
    return connection ? Vimbrel::ToHandle(connection->Root()) : nullptr;
}

HDC LinuxGdi::GetDC(HWND window) {
    if (auto cast = CastScreen::OfWindow(window))
        return ToHandle(new (std::nothrow) DeviceContext(std::move(cast)));
    if (!window && IsWaylandChosen()) {
        // Nobody is asked here: a context without a screen reads nothing.
        auto cast = CastScreen::Desktop();
        return cast ? ToHandle(new (std::nothrow) DeviceContext(std::move(cast))) : nullptr;
    }
    auto connection = XConnection::Shared();
    if (!connection) return nullptr;
    const xcb_window_t source = window ? ToXWindow(window) : connection->Root();
    XWindowPlace place;
    if (!ReadWindowPlace(*connection, source, place)) return nullptr;
    return ToHandle(new (std::nothrow) DeviceContext(std::move(connection), source));
}

// Frames belong to the window manager, so a window has nothing but its inside.
HDC LinuxGdi::GetWindowDC(HWND window) { return GetDC(window); }

int LinuxGdi::ReleaseDC(HWND, HDC context) { return DeleteDC(context); }

HDC LinuxGdi::CreateCompatibleDC(HDC) {
    if (IsWaylandChosen()) return ToHandle(new (std::nothrow) DeviceContext(nullptr));
    return ToHandle(new (std::nothrow) DeviceContext(XConnection::Shared(), 0));
}

BOOL LinuxGdi::DeleteDC(HDC context) {
    delete FromHandle(context);
    return context != nullptr;
}

int LinuxGdi::GetDeviceCaps(HDC context, int index) {
    constexpr int normal_dpi = 96;
    if (index != LOGPIXELSX) return 0;
    return context && FromHandle(context)->connection ? FromHandle(context)->connection->Dpi()
                                                      : normal_dpi;
}

HBITMAP LinuxGdi::CreateDIBSection(HDC, const BITMAPINFO* info, void** bits) {
    *bits = nullptr;
    const BITMAPINFOHEADER& header = info->bmiHeader;
    if (header.biBitCount != 32 || header.biPlanes != 1 || header.biCompression != BI_RGB ||
        header.biHeight >= 0)
        return nullptr;
    auto pixels = PixelBuffer::Make(IsWaylandChosen() ? nullptr : XConnection::Shared(),
                                    header.biWidth, -header.biHeight);
    if (!pixels) return nullptr;
    auto* const section = new (std::nothrow) DibSection{std::move(pixels)};
    if (section) *bits = section->pixels->At(0, 0);
    return reinterpret_cast<HBITMAP>(section);
}

HGDIOBJ LinuxGdi::SelectObject(HDC context, HGDIOBJ object) {
    if (!context) return nullptr;
    return std::exchange(FromHandle(context)->selected, FromHandle(object));
}

BOOL LinuxGdi::DeleteObject(HGDIOBJ object) {
    delete FromHandle(object);
    return object != nullptr;
}

BOOL LinuxGdi::BitBlt(HDC to, int x, int y, int width, int height, HDC from, int from_x, int from_y,
                      DWORD operation) {
    if (!to || !from || (operation & ~CAPTUREBLT) != SRCCOPY) return FALSE;
    DeviceContext& source = *FromHandle(from);
    DeviceContext& target = *FromHandle(to);
    if (!target.selected || !Fits({x, y, width, height}, *target.selected->pixels)) return FALSE;
    if (source.cast) {
        return source.cast->ReadArea({from_x, from_y, from_x + width, from_y + height},
                                     *target.selected->pixels, x, y);
    }
    if (!source.window) return FALSE;
    return ReadWindow(source, {from_x, from_y, width, height}, *target.selected->pixels, x, y);
}

// Windows have no scale of their own here, so that nothing is ever stretched.
int LinuxGdi::SetStretchBltMode(HDC, int) { return 0; }

BOOL LinuxGdi::StretchBlt(HDC, int, int, int, int, HDC, int, int, int, int, DWORD) { return FALSE; }

BOOL LinuxGdi::PrintWindow(HWND window, HDC to, UINT) {
    if (const auto cast = CastScreen::OfWindow(window); cast && to) {
        if (!FromHandle(to)->selected) return FALSE;
        const PixelBuffer& target = *FromHandle(to)->selected->pixels;
        return cast->ReadArea({0, 0, target.Width(), target.Height()}, target, 0, 0);
    }
    return to && FromHandle(to)->Print(ToXWindow(window));
}

BOOL LinuxGdi::GetCursorPos(POINT* position) {
    if (IsWaylandChosen()) {
        CURSORINFO info{};
        info.cbSize = sizeof info;
        if (!GetCursorInfo(&info)) return FALSE;
        *position = info.ptScreenPos;
        return TRUE;
    }
    const auto connection = XConnection::Shared();
    if (!connection) return FALSE;
    const XPointerPlace place = WaitPointerPlace(*connection, AskPointerPlace(*connection));
    *position = {place.x, place.y};
    return place.on_screen;
}

BOOL LinuxGdi::GetCursorInfo(CURSORINFO* info) {
    if (info->cbSize == sizeof(CURSORINFO) && IsWaylandChosen()) {
        const auto screen = CastScreen::Desktop();
        if (!screen) return FALSE;
        const CastPointer pointer = screen->ReadPointer(cursor_shape);
        info->flags = pointer.visible && cursor_shape.visible ? CURSOR_SHOWING : 0;
        info->hCursor = reinterpret_cast<HCURSOR>(&cursor_shape);
        info->ptScreenPos = {pointer.x, pointer.y};
        return TRUE;
    }
    const auto connection = XConnection::Shared();
    if (info->cbSize != sizeof(CURSORINFO) || !connection ||
        !ReadPointerShape(*connection, cursor_shape))
        return FALSE;
    info->flags = cursor_shape.visible ? CURSOR_SHOWING : 0;
    info->hCursor = reinterpret_cast<HCURSOR>(&cursor_shape);
    return GetCursorPos(&info->ptScreenPos);
}

BOOL LinuxGdi::GetIconInfo(HICON icon, ICONINFO* info) {
    if (!icon) return FALSE;
    *info = {};
    info->xHotspot = static_cast<DWORD>(FromCursor(icon)->hot_x);
    info->yHotspot = static_cast<DWORD>(FromCursor(icon)->hot_y);
    return TRUE;
}

BOOL LinuxGdi::DrawIcon(HDC to, int x, int y, HICON icon) {
    if (!to || !icon || !FromHandle(to)->selected) return FALSE;
    const PixelBuffer& target = *FromHandle(to)->selected->pixels;
    XPointerShape& shape = *FromCursor(icon);
    BlendOver(
        {target.At(0, 0), target.Width(), target.Height(), target.Stride()},
        {shape.pixels.data(), shape.width, shape.height, static_cast<std::size_t>(shape.width) * 4},
        x, y, BlendAlpha::Keep);
    return TRUE;
}

}  // namespace Vimbrel
