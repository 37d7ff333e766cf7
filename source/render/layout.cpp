// Where the parts of a picture are, and the marks on its axes.
#include "layout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

layout lay_out(int lanes)
{
    constexpr double left = 76, top = 44, gap = 8;
    const double lane_height = std::min(110, 160 / lanes + 20);
    layout l{};
    double y = top;
    for (int k = 0; k < lanes; ++k, y += lane_height)
        l.lanes.push_back({left, y, spectrogram_width, lane_height - gap});
    l.spectrogram = {left, y + gap, spectrogram_width, spectrogram_height};
    const double beside = l.spectrogram.right() + 40;
    l.mean = {beside, l.spectrogram.y, 256, spectrogram_height};
    l.notes = {beside + 54, top, 216, y - top};
    l.width = static_cast<int>(l.mean.right()) + 28;
    l.height = static_cast<int>(l.spectrogram.bottom()) + 62;
    return l;
}

double round_up(double least)
{
    const double decade = std::pow(10, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0})
        if (digit * decade >= least * (1 - 1e-9)) return digit * decade;
    return 10 * decade;
}

std::vector<mark> marks(const axis &a, int most)
{
    const double step = round_up((a.high - a.low) / most);
    const int decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
    std::vector<mark> found;
    for (double k = std::ceil(a.low / step - 1e-9); k * step <= a.high + step * 1e-9; ++k) {
        char label[32];
        const double value = k * step + 0.0; // no minus at 0
        std::snprintf(label, sizeof label, std::abs(a.high) < 1e5 ? "%.*f" : "%.*g",
                      std::abs(a.high) < 1e5 ? decimals : 3, value);
        found.push_back({k * step, label});
    }
    return found;
}
