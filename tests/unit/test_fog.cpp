// Derived values, and what a fog starts with: counts, oscillators, decay, reading head, lowpass.
#include "session.h"

#include <random>

namespace {

constexpr double pi = 3.14159265358979323846;

/// Control inputs of an instance that nobody has sent a message to.
inputs fresh_inputs(double sr)
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

vorb_fog onset(inputs &in, double x, std::int64_t start = 0)
{
    vorb_update(&in);
    vorb_fog fog{};
    vorb_onset(&fog, &in, start, x);
    return fog;
}

/// How many of the times x, x + sp, x + 2 sp ... are not past `end`.
std::int64_t samples_until(double end, double x, double sp)
{
    std::int64_t n = 0;
    while (x + double(n) * sp <= end) ++n;
    return n;
}

class fog : public session {
protected:
    static double random(double low, double high)
    {
        static std::mt19937 bits(20240607);
        return low + (high - low) * (double(bits()) / 4294967296.0);
    }

    /// Starts a fog as a phasor does, `time` seconds after the exact instant.
    static const vorb_fog &start(vorb *x, double time, std::int64_t index = 0)
    {
        vorb_trigger(x, index, time);
        return *x->pool.used;
    }
};

// ---- Derived values -----------------------------------------------------------------------------

TEST_F(fog, derived_values_follow_from_bandwidth_and_times)
{
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        inputs in = fresh_inputs(random(8000, 192000));
        in.bw = random(0, 4000);
        in.tex = random(0, 0.1);
        in.atten = random(0, 0.1);
        for (double &amp : in.amps) amp = random(-2, 2);
        vorb_update(&in);
        EXPECT_DOUBLE_EQ(in.bw_pi, pi * in.bw);
        EXPECT_DOUBLE_EQ(in.tex_w, pi / in.tex);
        EXPECT_DOUBLE_EQ(in.atten_w, pi / in.atten);
        EXPECT_DOUBLE_EQ(in.bw_grow, std::exp(pi * in.bw * in.sp));
        EXPECT_DOUBLE_EQ(in.bw_decay, std::exp(-pi * in.bw * in.sp));
        EXPECT_DOUBLE_EQ(in.tex_step, pi / in.tex * in.sp);
        EXPECT_DOUBLE_EQ(in.atten_step, pi / in.atten * in.sp);
        EXPECT_NEAR(in.tex_cos2, 2 * std::cos(pi * in.sp / in.tex), 1e-9);
        EXPECT_NEAR(in.atten_cos2, 2 * std::cos(pi * in.sp / in.atten), 1e-9);
        for (int k = 0; k < vorb_slots; ++k) EXPECT_EQ(in.fog_amps[k], in.amps[k]);
        EXPECT_EQ(in.changed, 0);
    }
}

TEST_F(fog, times_of_zero_give_infinite_rates_but_no_step)
{
    inputs in = fresh_inputs(44100);
    vorb_update(&in);
    EXPECT_EQ(in.tex_w, HUGE_VAL);
    EXPECT_EQ(in.atten_w, HUGE_VAL);
    EXPECT_EQ(in.tex_step, 0.0);
    EXPECT_EQ(in.atten_step, 0.0);
    EXPECT_EQ(in.tex_cos2, 2.0);
    EXPECT_EQ(in.atten_cos2, 2.0);
    EXPECT_EQ(in.bw_decay, 1.0);
    EXPECT_EQ(in.bw_grow, 1.0);
}

TEST_F(fog, derived_values_are_left_alone_until_an_input_changed)
{
    vorb *x = create("1 sample1 5 0 1 100 1 10 50 20");
    start(x, 0);
    x->inputs.bw = 400; // no message, so the flag stays clear
    x->inputs.fog_amps[0] = 7;
    EXPECT_DOUBLE_EQ(start(x, 0).bw_decay, std::exp(-pi * 100 / 44100));
    EXPECT_EQ(x->inputs.fog_amps[0], 7.0);
    x->inputs.changed = 1;
    EXPECT_DOUBLE_EQ(start(x, 0).bw_decay, std::exp(-pi * 400 / 44100));
    EXPECT_EQ(x->inputs.fog_amps[0], 1.0);
    EXPECT_EQ(x->inputs.changed, 0);
}

