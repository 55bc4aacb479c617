// Duplication of the desktop that the portal shows.
#pragma once

#include <dxgi1_2.h>

#include <memory>

#include "com/ComObject.h"
#include "platform/linux/screen/CastScreen.h"
#include "platform/linux/screen/Texture.h"

namespace Vimbrel {

class CastDuplication final : public ComObject<Implements<IDXGIOutputDuplication>> {
public:
    // Asks the user if nobody has the desktop open. E_ACCESSDENIED after a refusal.
    static HRESULT Create(IDXGIOutputDuplication** duplication);

    explicit CastDuplication(std::shared_ptr<CastScreen> screen) : screen_(std::move(screen)) {}

    HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeout_ms, DXGI_OUTDUPL_FRAME_INFO* info,
                                               IDXGIResource** resource) override;
    HRESULT STDMETHODCALLTYPE GetFramePointerShape(UINT size, void* buffer, UINT* required,
                                                   DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) override;
    HRESULT STDMETHODCALLTYPE ReleaseFrame() override;

private:
    ~CastDuplication() override;

    void Start();
    bool Show(const CastNews& news);
    bool Convert(const CastNews& news);
    bool Describe(const CastNews& news, DXGI_OUTDUPL_FRAME_INFO& info);

    const std::shared_ptr<CastScreen> screen_;
    CastReader reader_;
    ComPtr<Texture> texture_;
    std::shared_ptr<PixelBuffer> converted_;  // only if the stream's pixels are of another kind
    XPointerShape shape_;
    bool shape_unreported_ = false;  // read and not yet reported by a frame
    bool shape_reported_ = false;    // by the acquired frame
    CastPointer told_;
    bool acquired_ = false;
};

}  // namespace Vimbrel
