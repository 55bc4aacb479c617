#include "platform/linux/ds/file/StreamList.h"

#include <cstring>

#include "platform/linux/ds/file/SplitterSource.h"

namespace Vimbrel {

namespace {

WCHAR* CopyText(const std::wstring& text) {
    const std::size_t size = (text.size() + 1) * sizeof(WCHAR);
    auto* const copy = static_cast<WCHAR*>(CoTaskMemAlloc(size));
    if (copy) std::memcpy(copy, text.c_str(), size);
    return copy;
}

}  // namespace

HRESULT STDMETHODCALLTYPE StreamList::Count(DWORD* count) {
    if (!count) return E_POINTER;
    *count = static_cast<DWORD>(source_.StreamCount());
    return S_OK;
}

HRESULT STDMETHODCALLTYPE StreamList::Info(LONG index, AM_MEDIA_TYPE** type, DWORD* flags,
                                           LCID* locale, DWORD* group, WCHAR** name,
                                           IUnknown** object, IUnknown** unknown) {
    if (index < 0 || index >= source_.StreamCount()) return S_FALSE;
    const MediaStream& stream = source_.Stream(index);
    if (type) *type = CreateMediaType(TypeOfStream(stream.description));
    if (flags) *flags = source_.IsChosen(index) ? AMSTREAMSELECTINFO_ENABLED : 0;
    if (locale) *locale = stream.language;
    if (group) *group = static_cast<DWORD>(stream.kind);
    if (name) *name = CopyText(stream.name);
    if (object) *object = nullptr;
    if (unknown) *unknown = nullptr;
    return (type && !*type) || (name && !*name) ? E_OUTOFMEMORY : S_OK;
}

HRESULT STDMETHODCALLTYPE StreamList::Enable(LONG index, DWORD flags) {
    if (index < 0 || index >= source_.StreamCount()) return E_INVALIDARG;
    if ((flags & AMSTREAMSELECTENABLE_ENABLE) == 0) return E_NOTIMPL;
    return source_.Choose(index);
}

}  // namespace Vimbrel
