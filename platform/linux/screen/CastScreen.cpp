#include "platform/linux/screen/CastScreen.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "pixel/PixelOperations.h"
#include "platform/linux/screen/CastPixels.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_ERROR;
using HalvorixAppLog::LOG_LEVEL_INFO;
using SteadyClock = std::chrono::steady_clock;

// A compositor sends the picture as soon as the stream runs.
constexpr std::chrono::seconds first_picture_limit{5};
// Windows of X servers have numbers of 32 bits.
constexpr std::uintptr_t first_window = std::uintptr_t{1} << 32;

struct OpenScreens {
    Mutex asking;  // held while the user thinks
    Mutex mutex ACQUIRED_AFTER(asking);
    std::weak_ptr<CastScreen> desktop GUARDED_BY(mutex);
    std::string desktop_token GUARDED_BY(mutex);
    std::map<HWND, std::weak_ptr<CastScreen>> windows GUARDED_BY(mutex);
    std::uintptr_t next_window GUARDED_BY(mutex) = first_window;
};

OpenScreens& Screens() {
    static OpenScreens screens;
    return screens;
}

HRESULT ToResult(CastAnswer answer) {
    switch (answer) {
        case CastAnswer::Granted:
            return S_OK;
        case CastAnswer::Refused:
            return E_ACCESSDENIED;
        case CastAnswer::GivenUp:
            return E_ABORT;
        default:
            return E_FAIL;
    }
}

}  // namespace

