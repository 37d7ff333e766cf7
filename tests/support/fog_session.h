// Fogs started by hand, from control inputs made by hand.
#pragma once

#include "dice.h"
#include "session.h"

constexpr double pi = 3.14159265358979323846;

/// Control inputs of an instance that nobody has sent a message to.
inline inputs fresh_inputs(double sr)
{
    inputs in{};
    in.pi = pi;
    in.sr = sr;
    in.sp = 1 / sr;
    in.vs_ms = 64 / sr * 1000;
    in.trans = in.lp1 = 1;
    in.changed = 1;
    return in;
}

inline vorb_fog onset(inputs &in, double x, std::int64_t start = 0)
{
    vorb_update(&in);
    vorb_fog fog{};
    vorb_onset(&fog, &in, start, x);
    return fog;
}

/// How many of the times x, x + sp, x + 2 sp ... are not past `end`.
inline std::int64_t samples_until(double end, double x, double sp)
{
    std::int64_t n = 0;
    while (x + double(n) * sp <= end) ++n;
    return n;
}

class fog : public session {
protected:
    double random(double low, double high) { return numbers.between(low, high); }

    /// Starts a fog as a phasor does, `time` seconds after the exact instant.
    static const vorb_fog &start(vorb *x, double time, std::int64_t index = 0)
    {
        vorb_trigger(x, index, time);
        return *x->pool.used;
    }

private:
    dice numbers{20240607};
};
