// Draws what was seen of a sound: waveforms, spectrogram, mean spectrum.
#pragma once

#include "canvas.h"
#include "spectrogram.h"
#include "timeline.h"

#include <string>
#include <vector>

/// The least and the greatest sample of a stretch of time.
struct extremes {
    double low, high;
    extremes &operator+=(const extremes &other);
};

struct caption {
    std::string title, settings;
    std::vector<std::string> lane_names; // a channel each
};

struct sight {
    caption words;
    double from, to; // seconds
    double top;      // Hz
    int rate;
    std::vector<timeline<extremes>> lanes;
    spectrogram spectrum;
};

canvas draw(const sight &seen);

/// What an axis of levels spans, in dB.
struct decibel_range {
    double low, high;
};

/// Down from the loudest, rounded up to a ten.
decibel_range level_range(double loudest_power);
