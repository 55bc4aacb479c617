// Boxes of the colour space are cut where that lowers the variance most, then the colours move to
// the means of what is nearest to them. Both work on a histogram of cells, so that their cost does
// not depend on the picture's size.
#include "platform/linux/wic/palette/ColorQuantizer.h"

#include <array>
#include <cmath>

#include "platform/linux/wic/Premultiplied.h"
#include "platform/linux/wic/palette/NearestColor.h"

namespace Vimbrel {

namespace {

constexpr int cell_bits = 5;  // per channel
constexpr int side = (1 << cell_bits) + 1;
constexpr std::size_t cell_count = std::size_t{1} << (3 * cell_bits);
constexpr int refinements = 2;
constexpr int half_alpha = 128;

constexpr std::size_t CellOf(int b, int g, int r) {
    constexpr int shift = 8 - cell_bits;
    return static_cast<std::size_t>((r >> shift) << (2 * cell_bits) | (g >> shift) << cell_bits |
                                    b >> shift);
}

constexpr WICColor Opaque(int b, int g, int r) {
    return 0xFF000000u | static_cast<WICColor>(r) << 16 | static_cast<WICColor>(g) << 8 |
           static_cast<WICColor>(b);
}

// Sums over pixels: how many, their channels and their squared lengths.
struct Sums {
    std::uint64_t pixels = 0;
    std::uint64_t b = 0;
    std::uint64_t g = 0;
    std::uint64_t r = 0;
    std::uint64_t squares = 0;

    void Add(const Sums& other) {
        pixels += other.pixels;
        b += other.b;
        g += other.g;
        r += other.r;
        squares += other.squares;
    }
    void Subtract(const Sums& other) {
        pixels -= other.pixels;
        b -= other.b;
        g -= other.g;
        r -= other.r;
        squares -= other.squares;
    }
    // What the mean explains of the squares. `pixels` is not 0.
    double Explained() const {
        const auto square = [](std::uint64_t value) {
            return static_cast<double>(value) * static_cast<double>(value);
        };
        return (square(b) + square(g) + square(r)) / static_cast<double>(pixels);
    }
    double Variance() const {
        return pixels == 0 ? 0.0 : static_cast<double>(squares) - Explained();
    }
    WICColor Mean() const {
        const auto mean = [this](std::uint64_t sum) {
            return static_cast<int>((sum + pixels / 2) / pixels);
        };
        return Opaque(mean(b), mean(g), mean(r));
    }
};

// The colours of a picture that has few. An open hash with a bound, which gives up beyond it.
class FewColors {
public:
    explicit FewColors(std::size_t limit) : limit_(limit) {}

    // False once there are too many.
    bool Add(WICColor color) {
        std::size_t slot = (color * 0x9E3779B1u) >> (32 - slot_bits);
        while (slots_[slot] != 0 && slots_[slot] != color) slot = (slot + 1) & (slots_.size() - 1);
        if (slots_[slot] == color) return true;
        if (colors_.size() == limit_) return false;
        slots_[slot] = color;
        colors_.push_back(color);
        return true;
    }
    std::vector<WICColor> Take() { return std::move(colors_); }

private:
    static constexpr int slot_bits = 10;

    std::size_t limit_;
    std::array<WICColor, std::size_t{1} << slot_bits> slots_{};  // opaque colours are never 0
    std::vector<WICColor> colors_;
};

// Calls use(b, g, r) for each pixel that counts until it returns false.
template <class Use>
void ForEachColor(const std::uint8_t* pixels, std::size_t pixel_count, bool straight, Use use) {
    for (const std::uint8_t* p = pixels; p != pixels + pixel_count * 4; p += 4) {
        int b = p[0];
        int g = p[1];
        int r = p[2];
        if (straight && p[3] != 255) {
            if (p[3] < half_alpha) continue;
            b = UndoPremultiply(b, p[3]);
            g = UndoPremultiply(g, p[3]);
            r = UndoPremultiply(r, p[3]);
        }
        if (!use(b, g, r)) return;
    }
}

struct Box {
    std::array<int, 3> low{};   // red, green, blue; exclusive
    std::array<int, 3> high{};  // inclusive
    double variance = 0.0;
};

class BoxCutter {
public:
    // `cells` by CellOf.
    explicit BoxCutter(const std::vector<Sums>& cells)
        : cumulated_(std::size_t{side} * side * side) {
        for (int r = 1; r < side; ++r) {
            std::array<Sums, side> plane{};
            for (int g = 1; g < side; ++g) {
                Sums line;
                for (int b = 1; b < side; ++b) {
                    line.Add(cells[static_cast<std::size_t>(
                        ((r - 1) << cell_bits | (g - 1)) << cell_bits | (b - 1))]);
                    plane[static_cast<std::size_t>(b)].Add(line);
                    Sums& sum = cumulated_[Index(r, g, b)];
                    sum = cumulated_[Index(r - 1, g, b)];
                    sum.Add(plane[static_cast<std::size_t>(b)]);
                }
            }
        }
    }

