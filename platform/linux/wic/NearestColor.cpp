#include "platform/linux/wic/NearestColor.h"

#include <cstring>

namespace Vimbrel {

namespace {

using Floats = float __attribute__((vector_size(16)));
using Ints = std::int32_t __attribute__((vector_size(16)));
constexpr std::size_t lanes = 4;

// Farther than any colour from any other.
constexpr float far_away = 1e4f;

Floats Load(const float* values) {
    Floats result;
    std::memcpy(&result, values, sizeof result);
    return result;
}

}  // namespace

NearestColor::NearestColor(std::span<const WICColor> colors)
    : rounded_count_((colors.size() + 2 * lanes - 1) / (2 * lanes) * (2 * lanes)),
      cells_(std::size_t{1} << (3 * cell_bits), unknown),
      recent_(std::size_t{1} << recent_bits) {
    b_.fill(far_away);
    g_.fill(far_away);
    r_.fill(far_away);
    std::vector<bool> taken(cells_.size());
    for (std::size_t i = 0; i < colors.size(); ++i) {
        if (colors[i] >> 24 != 0xFF) continue;
        const unsigned b = colors[i] & 0xFF;
        const unsigned g = colors[i] >> 8 & 0xFF;
        const unsigned r = colors[i] >> 16 & 0xFF;
        b_[i] = static_cast<float>(b);
        g_[i] = static_cast<float>(g);
        r_[i] = static_cast<float>(r);
        const std::size_t cell = CellOf(b, g, r);
        if (taken[cell]) cells_[cell] = crowded;
        taken[cell] = true;
    }
}

std::uint8_t NearestColor::Search(unsigned b, unsigned g, unsigned r) const {
    const Floats blue = Floats{} + static_cast<float>(b);
    const Floats green = Floats{} + static_cast<float>(g);
    const Floats red = Floats{} + static_cast<float>(r);
    struct Best {
        Floats distance = Floats{} + 1e9f;
        Ints index{};
    } best[2];
    Ints index[2] = {{0, 1, 2, 3}, {4, 5, 6, 7}};
    // Two chains, since each comparison waits for the one before.
    for (std::size_t i = 0; i < rounded_count_; i += 2 * lanes) {
        for (std::size_t k = 0; k < 2; ++k) {
            const Floats x = Load(&b_[i + k * lanes]) - blue;
            const Floats y = Load(&g_[i + k * lanes]) - green;
            const Floats z = Load(&r_[i + k * lanes]) - red;
            const Floats distance = x * x + y * y + z * z;
            const Ints nearer = distance < best[k].distance;
            best[k].distance = nearer ? distance : best[k].distance;
            best[k].index = nearer ? index[k] : best[k].index;
            index[k] += static_cast<int>(2 * lanes);
        }
    }
    float distance = best[0].distance[0];
    int nearest = best[0].index[0];
    for (const Best& half : best) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            if (half.distance[lane] < distance || (half.distance[lane] == distance && half.index[lane] < nearest)) {
                distance = half.distance[lane];
                nearest = half.index[lane];
            }
        }
    }
    return static_cast<std::uint8_t>(nearest);
}

std::uint8_t NearestColor::FillCell(std::size_t cell) {
    constexpr unsigned shift = 8 - cell_bits;
    constexpr std::size_t mask = (std::size_t{1} << cell_bits) - 1;
    const auto middle = [&](int channel) {
        return static_cast<unsigned>(cell >> (channel * cell_bits) & mask) << shift | 1u << (shift - 1);
    };
    const std::uint8_t index = Search(middle(0), middle(1), middle(2));
    cells_[cell] = index;
    return index;
}

}  // namespace Vimbrel
