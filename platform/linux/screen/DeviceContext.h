// What a device context and a bitmap are here.
#pragma once

#include <wingdi.h>
#include <xcb/xcb.h>

#include <memory>

#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/x11/DrawableReader.h"
#include "platform/linux/x11/PixelBuffer.h"

namespace Vimbrel {

struct DibSection {
    std::shared_ptr<PixelBuffer> pixels;
};

// Of the screen or a window (to read from), or of a bitmap.
class DeviceContext {
public:
    // `source_window` 0 makes one for a bitmap. The connection may be null there.
    DeviceContext(std::shared_ptr<XConnection> server, xcb_window_t source_window)
        : connection(std::move(server)), window(source_window), reader(connection) {}
    // Of what the portal shows.
    explicit DeviceContext(std::shared_ptr<CastScreen> shown)
        : window(0), reader(nullptr), cast(std::move(shown)) {}
    ~DeviceContext() { StopRedirecting(); }
    DeviceContext(const DeviceContext&) = delete;
    DeviceContext& operator=(const DeviceContext&) = delete;

    // Copies the window's pixels, whatever covers it, to the selected bitmap.
    bool Print(xcb_window_t printed);
    // Has the server keep the window's pixels apart from the screen until the context ends,
    // whatever covers it; its program draws it anew once. False if the server does not do that.
    bool KeepApart(xcb_window_t wanted);

    const std::shared_ptr<XConnection> connection;
    const xcb_window_t window;
    DibSection* selected = nullptr;
    DrawableReader reader;
    const std::shared_ptr<CastScreen> cast;

private:
    void StopRedirecting();

    xcb_window_t redirected_ = 0;
    xcb_window_t refused_ = 0;
};

inline DeviceContext* FromHandle(HDC context) { return reinterpret_cast<DeviceContext*>(context); }
inline DibSection* FromHandle(HGDIOBJ bitmap) { return static_cast<DibSection*>(bitmap); }

}  // namespace Vimbrel
