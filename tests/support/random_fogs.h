// Throwing the dice for a pool of fogs in the midst of their lives, and for the buffers they read.
#pragma once

#include "dice.h"
#include "k_vorb.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

/// What is thrown. The rest stays plain: a fog that holds, its lowpass open, under a head that
/// moves forward in one buffer.
struct thrown {
    bool counts = false, heads = false, lowpass = false, numbers = false, buffers = false;
};

class fog_dice : public dice {
public:
    fog_dice(std::uint64_t seed, const thrown &what) : dice(seed), the(what) {}

    /// Interleaved noise, in which there may be specks of what is hardly a number.
    std::vector<float> samples(long channels)
    {
        constexpr float inf = std::numeric_limits<float>::infinity();
        constexpr float nan = std::numeric_limits<float>::quiet_NaN();
        static const std::vector<float> specks = {nan,    inf,    -inf,    1e38f,
                                                  -1e38f, 1e-40f, -1e-42f, -0.0f};
        enum { none, few, woven, all };
        const auto spread = the.numbers ? one_of<int>({none, none, none, few, few, woven, all}) : 0;
        const float usual = one_of(specks);
        std::vector<float> made;
        for (long i = 0; i < frames; ++i)
            for (long c = 0; c < channels; ++c) {
                float v = number(-1, 1);
                if (spread == woven) v = i % 3 == 0 ? 0.5f : -0.5f;
                if (spread == all || (spread == woven && i % 3 == 1)) v = usual;
                if (spread == few && chance(0.002)) v = one_of(specks);
                made.push_back(v);
            }
        return made;
    }

    /// For blocks of n frames.
    vorb_fog fog(const std::vector<t_buffer_ref *> &refs, long n)
    {
        vorb_fog f{};
        for (double &g : f.gains) g = value(-1.5, 1.5);
        f.bw_decay = chance(0.3) ? 1 : value(0.99, 1);
        f.amp = value(0, 1.5);
        throw_curve(f.tex_cos2, f.tex_y1, f.tex_y2);
        throw_curve(f.atten_cos2, f.atten_y1, f.atten_y2);
        f.sustain = 1 << 30;
        // Most of a pool only hold, or none: a row of lanes is played faster where all do.
        if (the.counts && chance(busy)) {
            f.delay = chance(0.5) ? 0 : count(n);
            f.tex_count = count(n);
            f.sustain = count(n);
            f.atten_count = count(n);
        }
        // Of several buffers one is read by many neighbours, or by none.
        if (chance(restless) || !last_ref) last_ref = one_of(refs);
        f.reader = head(n);
        f.reader.bufref = last_ref;
        throw_lowpass(f.reader);
        return f;
    }

    static constexpr long frames = 3000; // of every buffer

private:
    /// In this span, or hardly a number.
    double value(double low, double high)
    {
        constexpr double inf = std::numeric_limits<double>::infinity();
        if (!the.numbers || !chance(odd)) return between(low, high);
        return one_of<double>({0, -0.0, 1, -1, inf, -inf, std::numeric_limits<double>::quiet_NaN(),
                               1e308, 1e-300, 1e-310});
    }

    /// Of samples: none, or some that end anywhere in this block or a later one.
    std::int64_t count(long n)
    {
        return one_of<std::int64_t>({-3, 0, 0, 1, index(std::size_t(n)), index(std::size_t(n)),
                                     index(std::size_t(n)) / 8 * 8, n - 1, n, n + 1,
                                     index(std::size_t(4 * n)), std::int64_t(1) << 40});
    }

    void throw_curve(double &cos2, double &last, double &before)
    {
        const double step = between(0, 0.1), phase = between(-3.2, 3.2);
        cos2 = chance(odd) ? value(-2, 2) : 2 * std::cos(step);
        last = value(-0.5, 0.5);
        before = chance(odd) ? value(-0.5, 0.5) : 0.5 * std::cos(phase);
    }

    vorb_fogread head(long n)
    {
        vorb_fogread r{};
        long size = n; // of the vectors of the time when it began
        if (the.heads && chance(0.2))
            size = one_of<long>({8, 64, n - index(std::size_t(n / 4 + 1)), n + 1, 2 * n});
        r.vs_inv = 1 / double(size);
        r.vs8 = 8 * double(size);
        r.frames_per_ms = one_of<double>({1, 44.1});
        const double readable = std::min(8.0, 510 / double(n)); // longer blocks are not written
        double speed = between(0, readable / 4), from = between(10, frames / 2.);
        if (the.heads) {
            const double v = between(-1, 1);
            speed = one_of<double>({0, 1, -1, readable, v * readable, v * readable, v * readable,
                                    0.999 * readable, -8, 8, v * 8.1});
            from = between(-40, frames + 40);
            if (chance(0.5)) from = std::floor(from);
        }
        r.prev_pos = from;
        r.pos_ms = (from + speed * double(n)) / r.frames_per_ms;
        r.pos_step_ms = speed * double(n) / r.frames_per_ms;
        if (the.heads && chance(0.1))
            r.prev_pos = r.pos_ms - r.pos_step_ms;           // as a first block does
        if (the.heads && chance(0.02)) r.vs_inv = r.vs8 = 0; // begun before audio started
        if (the.numbers && chance(odd)) r.prev_pos = value(0, 1e19);
        if (the.numbers && chance(odd)) r.pos_ms = value(-1e300, 1e300);
        return r;
    }

    void throw_lowpass(vorb_fogread &r)
    {
        const bool open = !the.lowpass || chance(closed_less);
        r.lp_a = open ? 1 : value(0, 1);
        r.lp_am1 = the.lowpass && chance(0.1) ? one_of<double>({0, -0.5}) : r.lp_a - 1;
        r.lp_k = open || chance(0.5) ? 1 : value(0.99, 1);
        if (open && the.lowpass && chance(0.1)) r.lp_k = 0.999; // open so far
        for (double &y : r.lp_y) y = value(-1, 1);
    }

    const thrown the;
    // One throw for a whole pool; few odd numbers, else all that is heard is none.
    const double odd = one_of<double>({0.0005, 0.005, 0.05});
    const double busy = one_of<double>({0.02, 0.2, 1}), restless = one_of<double>({0.05, 0.3, 1}),
                 closed_less = one_of<double>({0, 0.5, 0.9});
    t_buffer_ref *last_ref = nullptr;
};
