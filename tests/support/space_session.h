// The spatial messages written out slowly: what each argument must be, and the slots that follow,
// from sines and roots instead of tables.
#pragma once

#include "control_session.h"

namespace slow {

/// Truncated toward zero, then wrapped to 0 ... size - 1; what has no 64-bit integer is 0.
inline int wrapped(double v, int size)
{
    if (!(std::fabs(v) < 0x1p63)) return 0;
    const double r = std::fmod(std::trunc(v), size);
    return static_cast<int>(r < 0 ? r + size : r);
}

inline double sine_lobe(int i, int start, int quarter)
{
    if (i < start || i >= start + 2 * quarter) return 0;
    return std::sin(double(i - start) / quarter * 1.5707963267948966);
}

inline double root_lobe(int i, int start, int quarter)
{
    if (i < start || i >= start + 2 * quarter) return 0;
    const int middle = start + quarter;
    return i < middle ? std::sqrt(double(i - start) / quarter)
                      : std::sqrt(1 - double(i - middle) / quarter);
}

/// The gain of a loudspeaker that faces 180 degrees.
inline double speaker(double degrees)
{
    return sine_lobe(wrapped(degrees * 2.8444444444444446, 1024), 256, 256);
}

/// What the ring of eight reads: a sine lobe, a root lobe, and the large sine lobe.
inline double ring(int i)
{
    if (i < 1024) return sine_lobe(i, 256, 256);
    if (i < 2048) return root_lobe(i - 1024, 256, 256);
    return sine_lobe(i - 2048, 12288, 4096);
}

inline void pan(k_shared<double> *slots, double amp, float p)
{
    const float h = 45.0f * p, u0 = 225.0f + h, u1 = 135.0f + h;
    slots[0] = speaker(double(u0)) * amp;
    slots[1] = speaker(double(u1)) * amp;
    slots[2] = slots[1];
    slots[3] = slots[0];
}

inline void angle(k_shared<double> *slots, double amp, float a)
{
    const double offsets[] = {225, 135, 45, -45};
    for (int k = 0; k < 4; ++k) slots[k] = speaker(double(a) + offsets[k]) * amp;
}

inline void pan8(k_shared<double> *slots, double amp, float p)
{
    const float q = static_cast<float>(double(p) - 0.5);
    for (int j = 0; j < 8; ++j) {
        const float u = q + (4.0f - static_cast<float>(j));
        slots[j] = ring(wrapped(double(u) * 4096, 32768)) * amp;
    }
}

inline void panb(k_shared<double> *slots, double amp, float azimuth, float elevation)
{
    const float az = static_cast<float>(double(azimuth) * 0.017453);
    const float el = static_cast<float>(double(elevation) * 0.017453);
    slots[0] = 0.707107 * amp;
    slots[1] = std::cos(double(az)) * std::cos(double(el)) * amp;
    slots[2] = std::sin(double(az)) * std::cos(double(el)) * amp;
    slots[3] = std::sin(double(el)) * amp;
}

constexpr double radius = 2.5999999046325684;

/// Clamped on each axis, drawn to the centre when near, square roots of weights in 1024 steps.
inline void cube(double *gains, double x, double y, double z, double d, double from = radius)
{
    for (double *c : {&x, &y, &z}) {
        *c *= 1.7320507764816284;
        if (*c > 1) *c = 1;
        else if (*c < -1) *c = -1;
    }
    if (from > d) {
        const double nearer = d / from;
        x *= nearer;
        y *= nearer;
        z *= nearer;
    }
    const double weights[8] = {(1 - x) * (1 + y) * (1 + z) / 8, (1 + x) * (1 + y) * (1 + z) / 8,
                               (1 + x) * (1 - y) * (1 + z) / 8, (1 - x) * (1 - y) * (1 + z) / 8,
                               (1 - x) * (1 + y) * (1 - z) / 8, (1 + x) * (1 + y) * (1 - z) / 8,
                               (1 + x) * (1 - y) * (1 - z) / 8, (1 - x) * (1 - y) * (1 - z) / 8};
    for (int k = 0; k < 8; ++k) {
        const double steps = std::trunc(1024 * weights[k]);
        const int index = std::fabs(steps) < 0x1p63 ? static_cast<int>(std::fmod(steps, 1025)) : 0;
        gains[k] = index < 0 ? 0.0 : std::sqrt(index / 1024.0); // the remainder of a negative index
    }
}

inline void cube_polar(double *gains, double azimuth, double elevation, double d)
{
    const double pi = 3.141592653589793;
    const double a = pi * azimuth / 180, e = pi * elevation / 180;
    cube(gains, std::cos(e) * std::sin(a), std::cos(e) * std::cos(a), std::sin(e), d);
}

} // namespace slow

struct space_message {
    const char *selector;
    bool scaled; // the first argument times the master gain is what is checked
    std::vector<range> arguments;
    void (*store)(inputs &, const std::vector<float> &);
};

