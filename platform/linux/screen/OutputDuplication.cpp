#include "platform/linux/screen/OutputDuplication.h"

#include <poll.h>
#include <windows.h>
#include <xcb/randr.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/linux/screen/PointerShapeReply.h"
#include "platform/linux/screen/TurnedPicture.h"
#include "vimbrel/AppLog.h"

namespace Vimbrel {

namespace {

using HalvorixAppLog::LOG_LEVEL_WARN;
using SteadyClock = std::chrono::steady_clock;

// The server reports drawing and changes of the pointer's shape, but not the pointer's moves.
constexpr std::chrono::milliseconds pointer_interval{20};

int Width(const RECT& rect) { return rect.right - rect.left; }
int Height(const RECT& rect) { return rect.bottom - rect.top; }

LONGLONG Now() {
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

HRESULT Unsupported(const XOutput& output, const char* what) {
    APPLOG_STREAM(LOG_LEVEL_WARN,
                  "X11 - output " << output.name << " cannot be duplicated: " << what);
    return DXGI_ERROR_UNSUPPORTED;
}

}  // namespace

HRESULT OutputDuplication::Create(const XOutput& output, IDXGIOutputDuplication** duplication) try {
    *duplication = nullptr;
    ComPtr<OutputDuplication> created = MakeCom<OutputDuplication>(output);
    const HRESULT hr = created->Start();
    if (SUCCEEDED(hr)) *duplication = created.Detach();
    return hr;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT OutputDuplication::Start() {
    // Seen on the connection that there is already, so that none is opened in vain.
    const std::shared_ptr<XConnection> shared = XConnection::Shared();
    if (!shared) return Unsupported(output_, "there is no server");
    if (!shared->HasFixes()) return Unsupported(output_, "the server lacks the XFIXES extension");
    if (!shared->HasDamage()) return Unsupported(output_, "the server lacks the DAMAGE extension");
    if (!shared->RootFormat().Usable())
        return Unsupported(output_, "its pixels are of a kind that is not read");
    connection_ = XConnection::Open();
    if (!connection_) return Unsupported(output_, "the server takes no further connection");
    format_ = connection_->RootFormat();
    reader_ = std::make_unique<DrawableReader>(connection_);
    if (!MakePictures()) return E_OUTOFMEMORY;

    xcb_connection_t* const c = connection_->Get();
    damage_ = xcb_generate_id(c);
    // Waited for, since it makes an event for the whole screen, which belongs to the first frame.
    if (!XConnection::Succeeded(xcb_request_check(c, xcb_damage_create_checked(
                                                         c, damage_, connection_->Root(),
                                                         XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES)),
                                "watch the screen")) {
        return Unsupported(output_, "its changes are not told");
    }
    xcb_xfixes_select_cursor_input(c, connection_->Root(),
                                   XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    if (connection_->HasRandr()) {
        xcb_randr_select_input(
            c, connection_->Root(),
            XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
        // No event reports what changed between the listing of the outputs and this.
        if (PlaceChanged()) return Unsupported(output_, "it has just been changed");
    }
    // Events report every change from here on.
    xcb_flush(c);
    return S_OK;
}

OutputDuplication::~OutputDuplication() = default;

bool OutputDuplication::MakePictures() {
    const int width = Width(output_.place);
    const int height = Height(output_.place);
    picture_ = PixelBuffer::Make(connection_, width, height);
    if (!picture_) return false;
    if (output_.rotation != DXGI_MODE_ROTATION_IDENTITY) {
        const bool upright = output_.rotation == DXGI_MODE_ROTATION_ROTATE180;
        turned_ = PixelBuffer::Make(nullptr, upright ? width : height, upright ? height : width);
        if (!turned_) return false;
    }
    const PixelBuffer& shown = turned_ ? *turned_ : *picture_;
    texture_ =
        MakeCom<Texture>(TextureDescription(shown.Width(), shown.Height(), D3D11_USAGE_DEFAULT));
    texture_->SetPixels(PixelsOf(turned_ ? turned_ : picture_));
    return true;
}

HRESULT STDMETHODCALLTYPE OutputDuplication::AcquireNextFrame(UINT timeout_ms,
                                                              DXGI_OUTDUPL_FRAME_INFO* info,
                                                              IDXGIResource** resource) try {
    if (!info || !resource) return E_INVALIDARG;
    *resource = nullptr;
    if (acquired_) return DXGI_ERROR_INVALID_CALL;
    const auto deadline = SteadyClock::now() + std::chrono::milliseconds(timeout_ms);
    while (!lost_) {
        const auto pointer = AskPointerPlace(*connection_);
        TakeEvents();
        const bool picture_changed = first_ || changes_ > 0;
        // Requested right after the pointer, so that one round trip serves both.
        if (picture_changed && !ReadDamage()) lost_ = true;
        place_ = WaitPointerPlace(*connection_, pointer);
        lost_ = lost_ || connection_->Lost();
        if (lost_) break;
        if (shape_changed_) ReadShape();
        const bool pointer_moved = place_ != told_place_ && (told_visible_ || PointerIsOnOutput());
        if (picture_changed || shape_news_ || pointer_moved) {
            Describe(picture_changed, *info);
            texture_->AddRef();
            *resource = static_cast<IDXGIResource*>(texture_.Get());
            acquired_ = true;
            return S_OK;
        }
        // Reading the pointer's reply may have queued events, which poll() would not see. Only
        // events that produce a frame extend the wait.
        TakeEvents();
        if (changes_ > 0 || shape_changed_ || lost_) continue;
        if (!WaitForEvents(deadline)) return DXGI_ERROR_WAIT_TIMEOUT;
    }
    return DXGI_ERROR_ACCESS_LOST;
} catch (const std::bad_alloc&) {
    // Events may have been taken and not applied; a new duplication starts with the whole picture.
    lost_ = true;
    return DXGI_ERROR_ACCESS_LOST;
}

void OutputDuplication::TakeEvents() {
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_->Get())})
        TakeEvent(*event);
}

void OutputDuplication::TakeEvent(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == connection_->DamageEvent() + XCB_DAMAGE_NOTIFY) {
        const auto& notify = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
        RECT area{notify.area.x, notify.area.y, notify.area.x + notify.area.width,
                  notify.area.y + notify.area.height};
        // What is drawn elsewhere has to be taken off the server's list, too, or it would tell no
        // more.
        if (!IntersectRect(&area, &area, &output_.place)) {
            xcb_damage_subtract(connection_->Get(), damage_, XCB_NONE, XCB_NONE);
            return;
        }
        OffsetRect(&area, -output_.place.left, -output_.place.top);
        dirty_.Add(area);
        ++changes_;
    } else if (type == connection_->FixesEvent() + XCB_XFIXES_CURSOR_NOTIFY) {
        shape_changed_ = true;
    } else if (connection_->HasRandr() &&
               (type == connection_->RandrEvent() + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                type == connection_->RandrEvent() + XCB_RANDR_NOTIFY)) {
        lost_ = lost_ || PlaceChanged();
    }
}

bool OutputDuplication::PlaceChanged() const {
    for (const XOutput& output : ListOutputs(*connection_)) {
        if (output.id != output_.id) continue;
        return !output.attached || output.rotation != output_.rotation ||
               std::memcmp(&output.place, &output_.place, sizeof output.place) != 0;
    }
    return true;
}

bool OutputDuplication::WaitForEvents(SteadyClock::time_point deadline) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
    if (left.count() <= 0) return false;
    // What is not sent yet can wait, and has to: sending reads, too, and an event that is read then
    // would be missed.
    pollfd descriptor{xcb_get_file_descriptor(connection_->Get()), POLLIN, 0};
    poll(&descriptor, 1, static_cast<int>(std::min(left, pointer_interval).count()));
    return true;
}

