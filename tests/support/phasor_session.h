// The phasor of one instance, run over signals made by hand.
#pragma once

#include "session.h"

#include <limits>

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double rate = 44100;

/// A fog that the phasor started: its sample, and the time from the wrap to it, in samples.
struct wrap {
    std::int64_t index;
    double frac;
};

class phasor : public session {
protected:
    using signal = std::vector<double>;

    void SetUp() override
    {
        session::SetUp();
        x = create("1 sample1 100 0 1 0 1 0 250 0");
        host::start_audio();
        in = &x->inputs;
    }

    /// Runs the phasor over a signal of at most 100 wraps and tells what it started, oldest first.
    /// The time is read off the place where a fog's head begins: offset - (index sp + time) 1000.
    std::vector<wrap> run(const signal &f0, const signal &offset = {})
    {
        const signal still(f0.size(), 0);
        in->offset = 0;
        vorb_run_phasor(x, f0.data(), (offset.empty() ? still : offset).data(),
                        static_cast<std::int64_t>(f0.size()));
        std::vector<wrap> wraps;
        for (const vorb_fog *fog = x->pool.used; fog; fog = fog->next) {
            const double begin = double(fog->delay) * in->sp * 1000;
            const double behind = -fog->reader.pos_ms - begin;
            wraps.insert(wraps.begin(), {fog->delay, behind / 1000 / in->sp});
        }
        vorb_init_list(&x->pool);
        EXPECT_THAT(console(), IsEmpty());
        return wraps;
    }

    std::vector<wrap> run(double f0, size_t count) { return run(signal(count, f0)); }

    vorb *x;
    inputs *in;
};

inline std::vector<std::int64_t> indexes(const std::vector<wrap> &wraps)
{
    std::vector<std::int64_t> list;
    for (const wrap &w : wraps) list.push_back(w.index);
    return list;
}