TEST_F(fog, a_change_of_bandwidth_or_attack_is_for_later_fogs_only)
{
    vorb *x = create("1 sample1 5 0 1 100 1 10 50 20");
    const vorb_fog &first = start(x, 0);
    const vorb_fog before = first;
    send(x, 0, "bw 400, tex 30");
    const vorb_fog &second = start(x, 0);
    EXPECT_EQ(first.bw_decay, before.bw_decay);
    EXPECT_EQ(first.tex_cos2, before.tex_cos2);
    EXPECT_EQ(first.tex_count, before.tex_count);
    EXPECT_DOUBLE_EQ(second.bw_decay, std::exp(-pi * 400 / 44100));
    EXPECT_EQ(second.tex_count, samples_until(double(30.f) * 0.001, 1 / 44100.0, 1 / 44100.0));
}

TEST_F(fog, another_sample_rate_alone_leaves_the_derived_values_as_they_were)
{
    vorb *x = create("1 sample1 5 0 1 100 1 10 50 20");
    host::start_audio();
    start(x, 0);
    host::set_audio(96000, 64);
    host::start_audio();
    const vorb_fog &stale = start(x, 0);
    EXPECT_DOUBLE_EQ(stale.bw_decay, std::exp(-pi * 100 / 44100));
    EXPECT_DOUBLE_EQ(stale.tex_cos2, 2 * std::cos(pi / 0.01 / 44100));
    EXPECT_EQ(stale.tex_count, 960); // but the counts are of now
    send(x, 0, "tex 10");
    const vorb_fog &renewed = start(x, 0);
    EXPECT_DOUBLE_EQ(renewed.bw_decay, std::exp(-pi * 100 / 96000));
    EXPECT_DOUBLE_EQ(renewed.tex_cos2, 2 * std::cos(pi / 0.01 / 96000));
}

TEST_F(fog, after_a_change_of_rate_a_fog_starts_one_old_step_before_its_first_sample)
{
    mono_buffer(
        "sample1", 48000, [](long) { return 0; }, 48000);
    vorb *x = create("1 sample1 5 0 1 1000 1 10 all 20");
    host::start_audio();
    start(x, 0);
    host::set_audio(96000, 64);
    host::start_audio();
    const vorb_fog &f = start(x, 0);
    EXPECT_EQ(x->inputs.changed, 0); // the length that `all` takes from the sample is no input
    const double old = 1 / 44100.0, sp = 1 / 96000.0, tex = double(10.f) * 0.001,
                 atten = double(20.f) * 0.001;
    EXPECT_NEAR(f.amp, std::exp(-pi * 1000 * (sp - old)), 1e-12);
    EXPECT_NEAR(f.tex_y1, -0.5 * std::cos(pi * (sp - old) / tex), 1e-12);
    EXPECT_NEAR(f.tex_y2, -0.5 * std::cos(pi * (sp - 2 * old) / tex), 1e-12);
    const double tau = double(f.tex_count + f.sustain + 1) * sp - (1 - atten);
    EXPECT_NEAR(f.atten_y1, 0.5 * std::cos(pi * (tau - old) / atten), 1e-9);
    EXPECT_NEAR(f.atten_y2, 0.5 * std::cos(pi * (tau - 2 * old) / atten), 1e-9);
}

// ---- Counts and oscillators ---------------------------------------------------------------------

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

// ---- The buffer ---------------------------------------------------------------------------------

TEST_F(fog, all_lets_the_attenuation_end_with_the_sample)
{
    mono_buffer(
        "sample1", 24000, [](long) { return 0; }, 48000);
    vorb *x = create("1 sample1 5 0 1 0 1 0 all 100");
    EXPECT_DOUBLE_EQ(start(x, 0).reader.frames_per_ms, 48);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.5 - 0.1);
    send(x, 0, "transp 2");
    start(x, 0);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.25 - 0.1);
    mono_buffer(
        "sample1", 24000, [](long) { return 0; }, 8000);
    start(x, 0);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 1.5 - 0.1);
    send(x, 0, "transp 1, debatt 50");
    start(x, 0);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.05);
}

