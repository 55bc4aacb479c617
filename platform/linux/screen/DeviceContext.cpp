#include "platform/linux/screen/DeviceContext.h"

#include <xcb/composite.h>

#include <algorithm>

#include "platform/linux/x11/XWindows.h"

namespace Vimbrel {

bool DeviceContext::Print(xcb_window_t printed) {
    if (!connection || !selected) return false;
    XWindowPlace place;
    if (!ReadWindowPlace(*connection, printed, place) || !place.viewable) return false;
    if (!KeepApart(printed)) return false;
    xcb_connection_t* const c = connection->Get();
    // Named afresh each time: the window has another pixmap after each change of its size.
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    if (!XConnection::Succeeded(
            xcb_request_check(c, xcb_composite_name_window_pixmap_checked(c, printed, pixmap)),
            "name a pixmap")) {
        return false;
    }
    PixelBuffer& target = *selected->pixels;
    const XRectangle area{place.border, place.border, std::min(place.width, target.Width()),
                          std::min(place.height, target.Height())};
    const bool read = reader.Read(pixmap, connection->FormatOf(place.visual, place.depth), area,
                                  DrawableReader::Alpha::Clear, target, 0, 0);
    xcb_free_pixmap(c, pixmap);
    return read;
}

bool DeviceContext::KeepApart(xcb_window_t wanted) {
    if (redirected_ == wanted) return true;
    if (refused_ == wanted || !connection->HasComposite()) return false;
    StopRedirecting();
    xcb_connection_t* const c = connection->Get();
    if (!XConnection::Succeeded(
            xcb_request_check(c, xcb_composite_redirect_window_checked(
                                     c, wanted, XCB_COMPOSITE_REDIRECT_AUTOMATIC)),
            "keep a window's pixels")) {
        refused_ = wanted;
        return false;
    }
    redirected_ = wanted;
    return true;
}

void DeviceContext::StopRedirecting() {
    if (!redirected_) return;
    xcb_connection_t* const c = connection->Get();
    // Checked, so that the error for a window that is gone does not stay in the queue.
    XConnection::Succeeded(
        xcb_request_check(c, xcb_composite_unredirect_window_checked(
                                 c, redirected_, XCB_COMPOSITE_REDIRECT_AUTOMATIC)),
        "give a window back to the screen");
    redirected_ = 0;
}

}  // namespace Vimbrel
