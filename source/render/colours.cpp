// The colours of levels.
#include "colours.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

// From black through purple and orange to a pale yellow, in steps of equal lightness: who sees no
// colours, or prints without, still sees the order.
static const unsigned char steps[][3] = {{0, 0, 4},      {28, 16, 68},    {79, 18, 123},
                                         {129, 37, 129}, {181, 54, 122},  {229, 80, 100},
                                         {251, 135, 97}, {254, 194, 135}, {252, 253, 191}};

colour level_colour(double part)
{
    constexpr size_t last = std::size(steps) - 1;
    const double place = std::clamp(part, 0.0, 1.0) * static_cast<double>(last);
    const size_t below = std::min(static_cast<size_t>(place), last - 1);
    const double above = place - static_cast<double>(below);
    const auto mixed = [&](int i) {
        return (steps[below][i] * (1 - above) + steps[below + 1][i] * above) / 255;
    };
    return {mixed(0), mixed(1), mixed(2)};
}
