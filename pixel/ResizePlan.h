// What ResizeInit leaves in the caller's memory: this header, followed by the tables that it
// locates.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixel/PixelOperations.h"

namespace Vimbrel::pixel {

inline constexpr std::uint32_t resize_plan_magic = 0x4B617389;

// Destination columns are planned in blocks of this many, the pixels of the longest vector. The
// last block is filled up with copies of the last column.
inline constexpr std::int32_t resize_block = 16;
// Integers take the columns in groups of this many.
inline constexpr std::int32_t resize_group = 4;
// How many neighbouring source pixels a group may use to be `compact`.
inline constexpr std::int32_t resize_window = 8;
// How many neighbouring source pixels two columns may use to be `paired`: 16 bytes of them.
inline constexpr std::int32_t resize_pair_window = 4;

struct ResizePlan {
    std::uint32_t magic;
    PixelSize source;
    PixelSize destination;
    // Whether all weights are whole sixteenths. Floats compute those exactly, and so do integers of
    // 16 bits.
    std::int32_t sixteenths;
    // Whether both axes are halved, so that each result is the mean of four samples.
    std::int32_t halved;
    // Whether each group uses `resize_window` source pixels at most.
    std::int32_t compact;
    // Whether each pair of columns uses `resize_pair_window` source pixels at most.
    std::int32_t paired;
    // Whether the two pairs of each group do so together; they then have the same window.
    std::int32_t foursomes;
    // From group 1 to before this one, all groups have the samples and weights of group 1, and
    // windows that start `uniform_stride` pixels after one another. Ratios such as 3:2 and 2:1 have
    // nearly all groups so.
    std::int32_t uniform_end;
    std::int32_t uniform_stride;
    // Tile 0 of so many columns is followed by `uniform_tiles` tiles that have the samples and
    // weights of tile 1, each `tile_stride` source pixels after the one before.
    std::int32_t tile;
    std::int32_t tile_stride;
    std::int32_t uniform_tiles;

    // In bytes, from the header to the tables, which begin on a cache line when the plan is made.
    std::int32_t tables;

    // Along each axis, the first of two neighbouring samples and the weight of the second. Where
    // the border's sample is repeated, the pair lies inside with a weight of 0 or 1, which gives
    // the same. A column's weight is there once per channel.
    const float* ColumnWeights() const { return At<float>(0); }
    const std::int32_t* ColumnIndexes() const { return At<std::int32_t>(10 * Columns()); }
    const std::int32_t* RowIndexes() const { return At<std::int32_t>(RowPlace()); }
    const float* RowWeights() const { return At<float>(RowPlace() + destination.height); }
    // Of each column 16 bytes that select, per channel, the first sample and the second as 16-bit
    // numbers from the window of its pair. Of plans that are not paired they select from the
    // samples of the pair's first and second column, one after the other.
    const std::uint8_t* PairSelections() const { return At<std::uint8_t>(4 * Columns()); }
    // The same and the weights in the order of vectors of so many blocks of 16 bytes (1, 2 or 4):
    // of each 4 * `blocks` columns those that are 0, 4, 8 ... from the first, then 1, 5, 9 ...
    const std::uint8_t* Selections(std::int32_t blocks) const {
        return blocks == 1 ? PairSelections()
                           : At<std::uint8_t>((blocks == 2 ? 14 : 22) * Columns());
    }
    const float* VectorWeights(std::int32_t blocks) const {
        return blocks == 1 ? ColumnWeights() : At<float>((blocks == 2 ? 18 : 26) * Columns());
    }
    // The first source pixel of each pair's window.
    const std::int32_t* PairStarts() const { return At<std::int32_t>(11 * Columns()); }
    // For plans in sixteenths: the weights of both samples of each column, once per channel.
    const std::int8_t* ByteWeights() const { return At<std::int8_t>(8 * Columns()); }
    // For compact plans: within a group's window the two samples of each column, and the first
    // source pixel of each window.
    const std::int32_t* GroupSamples() const {
        return At<std::int32_t>(11 * Columns() + Columns() / 2);
    }
    const std::int32_t* GroupStarts() const {
        return At<std::int32_t>(13 * Columns() + Columns() / 2);
    }

    std::int64_t Columns() const {
        return (static_cast<std::int64_t>(destination.width) + resize_block - 1) / resize_block *
               resize_block;
    }
    // In bytes, header included, wherever the tables may begin.
    std::int64_t Size() const {
        return static_cast<std::int64_t>(sizeof(ResizePlan)) + table_alignment +
               4 * (RowPlace() + 2 * static_cast<std::int64_t>(destination.height));
    }

    static constexpr std::int32_t table_alignment = 64;

private:
    std::int64_t RowPlace() const { return 30 * Columns(); }
    template <class T>
    const T* At(std::int64_t words) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const std::byte*>(this) + tables +
                                          4 * words);
    }
};

// Fills in the tables of a plan whose sizes are at least 2 (source) and 1 (destination).
void FillResizePlan(ResizePlan& plan);

}  // namespace Vimbrel::pixel