// Pixels that a copy shares are never written into: who holds the copy sees what was copied.
bool OutputDuplication::EnsureSingleUse() {
    std::shared_ptr<PixelBuffer>& shown = turned_ ? turned_ : picture_;
    constexpr long own_uses = 2;  // this object's and the texture's
    if (shown.use_count() <= own_uses) return true;
    std::shared_ptr<PixelBuffer> fresh =
        PixelBuffer::Make(turned_ ? nullptr : connection_, shown->Width(), shown->Height());
    if (!fresh) return false;
    std::memcpy(fresh->At(0, 0), shown->At(0, 0),
                shown->Stride() * static_cast<std::size_t>(shown->Height()));
    shown = std::move(fresh);
    texture_->SetPixels(PixelsOf(shown));
    return true;
}

bool OutputDuplication::ReadDamage() {
    if (!EnsureSingleUse()) return false;
    xcb_damage_subtract(connection_->Get(), damage_, XCB_NONE, XCB_NONE);
    if (first_) dirty_.Set({0, 0, picture_->Width(), picture_->Height()});
    for (const RECT& area : dirty_) {
        if (!ReadArea(area)) return false;
    }
    first_ = false;
    dirty_.Clear();
    return true;
}

bool OutputDuplication::ReadArea(const RECT& dirty) {
    XRectangle area{dirty.left, dirty.top, Width(dirty), Height(dirty)};
    // Whole rows go straight to their place, which is worth reading some pixels more.
    if (area.width > picture_->Width() / 2) area = {0, area.y, picture_->Width(), area.height};
    const XRectangle on_root{area.x + output_.place.left, area.y + output_.place.top, area.width,
                             area.height};
    if (!reader_->Read(connection_->Root(), format_, on_root, DrawableReader::Alpha::Any, *picture_,
                       area.x, area.y))
        return false;
    if (turned_) TurnBack(*picture_, area, output_.rotation, *turned_);
    return true;
}

