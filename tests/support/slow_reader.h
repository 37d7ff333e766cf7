// A reader of samples of any channel count written the slow way, and what tests of the fast ones
// need.
#pragma once

#include "session.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <random>

constexpr double unwritten_mark = -12345.5;

using wave = std::vector<double>;
using waves = std::vector<wave>; // one per source channel

/// Weight m (0 to 3) at a row's fraction of a frame.
inline float weight(int m, int row)
{
    const double f = row / 256.0, k = -0.16666670143604279;
    switch (m) {
    case 0:
        return static_cast<float>(k * f * (1 - f) * (2 - f));
    case 1:
        return static_cast<float>(0.5 * (1 + f) * (1 - f) * (2 - f));
    case 2:
        return static_cast<float>(0.5 * (1 + f) * f * (2 - f));
    default:
        return static_cast<float>(k * (1 + f) * f * (1 - f));
    }
}

/// One interpolated value of a channel of interleaved frames: whole and fraction of `at` (in
/// 1/65536 frames) choose frames and row.
inline float interpolated(const std::vector<float> &s, long long at, size_t channel = 0,
                          size_t stride = 1)
{
    const double whole = std::floor(static_cast<double>(at) / 65536);
    const auto first = static_cast<size_t>(whole);
    const int row = static_cast<int>((static_cast<double>(at) / 65536 - whole) * 256);
    float sum = weight(0, row) * s.at(first * stride + channel);
    for (size_t m = 1; m < 4; ++m)
        sum += weight(static_cast<int>(m), row) * s.at((first + m) * stride + channel);
    return sum;
}

enum class passage { forward, backward, standing, silent, kept };

/// The reader without a copy of the source, positions counted from the buffer's first frame.
struct slow_reader {
    const std::vector<float> &samples;
    vorb_fogread head;
    size_t channels = 1;
    /// Samples of the last block that lie within the frames meant for it: all of them, unless the
    /// block is longer than the head was told.
    size_t defined = 0;

    passage read(wave &out)
    {
        waves one = {out};
        const passage way = read(one);
        out = one[0];
        return way;
    }

    passage read(waves &out)
    {
        const double old = head.prev_pos, now = head.pos_ms * head.frames_per_ms;
        const double end = static_cast<double>(samples.size() / channels) - 6;
        head.prev_pos = now;
        defined = out[0].size();
        const bool backward = now < old;
        const double d = backward ? old - now : now - old;
        if (std::isnan(d) || (backward ? now < 0 || old >= end : old < 0 || now >= end) ||
            d > head.vs8) {
            for (wave &channel : out) std::fill(channel.begin(), channel.end(), 0.0);
            return passage::silent;
        }
        if (std::trunc(d) + 5 >= 517) return passage::kept;
        const double base = std::trunc(backward ? now - 0.5 : old);
        const double last =
            base + std::trunc(d) + (backward ? 2 : 1); // of the first of four frames
        auto at = static_cast<long long>(base * 65536 + std::trunc((old - base) * 65536));
        const auto step = static_cast<long long>(std::trunc(65536.0 * d * head.vs_inv));
        for (size_t i = 0; i < out[0].size(); ++i) {
            const double whole = std::floor(static_cast<double>(at) / 65536);
            if (whole < base || whole > last) defined = std::min(defined, i);
            for (size_t c = 0; c < channels && i < defined; ++c) {
                const double v = static_cast<double>(interpolated(samples, at, c, channels));
                head.lp_y[c] = out[c][i] = v * head.lp_a - head.lp_y[c] * head.lp_am1;
            }
            head.lp_a *= head.lp_k;
            head.lp_am1 = head.lp_a - 1.0;
            at += backward ? -step : step;
        }
        return backward ? passage::backward : d > 0 ? passage::forward : passage::standing;
    }
};

/// One block through the reader of as many channels as there are outputs.
inline void read_block(vorb_fogread &r, waves &out)
{
    const auto n = static_cast<std::int64_t>(out[0].size());
    if (out.size() == 1) vorb_read(&r, out[0].data(), n);
    else if (out.size() == 2) vorb_read_stereo(&r, out[0].data(), out[1].data(), n);
    else vorb_read_quadro(&r, out[0].data(), out[1].data(), out[2].data(), out[3].data(), n);
}

inline ::testing::AssertionResult same_bits(const wave &a, const wave &b, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        if (std::memcmp(&a[i], &b[i], sizeof a[i]) != 0)
            return ::testing::AssertionFailure()
                   << "frame " << i << ": " << a[i] << ", not " << b[i];
    return ::testing::AssertionSuccess();
}

class reading : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        x = create();
    }

    /// Puts f(i) into the buffer's frame i.
    template <class F>
    void fill(long frames, F f, double rate = 44100)
    {
        fill_channels(
            1, frames, [f](long i, long) { return f(i); }, rate);
    }

    /// Puts f(i, c) into channel c of the buffer's frame i.
    template <class F>
    void fill_channels(long channels, long frames, F f, double rate = 44100)
    {
        samples.clear();
        for (long i = 0; i < frames; ++i)
            for (long c = 0; c < channels; ++c) samples.push_back(static_cast<float>(f(i, c)));
        host::set_buffer("sample1", channels, rate, samples);
    }

    void fill_with_noise(long frames, double rate = 44100, long channels = 1)
    {
        fill_channels(
            channels, frames, [this](long, long) { return uniform(-1, 1); }, rate);
    }

    double uniform(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(random);
    }

    template <class T>
    T any(std::initializer_list<T> choices)
    {
        return choices.begin()[random() % choices.size()];
    }

    /// A head on its way from one frame to another, with its lowpass open.
    vorb_fogread head(double from, double to, double vs = 64) const
    {
        vorb_fogread r{};
        r.bufref = x->inputs.bufref;
        r.vs_inv = 1 / vs;
        r.vs8 = 8 * vs;
        r.prev_pos = from;
        r.pos_ms = to;
        r.frames_per_ms = r.lp_a = r.lp_k = 1;
        return r;
    }

    /// One block, from an output that says whether it was written.
    static wave read(vorb_fogread &r, long n = 64)
    {
        wave out(static_cast<size_t>(n), unwritten_mark);
        vorb_read(&r, out.data(), n);
        return out;
    }

    static bool silent(const wave &out) { return same_bits(out, wave(out.size()), out.size()); }
    static bool untouched(const wave &out)
    {
        return same_bits(out, wave(out.size(), unwritten_mark), out.size());
    }
    static bool sounds(const wave &out) { return !silent(out) && !untouched(out); }

    /// A block through reader and slow reader; both go on from there.
    passage compare(vorb_fogread &r, slow_reader &slow, waves &heard, waves &expected)
    {
        read_block(r, heard);
        const passage way = slow.read(expected);
        for (size_t c = 0; c < heard.size(); ++c) {
            EXPECT_TRUE(same_bits(heard[c], expected[c], slow.defined)) << "channel " << c;
            if (slow.defined == heard[c].size()) continue;
            for (const double v : heard[c]) EXPECT_LT(std::fabs(v), 10); // free, but of the sample
            slow.head.lp_y[c] = r.lp_y[c];
            expected[c] = heard[c];
        }
        EXPECT_EQ(std::memcmp(&r, &slow.head, sizeof r), 0) << "the head's state differs";
        return way;
    }

    std::mt19937 random{20240607};
    std::vector<float> samples;
    vorb *x = nullptr;
};
