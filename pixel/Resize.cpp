// The bilinear resize: its plan and the walk over the rows.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <utility>

#include "pixel/KernelSelection.h"
#include "pixel/PixelOperations.h"
#include "pixel/ResizePlan.h"

namespace Vimbrel {
namespace {

using pixel::resize_group;
using pixel::resize_window;
using pixel::ResizePlan;

constexpr std::int64_t row_alignment = 64;

bool Bad(PixelSize source, PixelSize destination) {
    return source.width < 2 || source.height < 2 || destination.width < 1 || destination.height < 1;
}

ResizePlan Header(PixelSize source, PixelSize destination) {
    return {.magic = pixel::resize_plan_magic,
            .source = source,
            .destination = destination,
            .column_parts = 0,
            .row_parts = 0,
            .part_factor = 0,
            .part_shift = 0,
            .compact = 1,
            .uniform_end = 1,
            .uniform_stride = 0};
}

struct Sample {
    std::int32_t index;
    float weight;
};

// Which pair of neighbouring samples a destination sample lies between, and where.
Sample Locate(std::int32_t position, std::int32_t source_length, std::int32_t destination_length) {
    const double place = (position + 0.5) * source_length / destination_length - 0.5;
    const double whole = std::floor(place);
    if (whole < 0) return {0, 0.0F};
    if (whole >= source_length - 1) return {source_length - 2, 1.0F};
    return {static_cast<std::int32_t>(whole), static_cast<float>(place - whole)};
}

// The least number of parts that all weights of an axis are whole ones of. A place is (2 x + 1) *
// source / (2 * destination) - 1 / 2.
std::int64_t WholeParts(std::int64_t source_length, std::int64_t destination_length) {
    const std::int64_t common = std::gcd(
        std::gcd(2 * source_length, source_length - destination_length), 2 * destination_length);
    // Lengths are at least 1, and so are these; the analyzer does not know it.
    return std::max<std::int64_t>(2 * destination_length / std::max<std::int64_t>(common, 1), 1);
}

std::int32_t InParts(float weight, std::int32_t parts) {
    return static_cast<std::int32_t>(std::lround(weight * static_cast<float>(parts)));
}

// Finds out whether integers of 16 bits can do it, and how to divide their sums.
void PlanParts(ResizePlan& plan) {
    std::int64_t column_parts = WholeParts(plan.source.width, plan.destination.width);
    std::int64_t row_parts = WholeParts(plan.source.height, plan.destination.height);
    if (16 % column_parts == 0 && 16 % row_parts == 0) column_parts = row_parts = 16;
    constexpr std::int64_t most_parts = 256;
    if (column_parts > 127 || row_parts > most_parts || column_parts * row_parts > most_parts)
        return;
    const std::int64_t parts = column_parts * row_parts;
    std::int64_t shift = 0;
    while (2LL << shift < parts) ++shift;
    const std::int64_t factor = ((65536LL << shift) + parts - 1) / parts;
    const std::int64_t greatest_sum = 255 * parts + parts / 2;
    // The factor is a little too great. The quotient is right as long as what that adds stays below
    // one part.
    if (factor > 65535 || greatest_sum * (factor * parts - (65536LL << shift)) >= 65536LL
                                                                                      << shift) {
        if (column_parts != 16 || row_parts != 16) return;
    }
    plan.column_parts = static_cast<std::int32_t>(column_parts);
    plan.row_parts = static_cast<std::int32_t>(row_parts);
    plan.part_factor = static_cast<std::int32_t>(factor);
    plan.part_shift = static_cast<std::int32_t>(shift);
}

template <class T>
T* Writable(const T* table) {
    return const_cast<T*>(table);
}

// The window of source pixels that the group of columns from `first` draws on.
void PlanGroup(ResizePlan& plan, std::int32_t first) {
    const std::int32_t* indexes = plan.ColumnIndexes() + first;
    const std::int32_t last_start =
        plan.source.width > resize_window ? plan.source.width - resize_window : 0;
    const std::int32_t start = indexes[0] < last_start ? indexes[0] : last_start;
    const bool fits =
        plan.source.width >= resize_window && indexes[resize_group - 1] + 1 - start < resize_window;
    if (!fits) plan.compact = 0;
    Writable(plan.GroupStarts())[first / resize_group] = start;
    for (std::int32_t i = 0; i < resize_group; ++i) {
        std::int32_t* samples =
            Writable(plan.GroupSamples()) + 2 * static_cast<std::ptrdiff_t>(first + i);
        samples[0] = fits ? indexes[i] - start : 0;
        samples[1] = samples[0] + 1;
    }
}

void FindUniformGroups(ResizePlan& plan) {
    const auto groups = static_cast<std::int32_t>(plan.Columns() / resize_group);
    if (plan.compact == 0 || groups < 3) return;
    const std::int32_t* starts = plan.GroupStarts();
    plan.uniform_stride = starts[2] - starts[1];
    const auto as_first = [&](std::int32_t group) {
        const std::int32_t* samples = plan.GroupSamples() + 2 * resize_group;
        const float* weights = plan.ColumnWeights() + resize_group;
        const std::ptrdiff_t others = group - 1;
        return starts[group] - starts[1] == others * plan.uniform_stride &&
               std::equal(samples, samples + 2 * resize_group,
                          samples + 2 * resize_group * others) &&
               std::equal(weights, weights + resize_group, weights + resize_group * others);
    };
    while (plan.uniform_end < groups && as_first(plan.uniform_end)) ++plan.uniform_end;
}

void PlanColumns(ResizePlan& plan) {
    const auto columns = static_cast<std::int32_t>(plan.Columns());
    for (std::int32_t x = 0; x < columns; ++x) {
        const std::int32_t position = x < plan.destination.width ? x : plan.destination.width - 1;
        const Sample sample = Locate(position, plan.source.width, plan.destination.width);
        Writable(plan.ColumnIndexes())[x] = sample.index;
        Writable(plan.ColumnWeights())[x] = sample.weight;
        if (!plan.Parts()) continue;
        const std::int32_t second = InParts(sample.weight, plan.column_parts);
        std::int8_t* weights = Writable(plan.ByteWeights()) + 8 * static_cast<std::ptrdiff_t>(x);
        for (int i = 0; i < 8; i += 2) {
            weights[i] = static_cast<std::int8_t>(plan.column_parts - second);
            weights[i + 1] = static_cast<std::int8_t>(second);
        }
    }
    for (std::int32_t first = 0; first < columns; first += resize_group) PlanGroup(plan, first);
    FindUniformGroups(plan);
}

void PlanRows(ResizePlan& plan) {
    for (std::int32_t y = 0; y < plan.destination.height; ++y) {
        const Sample sample = Locate(y, plan.source.height, plan.destination.height);
        Writable(plan.RowIndexes())[y] = sample.index;
        Writable(plan.RowWeights())[y] = sample.weight;
    }
}

// Bytes of one interpolated row in the work buffer: whole vectors of pixels, however long.
std::int64_t RowBytes(const ResizePlan& plan) {
    constexpr std::int64_t vector_pixels = 16;
    return (plan.destination.width + vector_pixels - 1) / vector_pixels * vector_pixels * 4 *
           static_cast<std::int64_t>(sizeof(float));
}

bool IsPlan(const void* memory) {
    std::uint32_t magic = 0;
    std::memcpy(&magic, memory, sizeof magic);
    return magic == pixel::resize_plan_magic;
}

// The two source rows last interpolated within. For a destination that is higher than its source
// most rows are made once and used several times.
template <class Sample>
class InterpolatedRows {
public:
    InterpolatedRows(const ResizePlan& resize_plan, const pixel::ResizeRows<Sample>& row_kernel,
                     const std::uint8_t* source_rows, std::int32_t source_step, std::byte* memory)
        : plan(resize_plan),
          kernel(row_kernel),
          source(source_rows),
          step(source_step),
          upper{-1, reinterpret_cast<Sample*>(memory)},
          lower{-1, reinterpret_cast<Sample*>(memory + RowBytes(plan))} {}

