// How many samples each phase of a fog lasts, and where its oscillators start.
#include "fog_session.h"

namespace {

/// At 32768 Hz all times below are exact; they are given in samples.
struct counts_case {
    double tex, debatt, atten, x;
    std::int64_t tex_count, sustain, atten_count;
};

TEST_F(fog, counts_of_whole_and_broken_times)
{
    const double more = 1 + 1e-15;
    const counts_case cases[] = {
        // attack: samples at x, x + 1, ... up to and with tex
        {4, 0, 0, 1, 4, 0, 0},
        {4, 0, 0, 0, 5, 0, 0},
        {4, 0, 0, 0.5, 4, 0, 0},
        {4.5, 0, 0, 0.25, 5, 0, 0},
        {1, 0, 0, 1, 0, 0, 0}, // one period is no attack, with whatever onset
        {1, 0, 0, 0, 0, 1, 0},
        {more, 0, 0, 1, 1, 0, 0},
        {more, 0, 0, 0.5, 1, 0, 0},
        // sustain: from the attack's end to debatt
        {0, 0, 0, 1, 0, 0, 0},
        {0, 0, 0, 0.5, 0, 0, 0},
        {0, 0, 0, 0, 0, 1, 0},
        {0, 10, 0, 1, 0, 10, 0},
        {0, 10, 0, 0.5, 0, 10, 0},
        {0, 10, 0, 0, 0, 11, 0},
        {4, 10, 0, 1, 4, 6, 0},
        {4, 10, 0, 0, 5, 6, 0},
        {4, 4, 0, 1, 4, 0, 0},
        {10, 4, 0, 1, 10, 0, 0},
        // attenuation: debatt + tau is its first sample, tau = 1 when debatt falls on a sample
        {0, 10, 1, 1, 0, 10, 0}, // one period is no attenuation
        {0, 10, more, 1, 0, 10, 1},
        {0, 10, 8, 1, 0, 10, 8},
        {0, 10, 8, 0.5, 0, 10, 8},  // tau = 0.5
        {0, 10, 8, 0.75, 0, 10, 8}, // tau = 0.75
        {0, 10.25, 8.5, 0.5, 0, 10, 9},
        {0, 0, 8, 1, 0, 0, 8},   // tau = 1: after the exact onset, not after the first sample
        {0, 0, 8, 0.5, 0, 0, 8}, // tau = 0.5
        {0, 0, 8, 0, 0, 1, 8},
        {20, 10, 8, 1, 20, 0, 8}, // inside the attack: it waits, but is as long as ever
        {20, 10.25, 8.5, 0.5, 20, 0, 9},
        // debatt far before the onset, as when the attenuation is longer than the sample
        {0, -10, 8, 0.5, 0, 0, 7}, // tau = 1.5
        {0, -10, 8, 1, 0, 0, 8},   // tau = 1
        {0, -0.5, 8, 1, 0, 0, 7},  // tau = 1.5
    };
    for (const counts_case &c : cases) {
        SCOPED_TRACE(::testing::Message() << "tex " << c.tex << " debatt " << c.debatt << " atten "
                                          << c.atten << " x " << c.x);
        inputs in = fresh_inputs(32768);
        in.tex = c.tex * in.sp;
        in.debatt = c.debatt * in.sp;
        in.atten = c.atten * in.sp;
        const vorb_fog f = onset(in, c.x * in.sp);
        EXPECT_EQ(f.tex_count, c.tex_count);
        EXPECT_EQ(f.sustain, c.sustain);
        EXPECT_EQ(f.atten_count, c.atten_count);
    }
}

TEST_F(fog, one_period_is_neither_an_attack_nor_an_attenuation)
{
    inputs in = fresh_inputs(32768);
    in.tex = in.atten = in.sp;
    const vorb_fog f = onset(in, 0.5 * in.sp);
    EXPECT_EQ(f.tex_count, 0);
    EXPECT_EQ(f.atten_count, 0);
}

TEST_F(fog, half_a_period_has_a_step_all_the_same)
{
    inputs in = fresh_inputs(32768);
    in.tex = in.atten = 0.5 * in.sp;
    vorb_update(&in);
    EXPECT_DOUBLE_EQ(in.tex_step, 2 * pi);
    EXPECT_DOUBLE_EQ(in.atten_step, 2 * pi);
}

TEST_F(fog, a_debatt_inside_the_attack_postpones_the_attenuation_whole)
{
    inputs in = fresh_inputs(32768);
    in.tex = 20 * in.sp;
    in.debatt = 10 * in.sp;
    in.atten = 8 * in.sp;
    const vorb_fog inside = onset(in, in.sp);
    in.debatt = 40 * in.sp;
    const vorb_fog behind = onset(in, in.sp);
    EXPECT_EQ(inside.sustain, 0);
    EXPECT_EQ(behind.sustain, 20);
    EXPECT_EQ(inside.atten_count, behind.atten_count);
    EXPECT_EQ(inside.atten_y1, behind.atten_y1); // both start on a sample
}

TEST_F(fog, a_record_dropped_while_it_sounded_keeps_no_attack_or_attenuation_of_its_last_fog)
{
    vorb *x = create("1 sample1 1 0 1 0 1 10 20 30");
    start(x, 0);
    send(x, 0, "reset, tex 0, atten 0, debatt 1");
    const vorb_fog &f = start(x, 0);
    EXPECT_EQ(f.tex_count, 0);
    EXPECT_EQ(f.sustain, 44);
    EXPECT_EQ(f.atten_count, 0);
}

/// The rounding of each step is part of the sound: rendered again elsewhere, it must be the same.
TEST_F(fog, a_fog_is_computed_in_one_order_of_operations)
{
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        inputs in = fresh_inputs(random(8000, 96000));
        const double x = random(0, 1) * in.sp, sr = in.sr, sp = in.sp;
        const auto index = std::int64_t(random(0, 64));
        in.bw = random(0, 2000);
        in.tex = random(1.1 * sp, 0.02);
        in.debatt = random(0.02, 0.04);
        in.atten = random(1.1 * sp, 0.02);
        in.offset = random(0, 1000);
        in.trans = random(0, 4);
        in.lp2 = random(0, 1000);
        const vorb_fog f = onset(in, x, index);

        const double bw_pi = in.bw * pi, tex_w = pi / in.tex, atten_w = pi / in.atten;
        EXPECT_EQ(f.amp, std::exp(-bw_pi * x) * std::exp(bw_pi * sp));
        EXPECT_EQ(in.bw_decay, std::exp(-bw_pi * sp));
        EXPECT_EQ(in.tex_cos2, 2.0 * std::cos(tex_w * sp));
        EXPECT_EQ(in.atten_cos2, 2.0 * std::cos(atten_w * sp));
        EXPECT_EQ(f.tex_y1, 0.5 * std::cos(pi - tex_w * sp + tex_w * x));
        EXPECT_EQ(f.tex_y2, 0.5 * std::cos(pi - 2 * (tex_w * sp) + tex_w * x));
        const double d = in.debatt - x, tau = std::trunc(d * sr + 1.0) * sp - d;
        EXPECT_EQ(f.atten_y1, 0.5 * std::cos(-(atten_w * sp) + atten_w * tau));
        EXPECT_EQ(f.atten_y2, 0.5 * std::cos(-2 * (atten_w * sp) + atten_w * tau));
        EXPECT_EQ(f.reader.pos_ms, in.offset - (double(index) * sp + (sp - x)) * in.trans * 1000.0);
        EXPECT_EQ(f.reader.pos_step_ms, in.trans * in.vs_ms);
        EXPECT_EQ(f.reader.lp_k, std::pow(0.5, sp * in.lp2));
    }
}

