// The streams of a splitter, as a list to choose from.
#pragma once

#include "filters/Face.h"

namespace Vimbrel {

class SplitterSource;

// An interface has no virtual destructor: it would take slots of the published table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// In the order of the file; the index counts the whole list.
class StreamList final : public Face<IAMStreamSelect> {
public:
    explicit StreamList(IUnknown& owner, SplitterSource& source) : Face(owner), source_(source) {}

    HRESULT STDMETHODCALLTYPE Count(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* locale,
                                   DWORD* group, WCHAR** name, IUnknown** object,
                                   IUnknown** unknown) override;
    // E_NOTIMPL for switching streams off.
    HRESULT STDMETHODCALLTYPE Enable(LONG index, DWORD flags) override;

private:
    SplitterSource& source_;
};
#pragma GCC diagnostic pop

}  // namespace Vimbrel
