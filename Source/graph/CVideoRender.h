// The video sink of filter graphs.
#pragma once

#include <cstdint>
#include <memory>

#include "filters/BaseRenderer.h"
#include "vimbrel/DSRenderVideo.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Fields are written while stopped, or on the streaming thread by a type that comes with a sample.
class CVideoRender final : public CBaseRenderer, public IDSRenderVideo {
public:
    CVideoRender();

    void SetDispatcher(CDispatcher* newDispatcher) override { dispatcher = newDispatcher; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return CBaseRenderer::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE Release() override { return CBaseRenderer::Release(); }
    bool IsConnected() override { return connected; }
    unsigned int GetWidth() override { return width; }
    unsigned int GetHeight() override { return height; }
    unsigned int GetFrameRateNum() override { return frameRateNum; }
    unsigned int GetFrameRateDen() override { return frameRateDen; }
    bool IsBottomUp() override { return bottomUp; }

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    HRESULT BreakConnect() override;
    HRESULT DoRenderSample(IMediaSample* sample) override;

private:
    void Parse(const CMediaType& type);
    // Enlarges the buffer if the picture needs it; whether it did.
    bool Grow();
    void Convert(const std::uint8_t* source, std::int64_t size);
    void ConvertRgb(const std::uint8_t* source);
    void ConvertPlanar(const std::uint8_t* source);
    std::int64_t SourceBytes() const;

    CDispatcher* dispatcher = nullptr;
    GUID subtype{};
    std::unique_ptr<std::uint8_t[]> pixels;
    std::int32_t pixelsSize = 0;
    std::uint32_t frameRateNum = 30;
    std::uint32_t frameRateDen = 1;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t stride = 0;
    std::uint32_t sourceStep = 0;
    bool connected = false;
    bool bottomUp = false;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