HRESULT CastScreen::Open(const CastWishes& wishes, std::shared_ptr<CastScreen>& screen) try {
    InitializePixelOperations();
    std::shared_ptr<CastScreen> made(new CastScreen);
    const HRESULT hr = made->Begin(wishes);
    if (FAILED(hr)) return hr;
    OpenScreens& screens = Screens();
    const MutexLock guard(screens.mutex);
    if (wishes.window) {
        made->window_ = reinterpret_cast<HWND>(screens.next_window++);
        std::erase_if(screens.windows, [](const auto& entry) { return entry.second.expired(); });
        screens.windows[made->window_] = made;
    } else {
        screens.desktop = made;
        screens.desktop_token = made->Token();
    }
    screen = std::move(made);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT CastScreen::OpenDesktop(CastWishes wishes, std::shared_ptr<CastScreen>& screen) {
    OpenScreens& screens = Screens();
    // Whoever asks at the same time gets the same answer's screen, or asks after a refusal.
    const MutexLock asking(screens.asking);
    if (auto open = Desktop(); open && !open->IsLost()) {
        screen = std::move(open);
        return S_OK;
    }
    {
        const MutexLock guard(screens.mutex);
        if (wishes.token.empty()) wishes.token = screens.desktop_token;
    }
    wishes.window = false;
    return Open(wishes, screen);
}

std::shared_ptr<CastScreen> CastScreen::Desktop() {
    OpenScreens& screens = Screens();
    const MutexLock guard(screens.mutex);
    return screens.desktop.lock();
}

std::shared_ptr<CastScreen> CastScreen::OfWindow(HWND window) {
    if (reinterpret_cast<std::uintptr_t>(window) < first_window) return nullptr;
    OpenScreens& screens = Screens();
    const MutexLock guard(screens.mutex);
    const auto found = screens.windows.find(window);
    return found == screens.windows.end() ? nullptr : found->second.lock();
}

CastScreen::~CastScreen() = default;

HRESULT CastScreen::Begin(const CastWishes& wishes) {
    auto portal = std::make_unique<CastPortal>();
    APPLOG_STREAM(LOG_LEVEL_INFO, "Screen - asking the desktop for permission");
    const HRESULT hr = ToResult(portal->Open(wishes));
    if (FAILED(hr)) {
        APPLOG_STREAM(LOG_LEVEL_ERROR, "Screen - the desktop portal "
                                           << (hr == E_ACCESSDENIED ? "says that the user refused"
                                               : hr == E_ABORT      ? "was not waited for"
                                                                    : "does not show the screen"));
        return hr;
    }
    token_ = portal->Token();
    CastEvents& events = *this;
    stream_ = std::make_unique<CastStream>(std::move(portal), events);
    if (stream_->Start() && AwaitPicture()) return S_OK;
    APPLOG_STREAM(LOG_LEVEL_ERROR, "Screen - the granted stream brings no picture");
    return E_FAIL;
}

bool CastScreen::AwaitPicture() {
    const auto deadline = SteadyClock::now() + first_picture_limit;
    MutexLock guard(mutex_);
    while (!lost_ && size_.cx == 0 && changed_.WaitUntil(guard, deadline)) {
    }
    return !lost_ && size_.cx > 0;
}

SIZE CastScreen::Size() const {
    const MutexLock guard(mutex_);
    return size_;
}

bool CastScreen::IsLost() const {
    const MutexLock guard(mutex_);
    return lost_;
}

void CastScreen::Attach(CastReader& reader) {
    const MutexLock guard(mutex_);
    reader = {};
    reader.sizes = sizes_;
    readers_.push_back(&reader);
}

void CastScreen::Detach(CastReader& reader) {
    const MutexLock guard(mutex_);
    std::erase(readers_, &reader);
}

bool CastScreen::HasNews(const CastReader& reader) const {
    return (picture_.pixels && (reader.everything || reader.pictures > 0)) ||
           reader.moves != moves_ || reader.shapes != shapes_;
}

bool CastScreen::IsGoneFor(const CastReader& reader) const {
    return lost_ || reader.sizes != sizes_;
}

HRESULT CastScreen::Wait(CastReader& reader, SteadyClock::time_point deadline) const {
    MutexLock guard(mutex_);
    while (!IsGoneFor(reader) && !HasNews(reader)) {
        if (!changed_.WaitUntil(guard, deadline) && !IsGoneFor(reader) && !HasNews(reader))
            return DXGI_ERROR_WAIT_TIMEOUT;
    }
    return IsGoneFor(reader) ? DXGI_ERROR_ACCESS_LOST : S_OK;
}

HRESULT CastScreen::Read(CastReader& reader, XPointerShape& shape, CastNews& news) {
    const MutexLock guard(mutex_);
    if (IsGoneFor(reader)) return DXGI_ERROR_ACCESS_LOST;
    news = {};
    news.picture = picture_;
    news.pointer = pointer_;
    reader.moves = moves_;
    if (reader.shapes != shapes_) {
        shape = shape_;
        reader.shapes = shapes_;
        news.shape = true;
    }
    if (!reader.everything && reader.pictures == 0) return S_OK;
    if (reader.everything) reader.dirty.Set({0, 0, size_.cx, size_.cy});
    news.dirty = reader.dirty;
    news.pictures = std::max(reader.pictures, 1U);
    reader.dirty.Clear();
    reader.pictures = 0;
    reader.everything = false;
    return S_OK;
}

bool CastScreen::ReadArea(const RECT& area, const PixelBuffer& target, int x, int y) const {
    // Copied without the lock: the stream's thread must not wait for it.
    const CastPicture picture = [this] {
        const MutexLock guard(mutex_);
        return picture_;
    }();
    const RECT whole{0, 0, picture.width, picture.height};
    RECT inside{};
    if (!IntersectRect(&inside, &whole, &area)) return false;
    CopyCastPixels(picture, inside, target, x + inside.left - area.left, y + inside.top - area.top);
    return true;
}

CastPointer CastScreen::ReadPointer(XPointerShape& shape) const {
    const MutexLock guard(mutex_);
    shape = shape_;
    return pointer_;
}

void CastScreen::OnFrame(const CastFrame& frame) {
    const MutexLock guard(mutex_);
    if (frame.picture) TakePicture(frame);
    if (frame.cursor) TakeCursor(*frame.cursor);
    changed_.NotifyAll();
}

void CastScreen::TakePicture(const CastFrame& frame) {
    picture_ = *frame.picture;
    if (picture_.width != size_.cx || picture_.height != size_.cy) {
        size_ = {picture_.width, picture_.height};
        ++sizes_;
    }
    for (CastReader* const reader : readers_) {
        ++reader->pictures;
        if (frame.damage_count == 0) reader->everything = true;
        for (std::size_t i = 0; i < frame.damage_count && !reader->everything; ++i)
            reader->dirty.Add(frame.damage[i]);
    }
}

void CastScreen::TakeCursor(const CastCursor& cursor) {
    const CastPointer pointer{cursor.visible, cursor.x, cursor.y};
    if (!cursor.shape.pixels && pointer == pointer_) return;
    pointer_ = pointer;
    ++moves_;
    if (!cursor.shape.pixels) return;
    ReadCastShape(cursor, shape_);
    ++shapes_;
}

void CastScreen::OnLost() {
    const MutexLock guard(mutex_);
    lost_ = true;
    changed_.NotifyAll();
}

}  // namespace Vimbrel
