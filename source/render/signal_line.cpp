// Straight lines, computed from the time passed so that long ones do not drift.
#include "signal_line.h"

#include "words.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

static double positive(std::string_view word)
{
    const double ms = number(word);
    if (ms < 0) throw std::invalid_argument("a signal's time is below 0: " + std::string(word));
    return ms;
}

signal_line::signal_line(const std::vector<std::string_view> &words)
{
    if (words.empty()) throw std::invalid_argument("signal needs a number, or off");
    points.push_back({0, number(words[0])});
    if (words.size() % 2 == 0)
        throw std::invalid_argument("signal needs a start, then pairs of target and time in ms");
    for (size_t i = 1; i < words.size(); i += 2) {
        const point from = points.back();
        const point to{from.ms + positive(words[i + 1]), number(words[i])};
        if (to.ms > longest_ms)
            throw std::invalid_argument("a signal's times add up to more than 24 hours");
        if (!std::isfinite((to.value - from.value) * std::max(1.0, to.ms - from.ms)))
            throw std::invalid_argument("a signal's step is beyond all numbers: " +
                                        std::string(words[i]));
        points.push_back(to);
    }
}

double signal_line::at(double ms)
{
    while (next < points.size() && ms >= points[next].ms) ++next;
    if (next == points.size()) return points.back().value;
    const point &from = points[next - 1], &to = points[next];
    return from.value + (to.value - from.value) * (ms - from.ms) / (to.ms - from.ms);
}
