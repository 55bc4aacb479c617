// The H.264 encoders that MFTEnumEx lists.
#pragma once

#include <mfobjects.h>

#include <functional>
#include <string>
#include <vector>

namespace Vimbrel {

struct ListedEncoder {
    std::wstring name;
    UINT32 flags = 0;  // MFT_ENUM_FLAG values: hardware, synchronous or asynchronous
    std::function<HRESULT(REFIID iid, void** object)> create;
};

// Replaces the list of hardware encoders while it lives: the list has no class identifiers that an
// override of classes could name. For tests; not while another thread lists encoders.
class ScopedHardwareEncoders {
public:
    explicit ScopedHardwareEncoders(std::vector<ListedEncoder> encoders);
    ~ScopedHardwareEncoders();
    ScopedHardwareEncoders(const ScopedHardwareEncoders&) = delete;
    ScopedHardwareEncoders& operator=(const ScopedHardwareEncoders&) = delete;
};

}  // namespace Vimbrel
