// The phasor beside rational arithmetic. F0 and rate are numbers of 53 bits, so that after any
// number of samples the exact phase is a whole number of F0's last binary digits, and fits 127
// bits.
//
// The bound: a sum phase + F0 is rounded by half a unit in the last place of rate + F0 at most.
// What is taken off at a wrap is at least half of what it is taken from and at most twice as much,
// and such differences are exact. So n samples are off by n of those half units at most. With F0
// constant the sums of one binade are all rounded by the same amount, so that drift grows evenly.
#include "drift.h"

#include "k_vorb.h"

#include "host.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

__extension__ typedef __int128 wide;

/// An instance whose only fog sounds for ever, so that each wrap is counted as one that is missing.
static vorb *make_full(double rate)
{
    host::reset();
    host::set_audio(rate, 64);
    t_object *object = host::create("k.vorb~ 1 none 1 0 0 0 1 0 1e9 0");
    host::drain();
    host::connect(object, 0);
    host::start_audio();
    host::send(object, 0, "bang");
    vorb_error_count = 0;
    return reinterpret_cast<vorb *>(object);
}

phasor_drift measure_drift(double f0, double rate, double hours)
{
    constexpr long chunk = 1 << 16;
    vorb *x = make_full(rate);
    const std::vector<double> signal(chunk, f0), offset(chunk);
    phasor_drift result{f0, rate, std::uint64_t(hours * 3600 * rate), 0, 0, 0};
    for (std::uint64_t left = result.samples; left > 0;) {
        const auto n = std::int64_t(std::min<std::uint64_t>(left, chunk));
        vorb_run_phasor(x, signal.data(), offset.data(), n);
        result.wraps += std::uint64_t(vorb_error_count);
        vorb_error_count = 0;
        left -= std::uint64_t(n);
    }
    const int digit = std::ilogb(f0) - 52; // F0's last one, as a power of two
    const auto whole = [&](double v) { return wide(std::ldexp(v, -digit)); };
    if (double(whole(rate)) != std::ldexp(rate, -digit)) throw std::runtime_error("not exact");
    const wide exact = whole(f0) * wide(result.samples);
    const wide own = whole(rate) * wide(result.wraps) + whole(x->inputs.phase);
    result.behind = std::ldexp(double(exact - own), digit);
    result.bound = double(result.samples) * std::ldexp(1, std::ilogb(rate + f0) - 53);
    host::reset();
    return result;
}
