// Sines, and how much of a sound is one.
#pragma once

#include <cmath>
#include <numbers>
#include <vector>

namespace Vimbrel::test {

inline double Sine(double frequency, double rate, double frame) {
    return std::sin(2 * std::numbers::pi * frequency / rate * frame);
}

struct ToneFit {
    double amplitude = 0;
    double snr_db = 0;  // everything else counts as noise
};

// The least-squares sine of that frequency. Sine and cosine are not orthogonal to 90 dB: the normal
// equations are solved whole.
inline ToneFit FitTone(const std::vector<double>& sound, double frequency, double rate) {
    double ss = 0, cc = 0, sc = 0, sx = 0, cx = 0, xx = 0;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double phase = 2 * std::numbers::pi * frequency / rate * static_cast<double>(i);
        const double s = std::sin(phase), c = std::cos(phase), x = sound[i];
        ss += s * s, cc += c * c, sc += s * c, sx += s * x, cx += c * x, xx += x * x;
    }
    const double determinant = ss * cc - sc * sc;
    const double a = (sx * cc - cx * sc) / determinant;
    const double b = (cx * ss - sx * sc) / determinant;
    const double tone = a * sx + b * cx;
    return {std::hypot(a, b), 10 * std::log10(tone / (xx - tone))};
}

}  // namespace Vimbrel::test
