// How an output of ours is ended by its owner, so that failures of its last bytes are reported.
#pragma once

#include <unknwn.h>

namespace Vimbrel {

// Private: found through QueryInterface, as the object may also be the system's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct IOutputEnd : IUnknown {
    // Writes what waits and the end, as the object's release would. Returns the first failure since
    // the beginning, of the output or of a part of it that was left out.
    virtual HRESULT STDMETHODCALLTYPE End() = 0;
};
#pragma GCC diagnostic pop

inline constexpr IID iid_output_end = {
    0x5e0c9a41, 0x7b1d, 0x4f36, {0x9c, 0x52, 0x1d, 0x80, 0xa6, 0x3e, 0xf4, 0x17}};

// For the lists of ComObject.
struct ImplementsOutputEnd {
    using Main = IOutputEnd;
    static bool Matches(REFIID iid) { return iid == iid_output_end; }
};

}  // namespace Vimbrel
