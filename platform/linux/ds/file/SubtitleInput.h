// The subtitle filter's input for lines.
#pragma once

#include "filters/InputPin.h"

namespace Vimbrel {

class SubtitleTrack;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Accepts every stream of subtitles of the splitter's, so that one that cannot be drawn may be
// exchanged for one that can. Nothing waits in it.
class SubtitleInput final : public CBaseInputPin {
public:
    SubtitleInput(CBaseFilter& filter, SubtitleTrack& track);

    HRESULT STDMETHODCALLTYPE Receive(IMediaSample* sample) override;
    HRESULT STDMETHODCALLTYPE ReceiveCanBlock() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE EndFlush() override;

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT CompleteConnect(IPin* pin) override;
    HRESULT SetMediaType(const CMediaType* type) override;
    void BreakConnect() override;
    HRESULT Active() override;

private:
    HRESULT OpenTrack();

    SubtitleTrack& track_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