void OutputDuplication::ReadShape() {
    shape_changed_ = false;
    if (!ReadPointerShape(*connection_, shape_)) return;
    shape_news_ = true;
    shape_unreported_ = true;
}

bool OutputDuplication::PointerIsOnOutput() const {
    return place_.on_screen && PtInRect(&output_.place, {place_.x, place_.y});
}

void OutputDuplication::Describe(bool picture_changed, DXGI_OUTDUPL_FRAME_INFO& info) {
    info = {};
    const LONGLONG now = Now();
    if (picture_changed) info.LastPresentTime.QuadPart = now;
    info.AccumulatedFrames = picture_changed ? std::max(changes_, 1U) : 0;
    info.RectsCoalesced = TRUE;
    changes_ = 0;

    const bool visible = PointerIsOnOutput() && shape_.visible;
    if (shape_news_ || visible != told_visible_ || place_ != told_place_)
        info.LastMouseUpdateTime.QuadPart = now;
    info.PointerPosition.Visible = visible ? TRUE : FALSE;
    info.PointerPosition.Position = {place_.x - shape_.hot_x - output_.place.left,
                                     place_.y - shape_.hot_y - output_.place.top};
    // A shape that changes while the pointer is hidden is reported once it is visible.
    shape_reported_ = shape_unreported_ && visible;
    if (shape_reported_) info.PointerShapeBufferSize = static_cast<UINT>(shape_.pixels.size());
    shape_unreported_ = shape_unreported_ && !visible;
    shape_news_ = false;
    told_visible_ = visible;
    told_place_ = place_;
}

HRESULT STDMETHODCALLTYPE OutputDuplication::GetFramePointerShape(
    UINT size, void* buffer, UINT* required, DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) {
    return ReplyPointerShape(shape_, acquired_, shape_reported_, size, buffer, required, info);
}

HRESULT STDMETHODCALLTYPE OutputDuplication::ReleaseFrame() {
    if (!acquired_) return DXGI_ERROR_INVALID_CALL;
    acquired_ = false;
    shape_reported_ = false;
    return S_OK;
}

}  // namespace Vimbrel
