// What the interfaces for seeking in media time have in common.
#pragma once

#include "filters/Face.h"

namespace Vimbrel {

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// Units of 100 nanoseconds are the one time format; everything from the start is available.
class MediaTimeSeeking : public Face<IMediaSeeking> {
public:
    HRESULT STDMETHODCALLTYPE CheckCapabilities(DWORD* capabilities) override;
    HRESULT STDMETHODCALLTYPE IsFormatSupported(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE QueryPreferredFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE GetTimeFormat(GUID* format) override;
    HRESULT STDMETHODCALLTYPE IsUsingTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE SetTimeFormat(const GUID* format) override;
    HRESULT STDMETHODCALLTYPE ConvertTimeFormat(LONGLONG* target, const GUID* target_format,
                                                LONGLONG source,
                                                const GUID* source_format) override;
    HRESULT STDMETHODCALLTYPE GetPositions(LONGLONG* current, LONGLONG* stop) override;
    HRESULT STDMETHODCALLTYPE GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
    HRESULT STDMETHODCALLTYPE GetPreroll(LONGLONG* preroll) override;

protected:
    using Face::Face;
    ~MediaTimeSeeking() = default;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
