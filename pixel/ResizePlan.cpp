// The making of a plan: which samples every column and row lies between, and in what form the
// kernels read that.
#include "pixel/ResizePlan.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Vimbrel::pixel {
namespace {

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

// Whether all weights of an axis are whole sixteenths. A place is (2 x + 1) * source /
// (2 * destination) - 1 / 2.
bool InSixteenths(std::int32_t source_length, std::int32_t destination_length) {
    const std::int64_t source = source_length;
    const std::int64_t destination = destination_length;
    const std::int64_t common =
        std::gcd(std::gcd(2 * source, source - destination), 2 * destination);
    // Lengths are at least 1, and so is what they have in common; the analyzer does not know it.
    return 16 % std::max<std::int64_t>(2 * destination / std::max<std::int64_t>(common, 1), 1) == 0;
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

// The window of source pixels of two columns, and where each column's samples are in it.
void PlanPair(ResizePlan& plan, std::int32_t first) {
    const std::int32_t* indexes = plan.ColumnIndexes() + first;
    const std::int32_t foremost =
        plan.foursomes != 0 ? indexes[-(first % resize_group)] : indexes[0];
    const std::int32_t start = std::min(foremost, plan.source.width - resize_pair_window);
    Writable(plan.PairStarts())[first / 2] = start;
    for (std::int32_t i = 0; i < 2; ++i) {
        const std::int32_t sample = plan.paired != 0 ? indexes[i] - start : 2 * i;
        std::uint8_t* selection =
            Writable(plan.PairSelections()) + 16 * static_cast<std::ptrdiff_t>(first + i);
        for (std::int32_t channel = 0; channel < 4; ++channel) {
            constexpr std::uint8_t zero = 0x80;
            *selection++ = static_cast<std::uint8_t>(4 * sample + channel);
            *selection++ = zero;
            *selection++ = static_cast<std::uint8_t>(4 * sample + channel + 4);
            *selection++ = zero;
        }
    }
}

void PlanPairs(ResizePlan& plan) {
    const auto columns = static_cast<std::int32_t>(plan.Columns());
    const std::int32_t* indexes = plan.ColumnIndexes();
    plan.paired = plan.source.width >= resize_pair_window ? 1 : 0;
    plan.foursomes = plan.paired;
    for (std::int32_t first = 0; first < columns; first += 2) {
        if (indexes[first + 1] - indexes[first] > resize_pair_window - 2) plan.paired = 0;
        if (indexes[first + 1] - indexes[first - first % resize_group] > resize_pair_window - 2)
            plan.foursomes = 0;
    }
    for (std::int32_t first = 0; first < columns; first += 2) PlanPair(plan, first);
}

// Copies of the tables in the orders that longer vectors read them in.
void OrderForVectors(ResizePlan& plan, std::int32_t blocks) {
    for (std::int64_t column = 0; column < plan.Columns(); ++column) {
        const std::int64_t within = column % (4 * blocks);
        const std::int64_t place = column - within + within % 4 * blocks + within / 4;
        std::copy_n(plan.PairSelections() + 16 * column, 16,
                    Writable(plan.Selections(blocks)) + 16 * place);
        std::copy_n(plan.ColumnWeights() + 4 * column, 4,
                    Writable(plan.VectorWeights(blocks)) + 4 * place);
    }
}

void FindUniformGroups(ResizePlan& plan) {
    const auto groups = static_cast<std::int32_t>(plan.Columns() / resize_group);
    if (plan.compact == 0 || groups < 3) return;
    const std::int32_t* starts = plan.GroupStarts();
    plan.uniform_stride = starts[2] - starts[1];
    const auto as_first = [&](std::int32_t group) {
        const std::int32_t* samples = plan.GroupSamples() + 2 * resize_group;
        const float* weights = plan.ColumnWeights() + 4 * resize_group;
        const std::ptrdiff_t others = group - 1;
        return starts[group] - starts[1] == others * plan.uniform_stride &&
               std::equal(samples, samples + 2 * resize_group,
                          samples + 2 * resize_group * others) &&
               std::equal(weights, weights + 4 * resize_group, weights + 4 * resize_group * others);
    };
    while (plan.uniform_end < groups && as_first(plan.uniform_end)) ++plan.uniform_end;
}

void FindUniformTiles(ResizePlan& plan) {
    const std::int32_t common = std::gcd(plan.source.width, plan.destination.width);
    const std::int64_t columns = plan.Columns();
    const std::int64_t period = plan.destination.width / common;
    std::int64_t tile = std::lcm(period, std::int64_t{resize_block});
    plan.uniform_tiles = 0;
    if (period < 1 || tile < 1 || tile > columns / 3) return;
    // A walk over the columns begins anew with every tile; a few kilobytes of tables more are less
    // of a burden.
    while (tile < 128 && 2 * tile <= columns / 4) tile *= 2;
    plan.tile = static_cast<std::int32_t>(tile);
    plan.tile_stride = static_cast<std::int32_t>(tile / period * (plan.source.width / common));
    const auto repeats = [&](std::int64_t column) {
        const std::int64_t as = tile + column % tile;
        const std::int64_t stride = (column / tile - 1) * plan.tile_stride;
        return plan.ColumnIndexes()[column] == plan.ColumnIndexes()[as] + stride &&
               plan.PairStarts()[column / 2] == plan.PairStarts()[as / 2] + stride &&
               plan.ColumnWeights()[4 * column] == plan.ColumnWeights()[4 * as] &&
               std::equal(plan.PairSelections() + 16 * as, plan.PairSelections() + 16 * (as + 1),
                          plan.PairSelections() + 16 * column);
    };
    std::int64_t column = tile;
    while (column < columns && repeats(column)) ++column;
    plan.uniform_tiles = static_cast<std::int32_t>(column / tile - 1);
}

void PlanColumns(ResizePlan& plan) {
    const auto columns = static_cast<std::int32_t>(plan.Columns());
    for (std::int32_t x = 0; x < columns; ++x) {
        const std::int32_t position = x < plan.destination.width ? x : plan.destination.width - 1;
        const Sample sample = Locate(position, plan.source.width, plan.destination.width);
        Writable(plan.ColumnIndexes())[x] = sample.index;
        std::fill_n(Writable(plan.ColumnWeights()) + 4 * static_cast<std::ptrdiff_t>(x), 4,
                    sample.weight);
        if (plan.sixteenths == 0) continue;
        const auto second = static_cast<std::int32_t>(sample.weight * 16);
        std::int8_t* weights = Writable(plan.ByteWeights()) + 8 * static_cast<std::ptrdiff_t>(x);
        for (int i = 0; i < 8; i += 2) {
            weights[i] = static_cast<std::int8_t>(16 - second);
            weights[i + 1] = static_cast<std::int8_t>(second);
        }
    }
    for (std::int32_t first = 0; first < columns; first += resize_group) PlanGroup(plan, first);
    FindUniformGroups(plan);
    PlanPairs(plan);
    OrderForVectors(plan, 2);
    OrderForVectors(plan, 4);
    FindUniformTiles(plan);
}

void PlanRows(ResizePlan& plan) {
    for (std::int32_t y = 0; y < plan.destination.height; ++y) {
        const Sample sample = Locate(y, plan.source.height, plan.destination.height);
        Writable(plan.RowIndexes())[y] = sample.index;
        Writable(plan.RowWeights())[y] = sample.weight;
    }
}

}  // namespace

void FillResizePlan(ResizePlan& plan) {
    constexpr std::uintptr_t alignment = ResizePlan::table_alignment;
    const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(&plan + 1);
    plan.tables =
        static_cast<std::int32_t>(sizeof plan + (alignment - place % alignment) % alignment);
    plan.compact = 1;
    plan.uniform_end = 1;
    plan.uniform_stride = 0;
    plan.sixteenths = InSixteenths(plan.source.width, plan.destination.width) &&
                              InSixteenths(plan.source.height, plan.destination.height)
                          ? 1
                          : 0;
    plan.halved = plan.source.width == std::int64_t{2} * plan.destination.width &&
                          plan.source.height == std::int64_t{2} * plan.destination.height
                      ? 1
                      : 0;
    PlanColumns(plan);
    PlanRows(plan);
}

}  // namespace Vimbrel::pixel
