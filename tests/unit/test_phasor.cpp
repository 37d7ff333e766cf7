// The F0 phasor: at which samples it wraps, how far behind each wrap lies, and what it does to the
// inputs on the way.
#include "session.h"

#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double rate = 44100;

using signal = std::vector<double>;

/// A fog that the phasor started: its sample, and the time from the wrap to it, in samples.
struct wrap {
    std::int64_t index;
    double frac;
};

class phasor : public session {
protected:
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

std::vector<std::int64_t> indexes(const std::vector<wrap> &wraps)
{
    std::vector<std::int64_t> list;
    for (const wrap &w : wraps) list.push_back(w.index);
    return list;
}

// ---- Where it wraps -----------------------------------------------------------------------------

TEST_F(phasor, a_period_of_100_samples_starts_a_fog_at_99_199_and_so_on_without_remainder)
{
    const std::vector<wrap> wraps = run(441, 450);
    EXPECT_THAT(indexes(wraps), ElementsAre(99, 199, 299, 399));
    for (const wrap &w : wraps) EXPECT_EQ(w.frac, 0) << w.index;
    EXPECT_EQ(in->phase, 50 * 441);
}

TEST_F(phasor, f0_of_300_wraps_147_samples_apart_without_remainder)
{
    const std::vector<wrap> wraps = run(300, 600);
    EXPECT_THAT(indexes(wraps), ElementsAre(146, 293, 440, 587));
    for (const wrap &w : wraps) EXPECT_NEAR(w.frac, 0, 1e-9) << w.index;
}

TEST_F(phasor, the_time_since_the_wrap_is_the_remaining_phase_over_f0)
{
    for (const double f : {310.0, 1000.0, 12345.0, 1.5 * 441}) {
        SCOPED_TRACE(f);
        in->phase = 0;
        const std::vector<wrap> wraps = run(f, 250);
        // Wrap k lies at k sr / f samples from the start; sample i comes i + 1 samples from it.
        size_t k = 0;
        for (std::int64_t i = 0; i < 250; ++i) {
            const double turns = double(i + 1) * f / rate;
            if (turns < double(k + 1)) continue;
            ASSERT_LT(k, wraps.size());
            EXPECT_EQ(wraps[k].index, i);
            EXPECT_NEAR(wraps[k].frac, double(i + 1) - double(k + 1) * rate / f, 1e-8);
            EXPECT_GE(wraps[k].frac, -1e-9);
            EXPECT_LT(wraps[k].frac, 1);
            ++k;
        }
        EXPECT_EQ(k, wraps.size());
        EXPECT_GT(k, 0u);
    }
}

TEST_F(phasor, a_negative_f0_runs_it_forward_all_the_same)
{
    for (const double f : {441.0, 310.0}) {
        in->phase = 0;
        const std::vector<wrap> up = run(f, 500);
        const double phase = in->phase;
        in->phase = 0;
        const std::vector<wrap> down = run(-f, 500);
        EXPECT_EQ(in->phase, phase);
        EXPECT_EQ(indexes(down), indexes(up));
        for (size_t k = 0; k < up.size(); ++k) EXPECT_EQ(down[k].frac, up[k].frac);
    }
}

TEST_F(phasor, at_or_above_the_sample_rate_it_stands_still)
{
    in->phase = 44000;
    for (const double f : {44100.0, -44100.0, 44100.1, 1e9, infinity, -infinity, not_a_number}) {
        EXPECT_THAT(run(f, 64), IsEmpty()) << f;
        EXPECT_EQ(in->phase, 44000) << f;
    }
}

TEST_F(phasor, just_below_the_sample_rate_it_wraps_at_nearly_every_sample)
{
    const std::vector<wrap> wraps = run(44099.9, 100);
    EXPECT_EQ(wraps.size(), 99u); // the first sample alone does not
    EXPECT_EQ(wraps.front().index, 1);
    EXPECT_NEAR(wraps.front().frac, (44100 - 0.2) / 44099.9, 1e-8);
}

TEST_F(phasor, with_f0_zero_it_is_frozen_and_goes_on_from_there)
{
    EXPECT_THAT(run(441, 60), IsEmpty());
    EXPECT_EQ(in->phase, 60 * 441);
    EXPECT_THAT(run(0, 200), IsEmpty());
    EXPECT_THAT(run(-0.0, 200), IsEmpty());
    EXPECT_EQ(in->phase, 60 * 441);
    EXPECT_THAT(indexes(run(441, 60)), ElementsAre(39));
}

TEST_F(phasor, samples_that_are_no_frequency_cost_only_themselves)
{
    signal f0(110, 441);
    for (const auto &[index, bad] : {std::pair<size_t, double>{3, not_a_number},
                                     {10, infinity},
                                     {20, 0.0},
                                     {30, 44100.0},
                                     {108, not_a_number}})
        f0[index] = bad;
    EXPECT_THAT(indexes(run(f0)), ElementsAre(103)); // the hundredth addition, four samples late
    EXPECT_EQ(in->phase, 5 * 441);
}

TEST_F(phasor, f0_may_change_at_every_sample)
{
    signal f0;
    double phase = 0;
    std::vector<std::int64_t> expected;
    for (int i = 0; i < 400; ++i) {
        f0.push_back(i * 2.5); // sums of quarters are exact
        phase += f0.back();
        if (phase >= rate) {
            phase -= rate;
            expected.push_back(i);
        }
    }
    EXPECT_EQ(indexes(run(f0)), expected);
    EXPECT_GT(expected.size(), 3u);
    EXPECT_EQ(in->phase, phase);
}

// ---- Where it starts from -----------------------------------------------------------------------

TEST_F(phasor, a_phase_near_the_end_wraps_at_the_first_sample)
{
    send(x, 0, "f0phase 0.995");
    EXPECT_EQ(in->phase, double(0.995f) * rate);
    EXPECT_NEAR(in->phase, 43879.5, 1e-3);
    const std::vector<wrap> wraps = run(441, 50);
    EXPECT_THAT(indexes(wraps), ElementsAre(0));
    EXPECT_NEAR(wraps[0].frac, (double(0.995f) * rate + 441 - rate) / 441, 1e-8);
    EXPECT_NEAR(wraps[0].frac, 0.5, 1e-5);
}

TEST_F(phasor, a_full_phase_wraps_at_once_one_whole_sample_late)
{
    send(x, 0, "f0phase 1");
    EXPECT_EQ(in->phase, rate);
    const std::vector<wrap> wraps = run(441, 50);
    EXPECT_THAT(indexes(wraps), ElementsAre(0));
    EXPECT_NEAR(wraps[0].frac, 1, 1e-9);
}

TEST_F(phasor, a_phase_left_over_from_a_higher_rate_is_worked_off_one_turn_a_sample)
{
    in->phase = 5 * rate;
    const std::vector<wrap> wraps = run(441, 90);
    EXPECT_THAT(indexes(wraps), ElementsAre(0, 1, 2, 3, 4));
    for (int k = 0; k < 5; ++k) // far behind: the head begins later, the attack is longer
        EXPECT_NEAR(wraps[k].frac, (5 * rate + (k + 1) * 441 - (k + 1) * rate) / 441, 1e-6);
    EXPECT_EQ(in->phase, 90 * 441);
}

TEST_F(phasor, a_phase_that_is_no_number_counts_as_zero)
{
    send(x, 0, "f0phase", {host::atom(not_a_number)});
    EXPECT_TRUE(std::isnan(in->phase));
    EXPECT_THAT(indexes(run(441, 150)), ElementsAre(99));
    EXPECT_EQ(in->phase, 50 * 441);
}

TEST_F(phasor, the_phase_carries_over_from_block_to_block)
{
    std::vector<std::int64_t> found;
    for (int block = 0; block < 10; ++block)
        for (const wrap &w : run(310, 64)) found.push_back(block * 64 + w.index);
    EXPECT_THAT(found, ElementsAre(142, 284, 426, 569)); // ceil(k 44100 / 310) - 1
}

// ---- The offset signal --------------------------------------------------------------------------

TEST_F(phasor, the_offset_signal_is_read_at_the_wrap_without_latency)
{
    in->sig_offset = 1;
    in->changed = 0;
    in->phase = rate - 441 * 17.5; // wraps at sample 17 with half a sample behind
    signal ramp;
    for (int i = 0; i < 64; ++i) ramp.push_back(i);
    const std::vector<wrap> wraps = run(signal(64, 441), ramp);
    EXPECT_THAT(indexes(wraps), ElementsAre(17));
    EXPECT_EQ(in->offset, 17.5);
    EXPECT_EQ(in->changed, 0);
}

TEST_F(phasor, the_offset_s_slope_is_that_of_the_first_two_samples_of_the_block)
{
    in->sig_offset = 1;
    in->phase = rate - 441 * 40.25; // wraps at 40 with 0.75 behind
    signal bent(64, 1000);
    bent[0] = 3;
    bent[1] = 7;
    bent[39] = -50;
    bent[41] = 20;
    run(signal(64, 441), bent);
    EXPECT_EQ(in->offset, 1000 + 4 * 0.75);
}

TEST_F(phasor, every_fog_gets_the_offset_of_its_own_wrap)
{
    in->sig_offset = 1;
    signal offset;
    for (int i = 0; i < 250; ++i) offset.push_back(i < 150 ? 500 : 900);
    vorb_run_phasor(x, signal(250, 441).data(), offset.data(), 250);
    const vorb_fog *second = x->pool.used, *first = second->next;
    EXPECT_DOUBLE_EQ(first->reader.pos_ms, 500 - 99 / rate * 1000);
    EXPECT_DOUBLE_EQ(second->reader.pos_ms, 900 - 199 / rate * 1000);
}

TEST_F(phasor, a_block_of_one_sample_has_an_offset_without_slope)
{
    in->sig_offset = 1;
    in->phase = rate - 220.5; // half a sample behind
    const signal f0{441}, offset{25};
    EXPECT_EQ(run(f0, offset).size(), 1u);
    EXPECT_EQ(in->offset, 25);
}

TEST_F(phasor, without_an_offset_signal_or_a_wrap_the_offset_stays)
{
    in->phase = rate - 441;
    run(signal(64, 441), signal(64, 5));
    EXPECT_EQ(in->offset, 0); // wrapped, but nothing is plugged in
    in->sig_offset = 1;
    run(signal(64, 0), signal(64, 5));
    EXPECT_EQ(in->offset, 0);
}

// ---- Automatic envelope -------------------------------------------------------------------------

TEST_F(phasor, autoenv_makes_the_times_a_number_of_periods)
{
    send(x, 0, "autoenv 2");
    in->debatt_all = 1; // stays as it is
    in->phase = rate - 100;
    EXPECT_EQ(run(100, 10).size(), 1u);
    for (const double time : {in->tex, in->debatt, in->atten}) EXPECT_EQ(time, 0.02);
    EXPECT_EQ(in->debatt_all, 1);

    in->phase = rate - 100;
    run(-400, 10); // by its magnitude
    for (const double time : {in->tex, in->debatt, in->atten}) EXPECT_EQ(time, 0.005);
}

TEST_F(phasor, autoenv_is_capped_at_its_maximum_when_it_has_one)
{
    const struct {
        double maximum, expected;
    } rows[] = {{0.01, 0.01}, {0.02, 0.02}, {0.03, 0.02}, {0, 0.02}};
    for (const auto &[maximum, expected] : rows) {
        in->autoenv = 2;
        in->autoenv_max = maximum;
        in->phase = rate - 100;
        EXPECT_EQ(run(100, 10).size(), 1u);
        for (const double time : {in->tex, in->debatt, in->atten}) EXPECT_EQ(time, expected);
    }
}

TEST_F(phasor, autoenv_recomputes_only_when_a_time_differs)
{
    in->autoenv = 2;
    in->phase = rate - 100;
    run(100, 10);
    EXPECT_EQ(in->changed, 0); // set, then cleared by the fog's start
    // A new gain without the flag shows whether the derived values were computed anew.
    in->amps[0] = 0.5;
    in->phase = rate - 100;
    run(100, 10);
    EXPECT_EQ(in->fog_amps[0], 1);
    for (double *time : {&in->tex, &in->debatt, &in->atten}) {
        in->amps[0] += 0.25;
        *time = 1;
        in->phase = rate - 100;
        run(100, 10);
        EXPECT_EQ(*time, 0.02);
        EXPECT_EQ(in->fog_amps[0], in->amps[0]);
    }
}

TEST_F(phasor, autoenv_under_all_recomputes_at_every_fog)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    in->autoenv = 2;
    in->debatt_all = 1;
    for (const double amp : {0.5, 0.25}) {
        in->amps[0] = amp;
        in->phase = rate - 100;
        run(100, 10);
        EXPECT_EQ(in->debatt, 1 - 0.02); // one second of sample, less the attenuation
        EXPECT_EQ(in->fog_amps[0], amp);
    }
}

