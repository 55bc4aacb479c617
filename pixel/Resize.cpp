// The bilinear resize: the checks of its arguments and the walk over the rows.
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "pixel/KernelSelection.h"
#include "pixel/PixelOperations.h"
#include "pixel/ResizePlan.h"

namespace Vimbrel {
namespace {

using pixel::ResizePlan;

constexpr std::int64_t row_alignment = 64;

bool Bad(PixelSize source, PixelSize destination) {
    return source.width < 2 || source.height < 2 || destination.width < 1 || destination.height < 1;
}

ResizePlan Header(PixelSize source, PixelSize destination) {
    ResizePlan plan{};
    plan.magic = pixel::resize_plan_magic;
    plan.source = source;
    plan.destination = destination;
    return plan;
}

struct Pictures {
    const std::uint8_t* source;
    std::int32_t source_step;
    std::uint8_t* destination;
    std::int32_t destination_step;
    std::byte* memory;

    const std::uint8_t* SourceRow(std::int32_t y) const {
        return source + static_cast<std::ptrdiff_t>(source_step) * y;
    }
    std::uint8_t* DestinationRow(std::int32_t y) const {
        return destination + static_cast<std::ptrdiff_t>(destination_step) * y;
    }
};

// Bytes of one row of floats in the work buffer, or of two rows of 16-bit samples.
std::int64_t RowBytes(const ResizePlan& plan) {
    return plan.Columns() * 4 * static_cast<std::int64_t>(sizeof(float));
}

bool IsPlan(const void* memory) {
    std::uint32_t magic = 0;
    std::memcpy(&magic, memory, sizeof magic);
    return magic == pixel::resize_plan_magic;
}

// The two source rows last interpolated within. For a destination that is higher than its source
// most rows are made once and used several times.
class SixteenthRows {
public:
    SixteenthRows(const ResizePlan& resize_plan, const pixel::ResizeSixteenths& row_kernel,
                  const Pictures& resize_pictures)
        : plan(resize_plan),
          kernel(row_kernel),
          pictures(resize_pictures),
          upper{-1, reinterpret_cast<std::uint16_t*>(pictures.memory)},
          lower{-1, reinterpret_cast<std::uint16_t*>(pictures.memory + RowBytes(plan) / 2)} {}

    void Write(std::int32_t y) {
        const float weight = plan.RowWeights()[y];
        // With a weight of 0 or 1 only one of the two counts.
        std::int32_t first = plan.RowIndexes()[y];
        std::int32_t second = first + 1;
        if (weight == 0.0F) second = first;
        if (weight == 1.0F) first = second;
        if (upper.index != first && (lower.index == first || upper.index == second))
            std::swap(upper, lower);
        Make(upper, first);
        if (second != first) Make(lower, second);
        const std::uint16_t* below = second != first ? lower.samples : upper.samples;
        kernel.rows(upper.samples, below, weight, pictures.DestinationRow(y),
                    plan.destination.width);
    }

private:
    struct Row {
        std::int32_t index;
        std::uint16_t* samples;
    };

    void Make(Row& row, std::int32_t index) const {
        if (row.index == index) return;
        kernel.columns(plan, pictures.SourceRow(index), row.samples);
        row.index = index;
    }

