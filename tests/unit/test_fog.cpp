// Derived values, and what a fog takes from its sample: length, reading head, lowpass.
#include "fog_session.h"

namespace {

// ---- Derived values -----------------------------------------------------------------------------

TEST_F(fog, derived_values_follow_from_bandwidth_and_times)
{
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        inputs in = fresh_inputs(random(8000, 192000));
        in.bw = random(0, 4000);
        in.tex = random(0, 0.1);
        in.atten = random(0, 0.1);
        for (auto &amp : in.amps) amp = random(-2, 2);
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