TEST_F(fog, starts_on_a_raised_cosine_that_passes_through_the_exact_onset)
{
    for (int round = 0; round < 500; ++round) {
        SCOPED_TRACE(round);
        inputs in = fresh_inputs(random(8000, 96000));
        const double sp = in.sp, x = random(1e-6, 1) * sp;
        in.bw = random(0, 2000);
        in.tex = random(1.1 * sp, 0.02);
        in.debatt = random(0, 0.04); // within the attack as often as behind it
        in.atten = random(1.1 * sp, 0.02);
        const std::int64_t before = samples_until(in.debatt, x, sp);
        const double tau = x + double(before) * sp - in.debatt;
        const vorb_fog f = onset(in, x);

        EXPECT_EQ(f.tex_count, samples_until(in.tex, x, sp));
        EXPECT_NEAR(f.tex_y1, -0.5 * std::cos(pi * (x - sp) / in.tex), 1e-12);
        EXPECT_NEAR(f.tex_y2, -0.5 * std::cos(pi * (x - 2 * sp) / in.tex), 1e-12);
        EXPECT_EQ(f.sustain, std::max<std::int64_t>(before - f.tex_count, 0));
        EXPECT_EQ(f.atten_count, samples_until(in.atten, tau, sp));
        EXPECT_NEAR(f.atten_y1, 0.5 * std::cos(pi * (tau - sp) / in.atten), 1e-9);
        EXPECT_NEAR(f.atten_y2, 0.5 * std::cos(pi * (tau - 2 * sp) / in.atten), 1e-9);
        EXPECT_NEAR(f.amp, std::exp(-pi * in.bw * (x - sp)), 1e-12);
        EXPECT_GT(tau, 0);
        EXPECT_LE(tau, sp * (1 + 1e-9));
    }
}

TEST_F(fog, the_first_attack_sample_is_zero_only_at_the_exact_onset)
{
    inputs in = fresh_inputs(32768);
    in.tex = 16 * in.sp;
    for (const double samples : {1.0, 0.5, 0.0}) {
        const vorb_fog f = onset(in, samples * in.sp);
        const double y = in.tex_cos2 * f.tex_y1 - f.tex_y2;
        EXPECT_NEAR(0.5 + y, 0.5 * (1 - std::cos(pi * samples / 16)), 1e-15) << samples;
    }
}

TEST_F(fog, the_one_outlet_layout_carries_its_amplitude_in_the_decay)
{
    const double t = 0.25 / 44100; // x - sp = -t
    for (const int layout : layouts) {
        vorb *x = create(std::to_string(layout) + " sample1 5 0 1 300 0.5");
        const vorb_fog &f = start(x, t);
        EXPECT_DOUBLE_EQ(f.amp, std::exp(pi * 300 * t) * (layout == 1 ? 0.5 : 1)) << layout;
        EXPECT_EQ(f.gains[0], 0.5);
        EXPECT_EQ(f.channels, layout);
    }
}

} // namespace
