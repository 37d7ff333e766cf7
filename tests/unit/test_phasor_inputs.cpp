// What the F0 phasor does to the inputs at each wrap: the offset of the moment, automatic times.
#include "phasor_session.h"

namespace {

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
    for (k_shared<double> *time : {&in->tex, &in->debatt, &in->atten}) {
        in->amps[0] = in->amps[0] + 0.25;
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
