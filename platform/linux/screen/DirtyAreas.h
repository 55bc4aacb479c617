// The parts of a picture that have changed.
#pragma once

#include <windef.h>

#include <array>
#include <cstddef>

namespace Vimbrel {

// Only a few, because each costs a request to the server.
class DirtyAreas {
public:
    // Merges areas that lie close together, and any area once there are too many.
    void Add(const RECT& area);
    // Replaces all areas by one.
    void Set(const RECT& area) {
        areas_[0] = area;
        count_ = 1;
    }
    void Clear() { count_ = 0; }

    const RECT* begin() const { return areas_.data(); }
    const RECT* end() const { return areas_.data() + count_; }

private:
    std::array<RECT, 8> areas_{};
    std::size_t count_ = 0;
};

}  // namespace Vimbrel
