// Reads sound files and measures what is in them.
#include "measure.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sndfile.h>
#include <stdexcept>

recording listen(const std::filesystem::path &file)
{
    SF_INFO info{};
    SNDFILE *in = sf_open(file.c_str(), SFM_READ, &info);
    if (!in) throw std::runtime_error("no sound in " + file.string());
    const auto width = static_cast<size_t>(info.channels);
    std::vector<double> mixed(static_cast<size_t>(info.frames) * width);
    sf_readf_double(in, mixed.data(), info.frames);
    sf_close(in);
    recording heard{info.format, info.samplerate, std::vector<channel>(width)};
    for (size_t i = 0; i < mixed.size(); ++i) heard.channels[i % width].push_back(mixed[i]);
    return heard;
}

channel part(const channel &x, int rate, double from, double length)
{
    const auto begin = static_cast<size_t>(std::max(0.0, from) * rate);
    const auto size = static_cast<size_t>(length * rate);
    channel result(size, 0.0);
    for (size_t i = 0; i < size && begin + i < x.size(); ++i) result[i] = x[begin + i];
    return result;
}

double peak(const channel &x)
{
    double most = 0;
    for (const double v : x) most = std::max(most, std::abs(v));
    return most;
}

double rms(const channel &x)
{
    return std::sqrt(std::inner_product(x.begin(), x.end(), x.begin(), 0.0) /
                     static_cast<double>(x.size()));
}

double decibels(double linear) { return 20 * std::log10(linear); }

double partial(const channel &x, int rate, double frequency)
{
    double re = 0, im = 0;
    const double size = static_cast<double>(x.size());
    for (size_t i = 0; i < x.size(); ++i) {
        const double t = static_cast<double>(i);
        const double window = 1 - std::cos(2 * M_PI * t / size); // mean 1
        re += window * x[i] * std::cos(2 * M_PI * frequency * t / rate);
        im += window * x[i] * std::sin(2 * M_PI * frequency * t / rate);
    }
    return 2 * std::hypot(re, im) / size;
}

/// Likeness of a channel to itself `lag` frames later, at most 1.
static double likeness(const channel &x, size_t lag)
{
    double together = 0, now = 0, later = 0;
    for (size_t i = 0; i + lag < x.size(); ++i) {
        together += x[i] * x[i + lag];
        now += x[i] * x[i];
        later += x[i + lag] * x[i + lag];
    }
    return together / std::sqrt(now * later + 1e-30);
}

double pitch(const channel &x, int rate, double lowest, double highest)
{
    const auto shortest = static_cast<size_t>(rate / highest);
    std::vector<double> at;
    for (size_t lag = shortest; lag < static_cast<size_t>(rate / lowest); ++lag)
        at.push_back(likeness(x, lag));
    // The first peak near the best: multiples of a period are as alike as the period.
    const double best = *std::max_element(at.begin(), at.end());
    size_t k = 1;
    while (k + 2 < at.size() && (at[k] < 0.95 * best || at[k] < at[k - 1] || at[k] < at[k + 1]))
        ++k;
    const double bend = at[k - 1] - 2 * at[k] + at[k + 1];
    const double shift = bend == 0 ? 0 : 0.5 * (at[k - 1] - at[k + 1]) / bend;
    return rate / (static_cast<double>(shortest + k) + shift);
}

double crossings(const channel &x, int rate)
{
    int count = 0;
    for (size_t i = 1; i < x.size(); ++i) count += (x[i - 1] < 0) != (x[i] < 0);
    return count * static_cast<double>(rate) / static_cast<double>(x.size());
}

double correlation(const channel &a, const channel &b)
{
    const double n = static_cast<double>(a.size());
    const double mean_a = std::accumulate(a.begin(), a.end(), 0.0) / n;
    const double mean_b = std::accumulate(b.begin(), b.end(), 0.0) / n;
    double ab = 0, aa = 0, bb = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        ab += (a[i] - mean_a) * (b[i] - mean_b);
        aa += (a[i] - mean_a) * (a[i] - mean_a);
        bb += (b[i] - mean_b) * (b[i] - mean_b);
    }
    return ab / std::sqrt(aa * bb);
}
