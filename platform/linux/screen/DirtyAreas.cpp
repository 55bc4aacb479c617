#include "platform/linux/screen/DirtyAreas.h"

#include <windows.h>

namespace Vimbrel {

void DirtyAreas::Add(const RECT& area) {
    const auto size = [](const RECT& rect) {
        return LONGLONG{rect.right - rect.left} * (rect.bottom - rect.top);
    };
    for (std::size_t i = 0; i < count_; ++i) {
        RECT both{};
        UnionRect(&both, &areas_[i], &area);
        const bool together = size(both) <= size(areas_[i]) + size(area) + 4096;
        if (!together && (i + 1 < count_ || count_ < areas_.size())) continue;
        areas_[i] = both;
        return;
    }
    areas_[count_++] = area;
}

}  // namespace Vimbrel
