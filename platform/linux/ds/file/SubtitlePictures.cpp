#include "platform/linux/ds/file/SubtitlePictures.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Vimbrel {

namespace {

using Part = SubtitlePictures::Part;

constexpr LONGLONG per_millisecond = 10'000;
constexpr LONGLONG without_end = std::numeric_limits<LONGLONG>::max();
constexpr std::uint32_t no_end = UINT32_MAX;  // of libavcodec
// Packets are read a little ahead; more than this is no film.
constexpr std::size_t most_shown_bytes = std::size_t{64} << 20;

Part PartOf(const AVSubtitleRect& rect) {
    Part part{rect.x, rect.y, rect.w, rect.h, {}};
    part.pixels.resize(static_cast<std::size_t>(rect.w) * static_cast<std::size_t>(rect.h) * 4);
    const auto* const palette = reinterpret_cast<const std::uint32_t*>(rect.data[1]);
    auto* to = part.pixels.data();
    for (int y = 0; y < rect.h; ++y) {
        const std::uint8_t* const row = rect.data[0] + std::ptrdiff_t{y} * rect.linesize[0];
        for (int x = 0; x < rect.w; ++x, to += 4) {
            const std::uint32_t color = palette[row[x]];
            for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(color >> (8 * i));
        }
    }
    return part;
}

bool IsPicture(const AVSubtitleRect& rect) {
    constexpr int largest = 16'384;
    return rect.type == SUBTITLE_BITMAP && rect.data[0] && rect.data[1] && rect.w > 0 &&
           rect.h > 0 && rect.w <= largest && rect.h <= largest && std::abs(rect.x) <= largest &&
           std::abs(rect.y) <= largest;
}

// Changes the length of rows. Rows become columns, so that two calls change both directions. Four
// values per pixel.
std::vector<float> ResizeRows(const std::vector<float>& from, int width, int height, int to_width) {
    std::vector<float> to(static_cast<std::size_t>(to_width) * height * 4);
    const double step = static_cast<double>(width) / to_width;
    const double reach = std::max(step, 1.0);
    for (int x = 0; x < to_width; ++x) {
        const double center = (x + 0.5) * step - 0.5;
        const int first = std::max(0, static_cast<int>(std::ceil(center - reach)));
        const int last = std::min(width - 1, static_cast<int>(std::floor(center + reach)));
        float* const column = to.data() + static_cast<std::size_t>(x) * height * 4;
        double whole = 0;
        for (int i = first; i <= last; ++i) whole += 1 - std::abs(i - center) / reach;
        for (int i = first; i <= last; ++i) {
            const auto weight = static_cast<float>((1 - std::abs(i - center) / reach) / whole);
            for (int y = 0; y < height; ++y) {
                const float* const pixel =
                    from.data() + (static_cast<std::size_t>(y) * width + i) * 4;
                for (int c = 0; c < 4; ++c) column[y * 4 + c] += weight * pixel[c];
            }
        }
    }
    return to;
}

// Colours count as much as they cover, so that those of invisible pixels do not come in.
Part Stretched(const Part& part, double stretch_x, double stretch_y) {
    const auto places = [](int at, int length, double stretch, int& to_length) {
        const int first = static_cast<int>(std::lround(at * stretch));
        to_length = std::max(1, static_cast<int>(std::lround((at + length) * stretch)) - first);
        return first;
    };
    Part to;
    to.x = places(part.x, part.width, stretch_x, to.width);
    to.y = places(part.y, part.height, stretch_y, to.height);
    std::vector<float> values(part.pixels.begin(), part.pixels.end());
    for (std::size_t i = 0; i < values.size(); i += 4) {
        for (std::size_t c = 0; c < 3; ++c) values[i + c] *= values[i + 3] / 255;
    }
    values = ResizeRows(values, part.width, part.height, to.width);
    values = ResizeRows(values, part.height, to.width, to.height);
    to.pixels.resize(values.size());
    for (std::size_t i = 0; i < values.size(); i += 4) {
        const float opacity = values[i + 3];
        for (std::size_t c = 0; c < 4; ++c) {
            const float value = c == 3 || opacity <= 0 ? opacity : values[i + c] * 255 / opacity;
            to.pixels[i + c] = static_cast<std::uint8_t>(std::lround(std::min(value, 255.0F)));
        }
    }
    return to;
}

}  // namespace

std::size_t SubtitlePictures::Bytes() const {
    std::size_t bytes = 0;
    for (const Shown& shown : shown_) {
        for (const Part& part : shown.parts) bytes += part.pixels.size();
    }
    return bytes;
}

void SubtitlePictures::Add(const AVSubtitle& subtitle, int canvas_width, int canvas_height,
                           LONGLONG start, LONGLONG duration) {
    Shown shown{start + subtitle.start_display_time * per_millisecond,
                without_end,
                canvas_width,
                canvas_height,
                {}};
    const std::uint32_t end = subtitle.end_display_time;
    if (end != 0 && end != no_end)
        shown.end = start + end * per_millisecond;
    else if (duration > 0)
        shown.end = start + duration;

    if (Bytes() > most_shown_bytes) return;
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
        if (IsPicture(*subtitle.rects[i])) shown.parts.push_back(PartOf(*subtitle.rects[i]));
    }
    const auto place =
        std::upper_bound(shown_.begin(), shown_.end(), shown.start,
                         [](LONGLONG time, const Shown& other) { return time < other.start; });
    shown_.insert(place, std::move(shown));
}

void SubtitlePictures::Fit(Shown& shown, int width, int height) {
    if (shown.canvas_width <= 0 || shown.canvas_height <= 0 ||
        (shown.canvas_width == width && shown.canvas_height == height))
        return;
    const double stretch_x = static_cast<double>(width) / shown.canvas_width;
    const double stretch_y = static_cast<double>(height) / shown.canvas_height;
    for (Part& part : shown.parts) part = Stretched(part, stretch_x, stretch_y);
    shown.canvas_width = width;
    shown.canvas_height = height;
}

void SubtitlePictures::Draw(LONGLONG time, const MaskPainter& painter, std::uint8_t* picture,
                            std::int64_t size) {
    // Rounded: a picture whose time is a fraction below the subtitle's shows it.
    const LONGLONG now = time + per_millisecond / 2;
    while (shown_.size() > 1 && shown_[1].start <= now) shown_.pop_front();
    if (shown_.empty() || now < shown_[0].start || now >= shown_[0].end) return;
    Fit(shown_[0], painter.Width(), painter.Height());
    for (const Part& part : shown_[0].parts) {
        painter.Draw(ColorPicture{part.pixels.data(), part.width * 4, part.x, part.y, part.width,
                                  part.height},
                     picture, size);
    }
}

}  // namespace Vimbrel
