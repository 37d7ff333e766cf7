// What the control tests share: an instance whose inputs all differ from what messages set, the
// slow reading and checking of a number, and values around every bound.
#pragma once

#include "session.h"

#include <cstdio>
#include <cstring>
#include <limits>

constexpr double open_end = 9.999999680285692e37; // the single-precision number nearest to 1e38
constexpr float up_to_nyquist = -1; // as an upper bound: half the sample rate, in single precision

struct range {
    const char *label;
    float low, high, fallback;
};

struct rate {
    double hz;
    long vector;
    bool audio; // started, so that the rate is the host's double and not a widened float
};

inline void PrintTo(const rate &r, std::ostream *out)
{
    *out << r.hz << " Hz, " << r.vector << (r.audio ? ", audio on" : ", audio off");
}

const rate rates[] = {{44100, 64, false},
                      {44100, 64, true},
                      {47952.047952047952, 16, false},
                      {47952.047952047952, 16, true},
                      {8000, 512, true}};

class control : public session {
protected:
    using lines = std::vector<std::string>;

    /// An instance of layout 2 with eight fogs, its table set and no field at a usual value.
    vorb *varied(const rate &r = {44100, 64, false})
    {
        host::set_audio(r.hz, r.vector);
        vorb *x = create("2 start 8 7 2 100 0.5 3 50 20 0.5");
        if (r.audio) host::start_audio();
        console(); // a large vector is reported
        x->inputs.gain = 0.25;
        x->inputs.autoenv_max = 0.125;
        x->inputs.lp2 = 2;
        x->inputs.phase = 5;
        for (int k = 0; k < vorb_slots; ++k) x->inputs.amps[k] = 0.5 + k;
        forget(x);
        return x;
    }

    /// Puts the two flags back to where messages move them from.
    static void forget(vorb *x)
    {
        x->inputs.changed = 0;
        x->inputs.debatt_all = 1;
    }

    /// Console lines since the last call; each is an error and names the object.
    static lines complaints(vorb *x)
    {
        lines texts;
        for (const host::line &row : host::take_console()) {
            EXPECT_TRUE(row.error) << row.text;
            EXPECT_EQ(row.object, object(x)) << row.text;
            texts.push_back(row.text);
        }
        return texts;
    }

    static std::string number_expected() { return "k.vorb~: expected number argument"; }

    static std::string too_few(const std::string &selector)
    {
        return "k.vorb~: insufficient arguments for " + selector + " message";
    }

    static std::string out_of_range(const std::string &label, double v, double low, double high,
                                    double fallback)
    {
        char text[300];
        std::snprintf(text, sizeof text,
                      "k.vorb~: parameter '%s' (%.2e) out of range [%.2e .. %.2e] - set to %.2e",
                      label.c_str(), v, low, high, fallback);
        return text;
    }

    /// What is read from an argument, in single precision.
    static float read(const t_atom &given, lines &said)
    {
        if (given.a_type == A_FLOAT) return narrow(given.a_w.w_float);
        if (given.a_type == A_LONG) return static_cast<float>(given.a_w.w_long);
        said.push_back(number_expected());
        return 0;
    }

    static float narrow(double v)
    {
        if (std::fabs(v) < 1e39) return static_cast<float>(v);
        return std::isnan(v)
                   ? std::numeric_limits<float>::quiet_NaN()
                   : std::copysign(std::numeric_limits<float>::infinity(), float(v > 0) - 0.5f);
    }

    static float check(const vorb *x, const range &r, float v, lines &said)
    {
        const float high = bound(x, r);
        if (std::isnan(v) || (r.low <= v && v <= high)) return v;
        said.push_back(
            out_of_range(r.label, double(v), double(r.low), double(high), double(r.fallback)));
        return r.fallback;
    }

    static float bound(const vorb *x, const range &r)
    {
        return r.high == up_to_nyquist ? static_cast<float>(x->inputs.sr / 2) : r.high;
    }

    /// Ints, floats and symbols: ordinary ones, the bounds, what lies just beyond, what is no
    /// number.
    static host::atoms values_around(float low, float high)
    {
        constexpr float inf = std::numeric_limits<float>::infinity();
        host::atoms values;
        for (const double v : {0.0,
                               -0.0,
                               0.1,
                               0.5,
                               1.0,
                               1.5,
                               440.25,
                               -1.0,
                               -0.5,
                               16777217.0,
                               1e-46,
                               -1e-46,
                               double(low),
                               double(high),
                               double(std::nextafter(low, -inf)),
                               double(std::nextafter(high, inf)),
                               double(high) * (1 + 1e-12), // rounds to the bound
                               3e38,
                               -3e38,
                               1e39,
                               -1e39,
                               1e300,
                               -1e300,
                               double(inf),
                               -double(inf),
                               std::numeric_limits<double>::quiet_NaN()})
            values.push_back(host::atom(v));
        using whole = std::numeric_limits<t_atom_long>;
        for (const t_atom_long v :
             {t_atom_long{0}, t_atom_long{1}, t_atom_long{3}, t_atom_long{-1}, t_atom_long{-3},
              t_atom_long{16777217}, whole::max(), whole::min()})
            values.push_back(host::atom(v));
        for (const char *word : {"foo", "", "5", "inf"}) values.push_back(host::atom(word));
        return values;
    }

    /// Places in words of 64 bits at which two records differ; a NaN is like any other.
    static std::vector<std::size_t> differences(const inputs &a, const inputs &b)
    {
        static_assert(sizeof(inputs) % sizeof(double) == 0);
        std::vector<std::size_t> places;
        for (std::size_t k = 0; k < sizeof(inputs) / sizeof(double); ++k) {
            double one, other;
            std::memcpy(&one, reinterpret_cast<const char *>(&a) + k * sizeof one, sizeof one);
            std::memcpy(&other, reinterpret_cast<const char *>(&b) + k * sizeof one, sizeof one);
            const bool same = std::memcmp(&one, &other, sizeof one) == 0 ||
                              (std::isnan(one) && std::isnan(other));
            if (!same) places.push_back(k);
        }
        return places;
    }
};
