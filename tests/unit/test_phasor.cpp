// The F0 phasor: at which samples it wraps, and how far behind each wrap lies.
#include "phasor_session.h"

namespace {

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
    for (const wrap &w : wraps) EXPECT_NEAR(w.frac, 1, 1e-9) << "no fog is a sample late";
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

} // namespace