inline const std::vector<space_message> space_messages = {
    {"gain",
     false,
     {{"gain", 0, open_end, 1}},
     [](inputs &in, const std::vector<float> &v) {
         const double r = double(v[0]) / in.gain;
         for (auto &amp : in.amps) amp *= r;
         in.gain = double(v[0]);
     }},
    {"pan",
     true,
     {{"amplitude (message pan)", 0, open_end, 1}, {"pan (message pan)", -1, 1, 0}},
     [](inputs &in, const std::vector<float> &v) { slow::pan(in.amps, double(v[0]), v[1]); }},
    {"pan8",
     true,
     {{"amplitude (message pan8)", 0, open_end, 1}, {"pan (message pan8)", -open_end, open_end, 0}},
     [](inputs &in, const std::vector<float> &v) { slow::pan8(in.amps, double(v[0]), v[1]); }},
    {"panb",
     true,
     {{"amplitude (message panb)", 0, open_end, 1},
      {"azimuth (message panb)", -open_end, open_end, 0},
      {"elevation (message panb)", -open_end, open_end, 0}},
     [](inputs &in, const std::vector<float> &v) {
         slow::panb(in.amps, double(v[0]), v[1], v[2]);
     }},
    {"angle",
     true,
     {{"amplitude (message angle)", 0, open_end, 1},
      {"angle (message angle)", -open_end, open_end, 0}},
     [](inputs &in, const std::vector<float> &v) { slow::angle(in.amps, double(v[0]), v[1]); }},
    {"direction",
     false,
     {{"x (message direction)", -1, 1, 0},
      {"y (message direction)", -1, 1, 0},
      {"z (message direction)", -1, 1, 0},
      {"d (message direction)", -open_end, open_end, 0}},
     [](inputs &in, const std::vector<float> &v) {
         double gains[8];
         slow::cube(gains, double(v[0]), double(v[1]), double(v[2]), double(v[3]));
         std::copy_n(gains, 8, in.amps);
         for (auto &amp : in.amps) amp *= in.gain;
     }},
    {"polar",
     false,
     {{"azimuth (message polar)", -180, 180, 0},
      {"elevation (message polar)", -90, 90, 0},
      {"distance (message polar)", -open_end, open_end, 0}},
     [](inputs &in, const std::vector<float> &v) {
         double gains[8];
         slow::cube_polar(gains, double(v[0]), double(v[1]), double(v[2]));
         std::copy_n(gains, 8, in.amps);
         for (auto &amp : in.amps) amp *= in.gain;
     }},
    {"aux1",
     false,
     {{"aux1", -open_end, open_end, 1}},
     [](inputs &in, const std::vector<float> &v) { in.amps[8] = double(v[0]) * in.gain; }},
    {"aux2",
     false,
     {{"aux2", -open_end, open_end, 1}},
     [](inputs &in, const std::vector<float> &v) { in.amps[9] = double(v[0]) * in.gain; }},
};

class space : public control {
protected:
    void SetUp() override
    {
        control::SetUp();
        x = varied();
        start = x->inputs;
    }

    /// Puts the control inputs back to the start, with this master gain.
    void restart(double gain)
    {
        x->inputs = start;
        x->inputs.gain = gain;
    }

    /// What a message in the present state should say; `wanted` becomes the state after it.
    lines play(const space_message &m, const host::atoms &given, inputs &wanted)
    {
        lines said;
        wanted = x->inputs;
        if (given.size() < m.arguments.size()) return {too_few(m.selector)};
        std::vector<float> v;
        for (std::size_t k = 0; k < m.arguments.size(); ++k) {
            float value = read(given[k], said);
            if (k == 0 && m.scaled) value = narrow(double(value) * wanted.gain);
            v.push_back(check(x, m.arguments[k], value, said));
        }
        if (m.selector == std::string("gain") && !(v[0] > 0)) {
            said.push_back("k.vorb~: gain must be greater than 0");
            return said;
        }
        m.store(wanted, v);
        wanted.changed = 1;
        return said;
    }

    /// Sends a message and compares lines and record with what it should do.
    void expect(const space_message &m, const host::atoms &given, int inlet = 0)
    {
        inputs wanted;
        const lines said = play(m, given, wanted);
        send(x, inlet, m.selector, given);
        ASSERT_EQ(complaints(x), said) << m.selector;
        ASSERT_THAT(differences(x->inputs, wanted), IsEmpty()) << m.selector;
    }

    /// Atoms around the bounds of argument k; for a scaled one, around what reaches them.
    static host::atoms values_for(const space_message &m, std::size_t k, double gain)
    {
        const range &r = m.arguments[k];
        host::atoms values = values_around(r.low, r.high);
        if (k > 0 || !m.scaled) return values;
        for (std::size_t i = values.size(); i-- > 0;)
            if (values[i].a_type == A_FLOAT)
                values.push_back(host::atom(values[i].a_w.w_float / gain));
        return values;
    }

    vorb *x = nullptr;
    inputs start = {};
};
