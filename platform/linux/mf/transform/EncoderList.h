// The H.264 encoders that MFTEnumEx lists.
#pragma once

#include <mfobjects.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/Replaceable.h"

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
    explicit ScopedHardwareEncoders(std::vector<ListedEncoder> encoders)
        : encoders_{std::move(encoders)}, replacement_(encoders_) {}

    // The newest replacement; null if there is none.
    static const std::vector<ListedEncoder>* Current() {
        const List* const list = ScopedReplacement<List>::Current();
        return list ? &list->encoders : nullptr;
    }

private:
    struct List {
        std::vector<ListedEncoder> encoders;
    };

    List encoders_;
    const ScopedReplacement<List> replacement_;
};

}  // namespace Vimbrel