TEST_F(phasor, without_autoenv_or_a_wrap_the_times_stay)
{
    in->phase = rate - 100;
    run(100, 10);
    EXPECT_EQ(in->debatt, 250 * 0.001);
    in->autoenv = 2;
    in->phase = 0;
    run(100, 10);
    EXPECT_EQ(in->debatt, 250 * 0.001);
    send(x, 0, "bang"); // not the phasor's fog
    EXPECT_EQ(in->debatt, 250 * 0.001);
}

TEST_F(phasor, a_full_phase_waits_for_a_frequency)
{
    for (const double phase : {rate, 3 * rate}) {
        in->phase = phase;
        for (const double f : {0.0, -0.0}) {
            EXPECT_THAT(run(f, 64), IsEmpty());
            EXPECT_EQ(in->phase, phase);
        }
    }
}

TEST_F(phasor, an_offset_from_the_signal_does_not_make_the_derived_values_stale)
{
    send(x, 0, "bang"); // clears the flag
    in->sig_offset = 1;
    in->amps[0] = 0.5; // a gain without the flag
    in->phase = rate - 441;
    run(signal(64, 441), signal(64, 25));
    EXPECT_EQ(in->offset, 25);
    EXPECT_EQ(in->fog_amps[0], 1);
}

TEST_F(phasor, wraps_that_start_no_fog_do_everything_else)
{
    send(x, 0, "maxfogs 1");
    in->sig_offset = 1;
    in->autoenv = 2;
    signal f0(64, 4410), offset; // wraps at 9, 19, ... 59
    f0[59] = 8820;
    for (int i = 0; i < 64; ++i) offset.push_back(100 + i);
    in->phase = 0;
    vorb_run_phasor(x, f0.data(), offset.data(), 64);
    EXPECT_EQ(x->pool.nfree, 0);
    EXPECT_EQ(in->offset, 159.5);
    EXPECT_EQ(in->tex, 2.0 / 8820);
    EXPECT_EQ(in->phase, 5 * 4410);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: out of fogs (1)"));
    EXPECT_EQ(vorb_error_count, 4);
}

TEST_F(phasor, autoenv_that_is_no_number_counts_as_set)
{
    send(x, 0, "autoenv", {host::atom(not_a_number)});
    in->phase = rate - 100;
    EXPECT_EQ(run(100, 10).size(), 1u);
    for (const double time : {in->tex, in->debatt, in->atten}) EXPECT_TRUE(std::isnan(time));
}

// ---- Debug --------------------------------------------------------------------------------------

TEST_F(phasor, tells_how_it_was_entered_while_debugging)
{
    const signal f0{-441.5, 2}, offset{-3.25, 9};
    x->debug = 1;
    vorb_run_phasor(x, f0.data(), offset.data(), 2);
    EXPECT_THAT(
        console(),
        ElementsAre("enter vorb_run_phasor, freq[0]=-441.500000, offset[0]=-3.250000, n=2"));
    EXPECT_EQ(x->debug, 1); // cleared at the end of the block, not here
}

} // namespace
