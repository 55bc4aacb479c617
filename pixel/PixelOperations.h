// The pixel primitives that every picture passes on its way in and out: conversion into packed BGRA
// (bytes in memory blue, green, red, alpha), alpha, and a bilinear resize with a prepared plan.
//
// Steps are signed distances in bytes between the starts of two rows; with a negative one the
// pointer is to the row that comes first in the picture. Source and destination are disjoint;
// PremultiplyBgra may also work in place. Nothing allocates, and all operations may run on any
// number of threads over disjoint buffers. The rest is documented in docs/pixel.md.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Vimbrel {

struct PixelSize {
    std::int32_t width;
    std::int32_t height;
};

struct PixelOffset {
    std::int32_t x;
    std::int32_t y;
};

inline constexpr std::int32_t pixel_done = 0;
// Done, but the odd last column or row of a 4:2:0 picture was left out.
inline constexpr std::int32_t pixel_odd_size = 35;
inline constexpr std::int32_t pixel_bad_size = -6;
inline constexpr std::int32_t pixel_null_pointer = -8;
// The memory does not hold a plan made by ResizeInit.
inline constexpr std::int32_t pixel_bad_plan = -13;
// An interpolation, antialiasing, border mode, channel count or offset other than those that there
// are.
inline constexpr std::int32_t pixel_unsupported = -14;

// Selects the fastest routines for this processor, among those that the environment variable
// VIMBREL_PIXEL_TARGETS leaves. May be called again and from several threads. Without a call the
// operations work by their plain formulas.
void InitializePixelOperations();

std::int32_t ConvertYuy2ToBgra(const std::uint8_t* source, std::int32_t source_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha);
std::int32_t ConvertUyvyToBgra(const std::uint8_t* source, std::int32_t source_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha);

std::int32_t ConvertNv12ToBgra(const std::uint8_t* luma, std::int32_t luma_step,
                               const std::uint8_t* chroma, std::int32_t chroma_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha);

// Planes are luma, Cb, Cr for both. Kept: the two differ in their matrix, and
// hosts rely on the colours of each.
std::int32_t ConvertI420ToBgra(const std::uint8_t* const planes[3], const std::int32_t steps[3],
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha);
std::int32_t ConvertYv12ToBgra(const std::uint8_t* const planes[3], const std::int32_t steps[3],
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha);

// These two leave the fourth byte of each destination pixel as it was.
std::int32_t CopyBgrxToBgra(const std::uint8_t* source, std::int32_t source_step,
                            std::uint8_t* destination, std::int32_t destination_step,
                            PixelSize size);
std::int32_t ExpandBgrToBgra(const std::uint8_t* source, std::int32_t source_step,
                             std::uint8_t* destination, std::int32_t destination_step,
                             PixelSize size);

// The fourth bytes of the destination become 255.
std::int32_t CopyBgrxAsOpaque(const std::uint8_t* source, std::int32_t source_step,
                              std::uint8_t* destination, std::int32_t destination_step,
                              PixelSize size);

std::int32_t PremultiplyBgra(const std::uint8_t* source, std::int32_t source_step,
                             std::uint8_t* destination, std::int32_t destination_step,
                             PixelSize size);

// Writes `value` to every fourth byte; `first_alpha` is the alpha byte of the first pixel.
std::int32_t FillAlpha(std::uint8_t value, std::uint8_t* first_alpha, std::int32_t step,
                       PixelSize size);

inline constexpr std::int32_t resize_linear = 2;
inline constexpr std::int32_t resize_border_replicate = 1;
inline constexpr std::int32_t resize_channels = 4;

// How many bytes a plan for these sizes takes, and the memory that preparing it takes (none: always
// 0). Source sizes below 2 are too small.
std::int32_t ResizeGetSizes(PixelSize source, PixelSize destination, std::int32_t interpolation,
                            std::int32_t antialiasing, std::int32_t* plan_bytes,
                            std::int32_t* initialization_bytes);
// `plan` is aligned as malloc aligns. Any number of threads may resize by one plan, each with a
// work buffer of its own.
std::int32_t ResizeInit(PixelSize source, PixelSize destination, void* plan);
std::int32_t ResizeGetBufferSize(const void* plan, PixelSize destination, std::int32_t channels,
                                 std::int32_t* buffer_bytes);
std::int32_t ResizeBilinearBgra(const std::uint8_t* source, std::int32_t source_step,
                                std::uint8_t* destination, std::int32_t destination_step,
                                PixelOffset destination_offset, PixelSize destination_size,
                                std::int32_t border, const void* plan, void* work_buffer);

}  // namespace Vimbrel
