// What ResizeInit leaves in the caller's memory: this header, and behind it the tables that it
// tells the places of.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/PixelOperations.h"

namespace Vimbrel::pixel {

inline constexpr std::uint32_t resize_plan_magic = 0x4B617389;

// Destination columns are planned in groups of this many. Two groups at a time are filled up with
// copies of the last column.
inline constexpr std::int32_t resize_group = 4;
// How many neighbouring source pixels a group may draw on to be `compact`.
inline constexpr std::int32_t resize_window = 8;

struct ResizePlan {
    std::uint32_t magic;
    PixelSize source;
    PixelSize destination;
    // What all weights of an axis are whole parts of: 6 where they are sixths. If both axes' divide
    // 16, both are 16. 0 where the sums of integers would not fit 16 bits.
    std::int32_t column_parts;
    std::int32_t row_parts;
    // For a sum in `column_parts * row_parts`: (sum + half) * factor >> (16 + shift) is the nearest
    // whole number.
    std::int32_t part_factor;
    std::int32_t part_shift;
    // Whether each group draws on `resize_window` source pixels at most.
    std::int32_t compact;
    // From group 1 to before this one, all groups have the samples and weights of group 1, and
    // windows that start `uniform_stride` pixels after one another. Ratios such as 3:2 and 2:1 have
    // nearly all groups so.
    std::int32_t uniform_end;
    std::int32_t uniform_stride;

    // Along each axis, the first of two neighbouring samples and the weight of the second. Where
    // the border's sample is repeated, the pair lies inside with a weight of 0 or 1, which gives
    // the same.
    const std::int32_t* ColumnIndexes() const { return At<std::int32_t>(0); }
    const float* ColumnWeights() const { return At<float>(Columns()); }
    const std::int32_t* RowIndexes() const { return At<std::int32_t>(2 * Columns()); }
    const float* RowWeights() const { return At<float>(2 * Columns() + destination.height); }
    // For compact plans: the first source pixel of each group's window, and within the window the
    // two samples of each column.
    const std::int32_t* GroupStarts() const { return At<std::int32_t>(GroupPlace()); }
    const std::int32_t* GroupSamples() const {
        return At<std::int32_t>(GroupPlace() + Columns() / resize_group);
    }
    // Unless `column_parts` is 0: the weights of both samples of each column, in parts, once per
    // channel.
    const std::int8_t* ByteWeights() const {
        return At<std::int8_t>(GroupPlace() + Columns() / resize_group + 2 * Columns());
    }

    // Sixteenths are exact in floats too, and so give the very results of the floats.
    bool Sixteenths() const { return column_parts == 16 && row_parts == 16; }
    bool Parts() const { return column_parts != 0; }

    std::int64_t Columns() const {
        return (static_cast<std::int64_t>(destination.width) + 2 * resize_group - 1) /
               (2 * resize_group) * (2 * resize_group);
    }
    // In bytes, header included.
    std::int64_t Size() const {
        return static_cast<std::int64_t>(sizeof(ResizePlan)) +
               4 * (GroupPlace() + Columns() / resize_group + 4 * Columns());
    }

private:
    std::int64_t GroupPlace() const {
        return 2 * Columns() + 2 * static_cast<std::int64_t>(destination.height);
    }
    template <class T>
    const T* At(std::int64_t words) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const std::byte*>(this + 1) + 4 * words);
    }
};

}  // namespace Vimbrel::pixel
