#include "platform/linux/screen/CastDuplication.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "pixel/PixelOperations.h"
#include "platform/linux/screen/PointerShapeReply.h"

namespace Vimbrel {

namespace {

using SteadyClock = std::chrono::steady_clock;

// Opaque black: copies leave the alpha bytes as they are.
std::shared_ptr<PixelBuffer> MakePicture(int width, int height) {
    auto picture = PixelBuffer::Make(nullptr, width, height);
    if (picture) {
        FillAlpha(255, picture->At(0, 0) + 3, static_cast<std::int32_t>(picture->Stride()),
                  {width, height});
    }
    return picture;
}

}  // namespace

HRESULT CastDuplication::Create(IDXGIOutputDuplication** duplication) try {
    *duplication = nullptr;
    std::shared_ptr<CastScreen> screen;
    const HRESULT hr = CastScreen::OpenDesktop({}, screen);
    if (FAILED(hr)) return hr;
    ComPtr<CastDuplication> created = MakeCom<CastDuplication>(std::move(screen));
    if (!created->Start()) return E_OUTOFMEMORY;
    *duplication = created.Detach();
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

bool CastDuplication::Start() {
    // Before the size is read: a change between the two is a loss.
    screen_->Attach(reader_);
    const SIZE size = screen_->Size();
    picture_ = MakePicture(size.cx, size.cy);
    if (!picture_) return false;
    texture_ = MakeCom<Texture>(TextureDescription(size.cx, size.cy, D3D11_USAGE_DEFAULT));
    texture_->SetPixels(picture_);
    return true;
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
        if (!EnsureSingleUse()) return DXGI_ERROR_ACCESS_LOST;
        CastNews news;
        hr = screen_->Read(reader_, *picture_, shape_, news);
        if (FAILED(hr)) return hr;
        if (!Describe(news, *info)) continue;
        texture_->AddRef();
        *resource = static_cast<IDXGIResource*>(texture_.Get());
        acquired_ = true;
        return S_OK;
    }
} catch (const std::bad_alloc&) {
    return DXGI_ERROR_ACCESS_LOST;
}

// Pixels that a copy shares are never written into: who holds the copy sees what was copied.
bool CastDuplication::EnsureSingleUse() {
    constexpr long own_uses = 2;  // this object's and the texture's
    if (picture_.use_count() <= own_uses) return true;
    auto fresh = PixelBuffer::Make(nullptr, picture_->Width(), picture_->Height());
    if (!fresh) return false;
    std::memcpy(fresh->At(0, 0), picture_->At(0, 0),
                picture_->Stride() * static_cast<std::size_t>(picture_->Height()));
    picture_ = std::move(fresh);
    texture_->SetPixels(picture_);
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
    return S_OK;
}

}  // namespace Vimbrel
