// The filter that draws subtitles into the pictures.
#pragma once

#include "filters/TransInPlaceFilter.h"
#include "platform/linux/ds/file/SubtitleInput.h"
#include "platform/linux/ds/file/SubtitleTrack.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Pictures pass whether subtitles are connected or not.
class SubtitleFilter final : public CTransInPlaceFilter {
public:
    SubtitleFilter();

    int GetPinCount() override { return 3; }
    CBasePin* GetPin(int index) override;

    HRESULT CheckInputType(const CMediaType* type) override;
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* type) override;
    HRESULT Transform(IMediaSample* sample) override;

private:
    SubtitleTrack track_;
    SubtitleInput subtitles_;
    // Of the streaming thread; of the control thread while the filter is stopped.
    MaskPainter painter_;
};
#pragma GCC diagnostic pop

HRESULT CreateSubtitleFilter(REFIID iid, void** object);

}  // namespace Vimbrel
