#include "platform/linux/ds/file/SubtitleFilter.h"

#include <cmath>

#include "filters/OutsideInterfaces.h"

namespace Vimbrel {

SubtitleFilter::SubtitleFilter()
    : CTransInPlaceFilter(class_subtitle_filter, true), subtitles_(*this, track_) {}

CBasePin* SubtitleFilter::GetPin(int index) {
    return index == 2 ? &subtitles_ : CTransInPlaceFilter::GetPin(index);
}

HRESULT SubtitleFilter::CheckInputType(const CMediaType* type) {
    return MaskPainter::Supports(*type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT SubtitleFilter::SetMediaType(PIN_DIRECTION direction, const CMediaType* type) {
    if (direction == PINDIR_INPUT) painter_.SetType(*type);
    return CTransInPlaceFilter::SetMediaType(direction, type);
}

HRESULT SubtitleFilter::Transform(IMediaSample* sample) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    BYTE* picture = nullptr;
    if (FAILED(sample->GetTime(&start, &end)) || FAILED(sample->GetPointer(&picture)) || !picture)
        return S_OK;
    const LONGLONG time =
        Input().SegmentStart() + std::llround(static_cast<double>(start) * Input().SegmentRate());
    track_.Draw(time, painter_, picture, sample->GetActualDataLength());
    return S_OK;
}

HRESULT CreateSubtitleFilter(REFIID iid, void** object) {
    ComPtr<SubtitleFilter> filter;
    filter.Attach(new SubtitleFilter);
    return filter->QueryInterface(iid, object);
}

}  // namespace Vimbrel
