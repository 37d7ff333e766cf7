// The power of a sound by frequency and time, and its mean over all the time.
#pragma once

#include "timeline.h"

#include <fftw3.h>
#include <memory>
#include <vector>

/// Hann windows of 46 ms: long enough to part the harmonics of a low voice. Powers of channels are
/// added, for samples of opposite signs would cancel; a full-scale sine in one channel has power 1.
class spectrogram {
public:
    /// Frequencies from 0 to `top` Hz in so many rows, at most half the sample rate.
    spectrogram(int channels, int rate, double top, size_t rows, size_t most_columns);

    /// Interleaved frames.
    void add(const std::vector<double> &frames);
    /// Nothing more comes.
    void finish();

    /// The mean power in column and row, the lowest frequency first.
    std::vector<std::vector<double>> columns() const;
    /// The mean power in each row.
    std::vector<double> mean() const;
    /// The time that each column spans; the last may be shorter.
    double column_seconds() const;

private:
    struct powers {
        std::vector<double> rows; // summed over units of time
        powers &operator+=(const powers &other);
    };

    long next_units() const;
    long next_begin() const;
    void analyse();
    void transform(const std::vector<double> &history);
    double row_power(size_t row) const;

    int rate;
    double bin_hz, top;
    size_t row_count;
    long unit, window_length, transform_length;  // frames
    std::vector<double> window, bins;            // bins: powers of the window in hand
    std::vector<std::vector<double>> histories;  // a channel each, from frame `dropped` on
    long dropped = 0, received = 0, elapsed = 0; // elapsed: units that are analysed
    timeline<powers> course;
    std::unique_ptr<double, void (*)(void *)> in;
    std::unique_ptr<fftw_complex, void (*)(void *)> out;
    std::unique_ptr<fftw_plan_s, void (*)(fftw_plan)> plan;
};

/// -300 dB for silence.
double power_decibels(double power);
