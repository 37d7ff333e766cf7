// The power of a sound by frequency and time, and its mean over all the time.
#include "spectrogram.h"

#include <algorithm>
#include <cmath>

static constexpr double window_seconds = 2048.0 / 44100;
static constexpr long finest = 16;  // windows start a 16th of their length apart ...
static constexpr long coarsest = 8; // ... and, in long renders, up to 8 such units: half of it

double power_decibels(double power) { return 10 * std::log10(std::max(power, 1e-30)); }

/// Twice the window's length at least: between two bins a peak reads at most 0.4 dB too low.
static long padded(long window_length)
{
    long length = 1;
    while (length < 2 * window_length) length *= 2;
    return length;
}

spectrogram::powers &spectrogram::powers::operator+=(const powers &other)
{
    for (size_t i = 0; i < rows.size(); ++i) rows[i] += other.rows[i];
    return *this;
}

spectrogram::spectrogram(int channels, int sample_rate, double highest, size_t rows,
                         size_t most_columns)
    : rate(sample_rate), top(highest), row_count(rows),
      unit(std::max(1L, std::lround(window_seconds * rate / finest))), window_length(unit * finest),
      transform_length(padded(window_length)), course(most_columns),
      in(fftw_alloc_real(static_cast<size_t>(transform_length)), fftw_free),
      out(fftw_alloc_complex(static_cast<size_t>(transform_length / 2 + 1)), fftw_free),
      plan(fftw_plan_dft_r2c_1d(static_cast<int>(transform_length), in.get(), out.get(),
                                FFTW_ESTIMATE),
           fftw_destroy_plan)
{
    bin_hz = static_cast<double>(rate) / static_cast<double>(transform_length);
    for (long i = 0; i < window_length; ++i)
        window.push_back(0.5 - 0.5 * std::cos(2 * M_PI * (static_cast<double>(i) + 0.5) /
                                              static_cast<double>(window_length)));
    const auto highest_bin = static_cast<size_t>(std::ceil(top / bin_hz)) + 1;
    bins.resize(std::min(highest_bin, static_cast<size_t>(transform_length / 2)) + 1);
    std::fill_n(in.get(), transform_length, 0.0);
    // The middle of a window stands at the middle of its time, so half of the first lies before.
    histories.assign(static_cast<size_t>(channels),
                     std::vector<double>(static_cast<size_t>(window_length / 2)));
}

long spectrogram::next_units() const { return std::min(course.length(), coarsest); }

/// Counted from the start of the silence that goes before the sound, by half a window: so it is
/// also the place of the window's middle in the sound.
long spectrogram::next_begin() const { return elapsed * unit + next_units() * unit / 2; }

void spectrogram::add(const std::vector<double> &frames)
{
    const size_t width = histories.size();
    for (size_t i = 0; i < frames.size(); ++i) histories[i % width].push_back(frames[i]);
    received += static_cast<long>(frames.size() / width);
    while (next_begin() + window_length <= received + window_length / 2) analyse();
    if (const long spent = next_begin() - dropped; spent > window_length) {
        for (auto &history : histories) history.erase(history.begin(), history.begin() + spent);
        dropped += spent;
    }
}

void spectrogram::finish()
{
    for (auto &history : histories)
        history.resize(history.size() + static_cast<size_t>(2 * window_length));
    while (next_begin() < received || !elapsed) analyse();
}

void spectrogram::analyse()
{
    std::fill(bins.begin(), bins.end(), 0.0);
    for (const auto &history : histories) transform(history);
    const long units = next_units();
    powers now;
    for (size_t row = 0; row < row_count; ++row)
        now.rows.push_back(row_power(row) * static_cast<double>(units));
    course.add(now, units);
    elapsed += units;
}

void spectrogram::transform(const std::vector<double> &history)
{
    const double *from = history.data() + (next_begin() - dropped);
    for (size_t i = 0; i < window.size(); ++i) in.get()[i] = window[i] * from[i];
    fftw_execute(plan.get());
    const double to_amplitude = 4 / static_cast<double>(window_length); // the window's mean is 1/2
    for (size_t k = 0; k < bins.size(); ++k) {
        const double re = out.get()[k][0] * to_amplitude, im = out.get()[k][1] * to_amplitude;
        bins[k] += re * re + im * im;
    }
}

/// The greatest in the row's band, so that no narrow peak falls between two rows.
double spectrogram::row_power(size_t row) const
{
    const double rows_per_bin = bin_hz * static_cast<double>(row_count) / top;
    const double low = static_cast<double>(row) / rows_per_bin, high = low + 1 / rows_per_bin;
    const double middle = (low + high) / 2, whole = std::floor(middle);
    const auto below = std::min(static_cast<size_t>(whole), bins.size() - 2);
    double most = bins[below] + (middle - whole) * (bins[below + 1] - bins[below]);
    for (auto k = static_cast<size_t>(std::ceil(low)); k < bins.size(); ++k) {
        if (static_cast<double>(k) >= high) break;
        most = std::max(most, bins[k]);
    }
    return most;
}

std::vector<std::vector<double>> spectrogram::columns() const
{
    std::vector<std::vector<double>> means;
    for (const powers &column : course.columns()) {
        const bool last = &column == &course.columns().back();
        const auto units = static_cast<double>(last ? course.last_length() : course.length());
        means.push_back(column.rows);
        for (double &power : means.back()) power /= units;
    }
    return means;
}

std::vector<double> spectrogram::mean() const
{
    powers all{std::vector<double>(row_count)};
    for (const powers &column : course.columns()) all += column;
    for (double &power : all.rows) power /= static_cast<double>(elapsed);
    return all.rows;
}

double spectrogram::column_seconds() const
{
    return static_cast<double>(course.length() * unit) / rate;
}