    void Write(std::int32_t y, std::uint8_t* destination) {
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
        const Sample* below = second != first ? lower.samples : upper.samples;
        kernel.rows(plan, upper.samples, below, weight, destination);
    }

private:
    struct Row {
        std::int32_t index;
        Sample* samples;
    };

    void Make(Row& row, std::int32_t index) const {
        if (row.index == index) return;
        kernel.columns(plan, source + static_cast<std::ptrdiff_t>(step) * index, row.samples);
        row.index = index;
    }

    const ResizePlan& plan;
    const pixel::ResizeRows<Sample>& kernel;
    const std::uint8_t* source;
    std::int32_t step;
    Row upper;
    Row lower;
};

template <class Sample>
void Resize(const ResizePlan& plan, const pixel::ResizeRows<Sample>& kernel,
            const std::uint8_t* source, std::int32_t source_step, std::uint8_t* destination,
            std::int32_t destination_step, std::byte* memory) {
    InterpolatedRows<Sample> rows(plan, kernel, source, source_step, memory);
    for (std::int32_t y = 0; y < plan.destination.height; ++y) {
        rows.Write(y, destination + static_cast<std::ptrdiff_t>(destination_step) * y);
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
    PlanParts(made);
    PlanColumns(made);
    PlanRows(made);
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
    const std::int64_t bytes = 2 * RowBytes(made) + row_alignment;
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
    if (made.Parts() && kernels.resize_parts.columns != nullptr) {
        const auto& kernel = made.Sixteenths() ? kernels.resize_sixteenths : kernels.resize_parts;
        Resize(made, kernel, source, source_step, destination, destination_step, memory);
    } else {
        Resize(made, kernels.resize, source, source_step, destination, destination_step, memory);
    }
    return pixel_done;
}

}  // namespace Vimbrel