TEST_F(fog, all_counts_every_frame_of_a_long_sample)
{
    mono_buffer(
        "sample1", 16777217, [](long) { return 0; }, 32768); // a count that no float holds
    vorb *x = create("1 sample1 5 0 1 0 1 0 all 0");
    start(x, 0);
    EXPECT_EQ(x->inputs.debatt, 16777217 / 32768.0);
}

TEST_F(fog, all_keeps_its_last_length_while_there_is_no_buffer)
{
    mono_buffer("sample1", 44100, [](long) { return 0; });
    vorb *x = create("1 sample1 5 0 1 0 1 0 all 100");
    start(x, 0);
    host::delete_buffer("sample1");
    send(x, 0, "atten 300"); // would change the length
    const vorb_fog &f = start(x, 0);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.9);
    EXPECT_EQ(f.sustain, 39690);
}

TEST_F(fog, an_attenuation_longer_than_the_sample_starts_at_once)
{
    mono_buffer("sample1", 4410, [](long) { return 0; });
    vorb *x = create("1 sample1 5 0 1 0 1 0 all 600");
    const vorb_fog &f = start(x, 0);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.1 - 0.6);
    EXPECT_EQ(f.sustain, 0);
    // From its own beginning (or a sample later), not so far in that it ends with the sample.
    EXPECT_NEAR(double(f.atten_count), 0.6 * 44100, 1);
}

TEST_F(fog, all_without_transposition_gives_neither_sustain_nor_attenuation)
{
    mono_buffer("sample1", 4410, [](long) { return 0; });
    vorb *x = create("1 sample1 5 0 0 0 1 10 all 100");
    const vorb_fog &f = start(x, 0);
    EXPECT_EQ(x->inputs.debatt, HUGE_VAL);
    EXPECT_EQ(f.tex_count, samples_until(double(10.f) * 0.001, 1 / 44100.0, 1 / 44100.0));
    EXPECT_EQ(f.sustain, 0);
    EXPECT_EQ(f.atten_count, 0);
}

TEST_F(fog, without_a_buffer_the_record_keeps_the_rate_of_its_previous_fog)
{
    vorb *x = create("1 sample1 5");
    x->pool.free->reader.frames_per_ms = 22.05;
    EXPECT_EQ(start(x, 0).reader.frames_per_ms, 22.05);
    EXPECT_EQ(start(x, 0).reader.frames_per_ms, 0.0); // a fresh record
    x->inputs.bufref = nullptr;
    x->pool.free->reader.frames_per_ms = 11.025;
    EXPECT_EQ(start(x, 0).reader.frames_per_ms, 11.025);
}

// ---- Reading head, delay, lowpass ---------------------------------------------------------------

TEST_F(fog, the_head_is_set_back_by_the_delay_and_the_rest_of_a_sample)
{
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        inputs in = fresh_inputs(random(8000, 96000));
        in.offset = random(0, 1000);
        in.trans = random(0, 4);
        const double t = random(0, 1) * in.sp;
        const auto index = std::int64_t(random(0, 64));
        const vorb_fog f = onset(in, in.sp - t, index);
        const double ms_before = (double(index) * in.sp + t) * 1000;
        EXPECT_EQ(f.delay, index);
        EXPECT_NEAR(f.reader.pos_ms, in.offset - ms_before * in.trans, 1e-9);
        EXPECT_DOUBLE_EQ(f.reader.pos_step_ms, in.trans * 64 / in.sr * 1000);
        // Still in milliseconds: the first block sweeps from here.
        EXPECT_EQ(f.reader.prev_pos, f.reader.pos_ms - f.reader.pos_step_ms);
    }
}

TEST_F(fog, the_lowpass_starts_afresh_in_the_first_two_channels_only)
{
    vorb *x = create("1 sample1 5");
    send(x, 0, "lp -1 300");
    for (double &y : x->pool.free->reader.lp_y) y = 7;
    const vorb_fogread &r = start(x, 0).reader;
    EXPECT_THAT(r.lp_y, ElementsAre(0, 0, 7, 7));
    EXPECT_EQ(r.lp_a, 0.5);
    EXPECT_EQ(r.lp_am1, -0.5);
    EXPECT_DOUBLE_EQ(r.lp_k, std::pow(0.5, 300 / 44100.0));
}

} // namespace
