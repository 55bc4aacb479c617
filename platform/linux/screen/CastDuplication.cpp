#include "platform/linux/screen/CastDuplication.h"

#include <windows.h>

#include <algorithm>
#include <new>

#include "platform/linux/screen/CastPixels.h"
#include "platform/linux/screen/PointerShapeReply.h"

namespace Vimbrel {

namespace {

using SteadyClock = std::chrono::steady_clock;

}  // namespace

HRESULT CastDuplication::Create(IDXGIOutputDuplication** duplication) try {
    *duplication = nullptr;
    std::shared_ptr<CastScreen> screen;
    const HRESULT hr = CastScreen::OpenDesktop({}, screen);
    if (FAILED(hr)) return hr;
    ComPtr<CastDuplication> created = MakeCom<CastDuplication>(std::move(screen));
    created->Start();
    *duplication = created.Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

void CastDuplication::Start() {
    // Before the size is read: a change between the two is a loss.
    screen_->Attach(reader_);
    const SIZE size = screen_->Size();
    texture_ = MakeCom<Texture>(TextureDescription(size.cx, size.cy, D3D11_USAGE_DEFAULT));
}

CastDuplication::~CastDuplication() { screen_->Detach(reader_); }

HRESULT STDMETHODCALLTYPE CastDuplication::AcquireNextFrame(UINT timeout_ms,
                                                            DXGI_OUTDUPL_FRAME_INFO* info,
                                                            IDXGIResource** resource) try {
    if (!info || !resource) return E_INVALIDARG;
    *resource = nullptr;
    if (acquired_) return DXGI_ERROR_INVALID_CALL;
    const auto deadline = SteadyClock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        HRESULT hr = screen_->Wait(reader_, deadline);
        if (FAILED(hr)) return hr;
        CastNews news;
        hr = screen_->Read(reader_, shape_, news);
        if (FAILED(hr)) return hr;
        if (!Describe(news, *info)) continue;
        if (!Show(news)) return DXGI_ERROR_ACCESS_LOST;
        texture_->AddRef();
        *resource = static_cast<IDXGIResource*>(texture_.Get());
        acquired_ = true;
        return S_OK;
    }
} catch (const std::bad_alloc&) {
    return DXGI_ERROR_ACCESS_LOST;
}

// The stream's own buffer is shown where its pixels are of the texture's kind: the only copy is
// then the one that the frame's user makes.
bool CastDuplication::Show(const CastNews& news) {
    const CastPicture& picture = news.picture;
    if (picture.red_first || picture.stride % 4 != 0) return Convert(news);
    converted_.reset();
    texture_->SetPixels({picture.pixels, picture.stride, picture.memory});
    return true;
}

// Pixels that a copy shares are never written into: who holds the copy sees what was copied.
bool CastDuplication::Convert(const CastNews& news) {
    const CastPicture& picture = news.picture;
    const bool fresh = !converted_ || converted_.use_count() > 1;
    if (fresh) converted_ = PixelBuffer::Make(nullptr, picture.width, picture.height);
    if (!converted_) return false;
    if (fresh) {
        CopyCastPixels(picture, {0, 0, picture.width, picture.height}, *converted_, 0, 0);
    } else {
        for (const RECT& area : news.dirty)
            CopyCastPixels(picture, area, *converted_, area.left, area.top);
    }
    texture_->SetPixels(PixelsOf(converted_));
    return true;
}

// False if nothing of it can be seen: a hidden pointer that moves is no frame.
bool CastDuplication::Describe(const CastNews& news, DXGI_OUTDUPL_FRAME_INFO& info) {
    info = {};
    shape_unreported_ = shape_unreported_ || news.shape;
    CastPointer pointer = news.pointer;
    pointer.visible = pointer.visible && shape_.visible;
    const bool pointer_changed =
        news.shape || pointer.visible != told_.visible || (pointer.visible && pointer != told_);
    told_ = pointer;
    if (news.pictures == 0 && !pointer_changed) return false;
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    if (news.pictures > 0) info.LastPresentTime = now;
    info.AccumulatedFrames = news.pictures;
    info.RectsCoalesced = TRUE;
    if (pointer_changed) info.LastMouseUpdateTime = now;
    info.PointerPosition.Visible = pointer.visible ? TRUE : FALSE;
    info.PointerPosition.Position = {pointer.x - shape_.hot_x, pointer.y - shape_.hot_y};
    // A shape that changes while the pointer is hidden is reported once it is visible.
    shape_reported_ = shape_unreported_ && pointer.visible;
    if (shape_reported_) info.PointerShapeBufferSize = static_cast<UINT>(shape_.pixels.size());
    shape_unreported_ = shape_unreported_ && !pointer.visible;
    return true;
}

HRESULT STDMETHODCALLTYPE CastDuplication::GetFramePointerShape(
    UINT size, void* buffer, UINT* required, DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) {
    return ReplyPointerShape(shape_, acquired_, shape_reported_, size, buffer, required, info);
}

HRESULT STDMETHODCALLTYPE CastDuplication::ReleaseFrame() {
    if (!acquired_) return DXGI_ERROR_INVALID_CALL;
    acquired_ = false;
    shape_reported_ = false;
    texture_->SetPixels({});
    return S_OK;
}

}  // namespace Vimbrel
