// Where the parts of a picture are, and the marks on its axes.
#pragma once

#include <string>
#include <vector>

struct box {
    double x, y, width, height;
    double right() const { return x + width; }
    double bottom() const { return y + height; }
};

/// In pixels. The spectrogram has one row of pixels for each row of its frequencies.
struct layout {
    int width, height;
    std::vector<box> lanes; // waveforms, one above the other
    box spectrogram, mean, notes;
};

constexpr int spectrogram_width = 800, spectrogram_height = 400;

layout lay_out(int lanes);

/// A straight axis from a value at one place to a value at another.
struct axis {
    double low, high; // values
    double from, to;  // pixels
    const char *title;
    double place(double value) const { return from + (value - low) / (high - low) * (to - from); }
};

/// The least of 1, 2, 5, 10, 20 ... and their tenths that is not below `least`.
double round_up(double least);

struct mark {
    double value;
    std::string label;
};

/// At most about so many marks at round values.
std::vector<mark> marks(const axis &a, int most);