    std::vector<WICColor> Cut(std::size_t count) {
        std::vector<Box> boxes(1);
        boxes[0].high = {side - 1, side - 1, side - 1};
        boxes[0].variance = SumOf(boxes[0]).Variance();
        while (boxes.size() < count) {
            std::size_t widest = 0;
            for (std::size_t i = 1; i < boxes.size(); ++i) {
                if (boxes[i].variance > boxes[widest].variance) widest = i;
            }
            if (boxes[widest].variance <= 0.0) break;
            Box other;
            if (Split(boxes[widest], other)) {
                boxes.push_back(other);
            } else {
                boxes[widest].variance = 0.0;  // a single cell
            }
        }
        std::vector<WICColor> colors;
        for (const Box& box : boxes) {
            const Sums sum = SumOf(box);
            if (sum.pixels != 0) colors.push_back(sum.Mean());
        }
        return colors;
    }

private:
    static std::size_t Index(int r, int g, int b) {
        return static_cast<std::size_t>((r * side + g) * side + b);
    }

    Sums SumOf(const Box& box) const {
        const auto& [r0, g0, b0] = box.low;
        const auto& [r1, g1, b1] = box.high;
        Sums sum = cumulated_[Index(r1, g1, b1)];
        sum.Add(cumulated_[Index(r1, g0, b0)]);
        sum.Add(cumulated_[Index(r0, g1, b0)]);
        sum.Add(cumulated_[Index(r0, g0, b1)]);
        sum.Subtract(cumulated_[Index(r1, g1, b0)]);
        sum.Subtract(cumulated_[Index(r1, g0, b1)]);
        sum.Subtract(cumulated_[Index(r0, g1, b1)]);
        sum.Subtract(cumulated_[Index(r0, g0, b0)]);
        return sum;
    }

    // Cuts `box` where the two parts explain most; false if it has no two parts with pixels.
    bool Split(Box& box, Box& other) const {
        const Sums whole = SumOf(box);
        double best = -1.0;
        Box first;
        Box second;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (int cut = box.low[axis] + 1; cut < box.high[axis]; ++cut) {
                Box lower = box;
                lower.high[axis] = cut;
                const Sums low_sum = SumOf(lower);
                if (low_sum.pixels == 0) continue;
                if (low_sum.pixels == whole.pixels) break;
                Sums high_sum = whole;
                high_sum.Subtract(low_sum);
                const double explained = low_sum.Explained() + high_sum.Explained();
                if (explained <= best) continue;
                best = explained;
                first = lower;
                first.variance = low_sum.Variance();
                second = box;
                second.low[axis] = cut;
                second.variance = high_sum.Variance();
            }
        }
        if (best < 0.0) return false;
        box = first;
        other = second;
        return true;
    }

    std::vector<Sums> cumulated_;
};

// Moves each colour to the mean of the cells nearest to it.
void Refine(const std::vector<Sums>& cells, std::vector<WICColor>& colors) {
    NearestColor nearest(colors);
    std::vector<Sums> groups(colors.size());
    for (const Sums& cell : cells) {
        if (cell.pixels == 0) continue;
        const WICColor mean = cell.Mean();
        groups[nearest.Approximate(mean & 0xFF, mean >> 8 & 0xFF, mean >> 16 & 0xFF)].Add(cell);
    }
    for (std::size_t i = 0; i < colors.size(); ++i) {
        if (groups[i].pixels != 0) colors[i] = groups[i].Mean();
    }
}

}  // namespace

std::vector<WICColor> QuantizeColors(const std::uint8_t* pixels, std::size_t pixel_count,
                                     UINT count, bool straight) {
    FewColors few(count);
    bool fits = true;
    ForEachColor(pixels, pixel_count, straight,
                 [&](int b, int g, int r) { return fits = few.Add(Opaque(b, g, r)); });
    if (fits) return few.Take();

    std::vector<Sums> cells(cell_count);
    ForEachColor(pixels, pixel_count, straight, [&](int b, int g, int r) {
        Sums& cell = cells[CellOf(b, g, r)];
        ++cell.pixels;
        cell.b += static_cast<std::uint64_t>(b);
        cell.g += static_cast<std::uint64_t>(g);
        cell.r += static_cast<std::uint64_t>(r);
        cell.squares += static_cast<std::uint64_t>(b * b + g * g + r * r);
        return true;
    });
    std::vector<WICColor> colors = BoxCutter(cells).Cut(count);
    for (int i = 0; i < refinements; ++i) Refine(cells, colors);
    return colors;
}

}  // namespace Vimbrel