    const ResizePlan& plan;
    const pixel::ResizeSixteenths& kernel;
    const Pictures& pictures;
    Row upper;
    Row lower;
};

void ResizeBySixteenths(const ResizePlan& plan, const pixel::ResizeSixteenths& kernel,
                        const Pictures& pictures) {
    SixteenthRows rows(plan, kernel, pictures);
    for (std::int32_t y = 0; y < plan.destination.height; ++y) rows.Write(y);
}

// All destination rows between two source rows at once; the lower of the two is then the next
// upper one.
void ResizeByFloats(const ResizePlan& plan, const pixel::ResizeFloats& kernel,
                    const Pictures& pictures) {
    const std::int32_t height = plan.destination.height;
    const std::int32_t* indexes = plan.RowIndexes();
    const float* weights = plan.RowWeights();
    auto* row = reinterpret_cast<float*>(pictures.memory);
    std::int32_t made = -1;
    for (std::int32_t y = 0; y < height;) {
        // Between a row and itself where only the last one counts: the sum with a weight of 1 would
        // be rounded.
        constexpr float none = 0.0F;
        const bool last = weights[y] == 1.0F;
        const std::int32_t lower = indexes[y] + 1;
        const std::int32_t upper = last ? lower : indexes[y];
        std::int32_t end = y + 1;
        while (!last && end < height && indexes[end] == upper && weights[end] != 1.0F) ++end;
        if (made != upper) kernel.columns(plan, pictures.SourceRow(upper), row);
        kernel.rows(plan, row, pictures.SourceRow(lower),
                    {last ? &none : weights + y, pictures.DestinationRow(y),
                     pictures.destination_step, end - y});
        made = lower;
        y = end;
    }
}

void Halve(const ResizePlan& plan, const pixel::HalvedRow kernel, const Pictures& pictures) {
    for (std::int32_t y = 0; y < plan.destination.height; ++y) {
        kernel(pictures.SourceRow(2 * y), pictures.SourceRow(2 * y + 1), pictures.DestinationRow(y),
               plan.destination.width);
    }
}

}  // namespace

std::int32_t ResizeGetSizes(PixelSize source, PixelSize destination, std::int32_t interpolation,
                            std::int32_t antialiasing, std::int32_t* plan_bytes,
                            std::int32_t* initialization_bytes) {
    if (plan_bytes == nullptr || initialization_bytes == nullptr) return pixel_null_pointer;
    if (Bad(source, destination)) return pixel_bad_size;
    if (interpolation != resize_linear || antialiasing != 0) return pixel_unsupported;
    const ResizePlan plan = Header(source, destination);
    if (plan.Size() > std::numeric_limits<std::int32_t>::max()) return pixel_bad_size;
    *plan_bytes = static_cast<std::int32_t>(plan.Size());
    *initialization_bytes = 0;
    return pixel_done;
}

std::int32_t ResizeInit(PixelSize source, PixelSize destination, void* plan) {
    if (plan == nullptr) return pixel_null_pointer;
    if (Bad(source, destination)) return pixel_bad_size;
    auto& made = *new (plan) ResizePlan(Header(source, destination));
    pixel::FillResizePlan(made);
    return pixel_done;
}

std::int32_t ResizeGetBufferSize(const void* plan, PixelSize destination, std::int32_t channels,
                                 std::int32_t* buffer_bytes) {
    if (plan == nullptr || buffer_bytes == nullptr) return pixel_null_pointer;
    if (!IsPlan(plan)) return pixel_bad_plan;
    const auto& made = *static_cast<const ResizePlan*>(plan);
    if (destination.width != made.destination.width ||
        destination.height != made.destination.height)
        return pixel_bad_size;
    // The buffer is one for 4 channels whatever is asked for: callers are known to ask for the 3
    // colours.
    if (channels < 1 || channels > resize_channels) return pixel_unsupported;
    const std::int64_t bytes = RowBytes(made) + row_alignment;
    if (bytes > std::numeric_limits<std::int32_t>::max()) return pixel_bad_size;
    *buffer_bytes = static_cast<std::int32_t>(bytes);
    return pixel_done;
}

std::int32_t ResizeBilinearBgra(const std::uint8_t* source, std::int32_t source_step,
                                std::uint8_t* destination, std::int32_t destination_step,
                                PixelOffset destination_offset, PixelSize destination_size,
                                std::int32_t border, const void* plan, void* work_buffer) {
    if (source == nullptr || destination == nullptr || plan == nullptr || work_buffer == nullptr)
        return pixel_null_pointer;
    if (!IsPlan(plan)) return pixel_bad_plan;
    const auto& made = *static_cast<const ResizePlan*>(plan);
    if (destination_size.width != made.destination.width ||
        destination_size.height != made.destination.height)
        return pixel_bad_size;
    if (destination_offset.x != 0 || destination_offset.y != 0 || border != resize_border_replicate)
        return pixel_unsupported;

    const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(work_buffer);
    std::byte* memory = static_cast<std::byte*>(work_buffer) +
                        (row_alignment - place % row_alignment) % row_alignment;
    const pixel::Kernels& kernels = pixel::SelectedKernels();
    const Pictures pictures{source, source_step, destination, destination_step, memory};
    if (made.halved != 0 && kernels.resize_halved != nullptr) {
        Halve(made, kernels.resize_halved, pictures);
    } else if (made.sixteenths != 0 && kernels.resize_sixteenths.columns != nullptr) {
        ResizeBySixteenths(made, kernels.resize_sixteenths, pictures);
    } else {
        ResizeByFloats(made, kernels.resize, pictures);
    }
    return pixel_done;
}

}  // namespace Vimbrel
