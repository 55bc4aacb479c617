// Duplication of one output of the X server.
#pragma once

#include <dxgi1_2.h>
#include <xcb/damage.h>

#include <chrono>
#include <memory>

#include "com/ComObject.h"
#include "platform/linux/screen/DirtyAreas.h"
#include "platform/linux/screen/Texture.h"
#include "platform/linux/x11/DrawableReader.h"
#include "platform/linux/x11/XOutputs.h"
#include "platform/linux/x11/XPointer.h"

namespace Vimbrel {

class OutputDuplication final : public ComObject<Implements<IDXGIOutputDuplication>> {
public:
    // On a connection of its own, whose events are all for this object. DXGI_ERROR_UNSUPPORTED,
    // with the reason in the log, if the server lacks what it takes.
    static HRESULT Create(const XOutput& output, IDXGIOutputDuplication** duplication);

    explicit OutputDuplication(const XOutput& output) : output_(output) {}

    HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeout_ms, DXGI_OUTDUPL_FRAME_INFO* info,
                                               IDXGIResource** resource) override;
    HRESULT STDMETHODCALLTYPE GetFramePointerShape(UINT size, void* buffer, UINT* required,
                                                   DXGI_OUTDUPL_POINTER_SHAPE_INFO* info) override;
    HRESULT STDMETHODCALLTYPE ReleaseFrame() override;

private:
    ~OutputDuplication() override;

    HRESULT Start();
    bool MakePictures();
    void TakeEvents();
    void TakeEvent(const xcb_generic_event_t& event);
    bool WaitForEvents(std::chrono::steady_clock::time_point deadline) const;
    bool ReadDamage();
    bool ReadArea(const RECT& dirty);
    bool EnsureSingleUse();
    void ReadShape();
    void Describe(bool picture_changed, DXGI_OUTDUPL_FRAME_INFO& info);
    bool PlaceChanged() const;
    bool PointerIsOnOutput() const;

    const XOutput output_;
    std::shared_ptr<XConnection> connection_;
    std::unique_ptr<DrawableReader> reader_;
    XPixelFormat format_;
    xcb_damage_damage_t damage_ = 0;

    std::shared_ptr<PixelBuffer> picture_;  // upright
    std::shared_ptr<PixelBuffer> turned_;   // as the output has it; only if that is turned
    ComPtr<Texture> texture_;
    // What has changed since the last frame, within the output.
    DirtyAreas dirty_;
    UINT changes_ = 0;

    XPointerPlace place_;
    XPointerPlace told_place_;
    XPointerShape shape_;
    bool shape_changed_ = true;      // on the server
    bool shape_news_ = false;        // read since the last frame
    bool shape_unreported_ = false;  // read and not yet reported by a frame
    bool shape_reported_ = false;    // by the acquired frame
    bool told_visible_ = false;

    bool first_ = true;
    bool acquired_ = false;
    bool lost_ = false;
};

}  // namespace Vimbrel
