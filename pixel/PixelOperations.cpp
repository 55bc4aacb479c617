// What all variants share: checks of the arguments and the walk over the rows.
#include "pixel/PixelOperations.h"

#include "pixel/KernelSelection.h"

namespace Vimbrel {
namespace {

bool Bad(PixelSize size) { return size.width < 1 || size.height < 1; }

template <class Byte>
Byte* Row(Byte* first, std::int32_t step, std::int32_t row) {
    return first + static_cast<std::ptrdiff_t>(step) * row;
}

// Rows without gaps are one long row: a tenth faster at the width of 1280, since each row has its
// beginning and its end.
PixelSize Joined(PixelSize size, bool gapless) {
    constexpr std::int64_t longest = 1 << 28;
    const std::int64_t pixels = static_cast<std::int64_t>(size.width) * size.height;
    return gapless && pixels <= longest ? PixelSize{static_cast<std::int32_t>(pixels), 1} : size;
}

bool Gapless(std::int32_t step, std::int32_t width, std::int32_t pixel_bytes) {
    return step == static_cast<std::int64_t>(pixel_bytes) * width;
}

// Runs `convert_row` on each row of two packed pictures, with the row's width. A pixel of the
// source has `pixel_bytes`; those of 2 share chroma by twos, and an odd width's last pixel is a
// case of its own.
template <class Convert>
std::int32_t ForEachRow(const std::uint8_t* source, std::int32_t source_step,
                        std::int32_t pixel_bytes, std::uint8_t* destination,
                        std::int32_t destination_step, PixelSize size, Convert convert_row) {
    if (source == nullptr || destination == nullptr) return pixel_null_pointer;
    if (Bad(size)) return pixel_bad_size;
    const bool joinable = pixel_bytes != 2 || size.width % 2 == 0;
    size = Joined(size, joinable && Gapless(source_step, size.width, pixel_bytes) &&
                            Gapless(destination_step, size.width, 4));
    for (std::int32_t y = 0; y < size.height; ++y) {
        convert_row(Row(source, source_step, y), Row(destination, destination_step, y), size.width);
    }
    return pixel_done;
}

// Runs `convert_rows` on each whole pair of rows of a 4:2:0 picture; it gets the pair and the
// number of the chroma row.
template <class Convert>
std::int32_t ForEachRowPair(const std::uint8_t* luma, std::int32_t luma_step,
                            std::uint8_t* destination, std::int32_t destination_step,
                            PixelSize size, std::uint8_t alpha, Convert convert_rows) {
    if (luma == nullptr || destination == nullptr) return pixel_null_pointer;
    if (Bad(size)) return pixel_bad_size;
    constexpr std::int64_t cached_bytes = 16 << 20;
    const bool one_by_one = 4 * static_cast<std::int64_t>(size.width) * size.height > cached_bytes;
    for (std::int32_t pair = 0; pair < size.height / 2; ++pair) {
        const std::int32_t y = 2 * pair;
        convert_rows(pixel::RowPair{.luma = {Row(luma, luma_step, y), Row(luma, luma_step, y + 1)},
                                    .destination = {Row(destination, destination_step, y),
                                                    Row(destination, destination_step, y + 1)},
                                    .pairs = size.width / 2,
                                    .alpha = alpha,
                                    .one_by_one = one_by_one},
                     pair);
    }
    // Odd last columns and rows are left out, and the result says so.
    return ((size.width | size.height) & 1) != 0 ? pixel_odd_size : pixel_done;
}

std::int32_t ConvertPlanes(pixel::PlanarRows kernel, const std::uint8_t* const planes[3],
                           const std::int32_t steps[3], std::uint8_t* destination,
                           std::int32_t destination_step, PixelSize size, std::uint8_t alpha) {
    if (planes == nullptr || steps == nullptr || planes[1] == nullptr || planes[2] == nullptr)
        return pixel_null_pointer;
    return ForEachRowPair(planes[0], steps[0], destination, destination_step, size, alpha,
                          [=](const pixel::RowPair& rows, std::int32_t y) {
                              kernel(rows, Row(planes[1], steps[1], y),
                                     Row(planes[2], steps[2], y));
                          });
}

}  // namespace

std::int32_t ConvertYuy2ToBgra(const std::uint8_t* source, std::int32_t source_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha) {
    const pixel::PackedYuvRow kernel = pixel::SelectedKernels().yuy2;
    return ForEachRow(source, source_step, 2, destination, destination_step, size,
                      [=](const std::uint8_t* from, std::uint8_t* to, std::int32_t width) {
                          kernel(from, to, width, alpha);
                      });
}

std::int32_t ConvertUyvyToBgra(const std::uint8_t* source, std::int32_t source_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha) {
    const pixel::PackedYuvRow kernel = pixel::SelectedKernels().uyvy;
    return ForEachRow(source, source_step, 2, destination, destination_step, size,
                      [=](const std::uint8_t* from, std::uint8_t* to, std::int32_t width) {
                          kernel(from, to, width, alpha);
                      });
}

std::int32_t ConvertNv12ToBgra(const std::uint8_t* luma, std::int32_t luma_step,
                               const std::uint8_t* chroma, std::int32_t chroma_step,
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha) {
    if (chroma == nullptr) return pixel_null_pointer;
    const pixel::SemiplanarRows kernel = pixel::SelectedKernels().nv12;
    return ForEachRowPair(luma, luma_step, destination, destination_step, size, alpha,
                          [=](const pixel::RowPair& rows, std::int32_t y) {
                              kernel(rows, Row(chroma, chroma_step, y));
                          });
}

std::int32_t ConvertI420ToBgra(const std::uint8_t* const planes[3], const std::int32_t steps[3],
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha) {
    return ConvertPlanes(pixel::SelectedKernels().i420, planes, steps, destination,
                         destination_step, size, alpha);
}

std::int32_t ConvertYv12ToBgra(const std::uint8_t* const planes[3], const std::int32_t steps[3],
                               std::uint8_t* destination, std::int32_t destination_step,
                               PixelSize size, std::uint8_t alpha) {
    return ConvertPlanes(pixel::SelectedKernels().yv12, planes, steps, destination,
                         destination_step, size, alpha);
}

std::int32_t CopyBgrxToBgra(const std::uint8_t* source, std::int32_t source_step,
                            std::uint8_t* destination, std::int32_t destination_step,
                            PixelSize size) {
    return ForEachRow(source, source_step, 4, destination, destination_step, size,
                      pixel::SelectedKernels().copy);
}

std::int32_t ExpandBgrToBgra(const std::uint8_t* source, std::int32_t source_step,
                             std::uint8_t* destination, std::int32_t destination_step,
                             PixelSize size) {
    return ForEachRow(source, source_step, 3, destination, destination_step, size,
                      pixel::SelectedKernels().expand);
}

std::int32_t CopyBgrxAsOpaque(const std::uint8_t* source, std::int32_t source_step,
                              std::uint8_t* destination, std::int32_t destination_step,
                              PixelSize size) {
    return ForEachRow(source, source_step, 4, destination, destination_step, size,
                      pixel::SelectedKernels().copy_as_opaque);
}

std::int32_t PremultiplyBgra(const std::uint8_t* source, std::int32_t source_step,
                             std::uint8_t* destination, std::int32_t destination_step,
                             PixelSize size) {
    return ForEachRow(source, source_step, 4, destination, destination_step, size,
                      pixel::SelectedKernels().premultiply);
}

std::int32_t FillAlpha(std::uint8_t value, std::uint8_t* first_alpha, std::int32_t step,
                       PixelSize size) {
    if (first_alpha == nullptr) return pixel_null_pointer;
    if (Bad(size)) return pixel_bad_size;
    const auto kernel = pixel::SelectedKernels().fill_alpha;
    size = Joined(size, Gapless(step, size.width, 4));
    for (std::int32_t y = 0; y < size.height; ++y)
        kernel(value, Row(first_alpha, step, y), size.width);
    return pixel_done;
}

}  // namespace Vimbrel
