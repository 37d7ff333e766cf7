// A signal typed into a score: a constant, or straight lines from target to target, then held.
#pragma once

#include <string_view>
#include <vector>

class signal_line {
public:
    /// From the words after `signal`: a start, then pairs of target and time in ms.
    /// Throws std::invalid_argument with the reason.
    explicit signal_line(const std::vector<std::string_view> &words);

    /// The value `ms` after the start. Calls must not go back in time.
    double at(double ms);

    /// When the last target is reached.
    double length_ms() const { return points.back().ms; }

private:
    struct point {
        double ms, value;
    };
    std::vector<point> points;
    size_t next = 1;
};
