// Reads sound files and measures what is in them.
#pragma once

#include <filesystem>
#include <vector>

using channel = std::vector<double>;

struct recording {
    int format = 0;
    int rate = 0;
    std::vector<channel> channels;

    size_t frames() const { return channels[0].size(); }
    double seconds() const { return static_cast<double>(frames()) / rate; }
};

/// Throws when it cannot be opened.
recording listen(const std::filesystem::path &file);

/// A stretch of a channel in seconds; beyond the end there is silence.
channel part(const channel &x, int rate, double from, double length);

double peak(const channel &x);
double rms(const channel &x);
double decibels(double linear);

/// The strength of one frequency, as the amplitude of a sine.
double partial(const channel &x, int rate, double frequency);

/// Fundamental in Hz by autocorrelation, sought between two frequencies.
double pitch(const channel &x, int rate, double lowest, double highest);

/// Zero crossings per second.
double crossings(const channel &x, int rate);

double correlation(const channel &a, const channel &b);
