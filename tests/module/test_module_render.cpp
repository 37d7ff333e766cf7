// Whole renders through the loaded module: what starts fogs and when, how they end, what the
// console says meanwhile.
#include "module_session.h"

#include <algorithm>
#include <cmath>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double pi = 3.14159265358979323846;

class render : public module_session {
protected:
    void SetUp() override
    {
        module_session::SetUp();
        level("sample1", 1); // a fog sounds like its envelope
    }

    /// Where sound begins after silence.
    static std::vector<long> onsets(const signal &s)
    {
        std::vector<long> at;
        for (std::size_t i = 0; i < s.size(); ++i)
            if (s[i] != 0 && (i == 0 || s[i - 1] == 0)) at.push_back(static_cast<long>(i));
        return at;
    }

    /// Samples up to the last one that sounds.
    static long length(const signal &s)
    {
        const auto last = std::find_if(s.rbegin(), s.rend(), [](double v) { return v != 0; });
        return static_cast<long>(s.rend() - last);
    }

    static std::vector<long> every(long period, long count)
    {
        std::vector<long> at;
        for (long k = 1; k <= count; ++k) at.push_back(k * period - 1);
        return at;
    }

    static void feed(t_object *x, int inlet, double value)
    {
        host::connect(x, inlet);
        std::fill_n(host::input(x, inlet), 64, value);
    }

    /// One sample long when it starts on a sample.
    static constexpr const char *click = "1 sample1 100 0 1 0 1 0 0.03 0";
};

// ---- The phasor ---------------------------------------------------------------------------------

TEST_F(render, f0_441_or_minus_441_starts_a_fog_every_100_samples)
{
    for (const double f0 : {441.0, -441.0}) {
        t_object *x = create(click);
        feed(x, 0, f0);
        const signal out = play(x, 100, 64)[0];
        EXPECT_EQ(onsets(out), every(100, 64)) << f0;
        for (const long at : onsets(out))
            EXPECT_NEAR(out[static_cast<std::size_t>(at)], 1, near_one);
    }
}

TEST_F(render, f0_at_or_above_the_sample_rate_is_silent)
{
    t_object *x = create(click);
    for (const double f0 : {44100.0, -44100.0, 1e6, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        feed(x, 0, f0);
        EXPECT_THAT(play(x, 20, 64)[0], Each(0.0)) << f0;
    }
    feed(x, 0, 441); // and has not moved the phase
    EXPECT_EQ(onsets(play(x, 10, 64)[0]), every(100, 6));
}

TEST_F(render, f0_just_below_the_sample_rate_starts_a_fog_at_nearly_every_sample)
{
    t_object *x = create(click);
    feed(x, 0, 44099.9);
    const signal out = play(x, 2, 64)[0];
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(std::count(out.begin() + 1, out.end(), 0.0), 0);
}

TEST_F(render, f0_zero_and_an_unplugged_f0_freeze_the_phase)
{
    t_object *x = create(click);
    feed(x, 0, 441);
    host::run(); // the phase is now 64 samples old
    std::fill_n(host::input(x, 0), 64, 0.0);
    EXPECT_THAT(play(x, 30, 64)[0], Each(0.0));
    host::connect(x, 0, 0);
    EXPECT_THAT(play(x, 30, 64)[0], Each(0.0));
    feed(x, 0, 441);
    EXPECT_EQ(onsets(play(x, 3, 64)[0]), std::vector<long>({35, 135}));
}

TEST_F(render, f0phase_sets_when_the_first_fog_starts)
{
    // tex 1 ms: the height of the first sample tells how long before it the wrap was.
    t_object *x = create("1 sample1 5 0 1 0 1 1 1 0");
    host::start_audio();
    host::send(x, 0, "f0phase 0.995");
    feed(x, 0, 441);
    const double x_ms = 0.5 / 44.1; // half a sample
    EXPECT_NEAR(play(x, 1, 64)[0][0], 0.5 * (1 - std::cos(pi * x_ms)), near_one);
}

TEST_F(render, the_phasor_keeps_time_at_any_sample_rate_and_vector_size)
{
    for (const double rate : {22050.0, 48000.0, 96000.0, 192000.0})
        for (const long n : {1L, 16L, 64L}) {
            host::unload();
            host::set_audio(rate, n);
            // At 1 frame per ms the first block sweeps no further than the others.
            mono_buffer(
                "sample1", 1000, [](long) { return 1; }, 1000);
            t_object *x = create("1 sample1 9 0 1 0 1 0 0.1 0");
            feed(x, 0, rate / 150);
            EXPECT_EQ(onsets(play(x, 900 / n + 1, n)[0]), every(150, 6)) << rate << ' ' << n;
        }
}

// ---- Messages that start fogs -------------------------------------------------------------------

TEST_F(render, a_bang_starts_a_fog_with_the_next_block)
{
    t_object *x = create("1 sample1 5 0 1 0 1 0 5.01 0");
    EXPECT_THAT(play(x, 2, 64)[0], Each(0.0));
    host::send(x, 0, "bang");
    const signal out = play(x, 6, 64)[0];
    EXPECT_EQ(onsets(out), std::vector<long>({0}));
    EXPECT_EQ(length(out), 220); // 5.01 ms are 220.9 samples
}

TEST_F(render, a_float_starts_a_fog_that_many_ms_later_even_beyond_the_block)
{
    t_object *x = create("1 sample1 5 0 1 0 1 0 5.01 0");
    host::start_audio();
    for (const auto &[ms, sample] : {std::pair{"0.5", 22L}, {"10.", 441L}, {"30.", 1323L}}) {
        host::send(x, 0, ms);
        EXPECT_EQ(onsets(play(x, 40, 64)[0]), std::vector<long>({sample})) << ms;
    }
}

TEST_F(render, the_rest_of_a_sample_shifts_the_envelope)
{
    t_object *x = create("1 sample1 5 0 1 0 1 2 5 0");
    host::start_audio();
    for (const double ms : {10.0, 10.01, 10.02}) {
        host::send(x, 0, "float", {host::atom(ms)});
        const signal out = play(x, 20, 64)[0];
        const double x_ms = 1 / 44.1 - (ms - 10); // from the onset to sample 441
        EXPECT_NEAR(out[441], 0.5 * (1 - std::cos(pi * x_ms / 2)), near_one) << ms;
        EXPECT_NEAR(out[461], 0.5 * (1 - std::cos(pi * (x_ms + 20 / 44.1) / 2)), near_one) << ms;
    }
}

TEST_F(render, a_negative_float_is_reported_and_starts_a_fog_at_once)
{
    t_object *x = create(click);
    host::start_audio();
    host::send(x, 0, "-1.");
    EXPECT_EQ(onsets(play(x, 2, 64)[0]), std::vector<long>({0}));
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: parameter 'start' (-1.00e+00) out of range "
                                       "[0.00e+00 .. 1.00e+38] - set to 0.00e+00"));
}

TEST_F(render, a_fog_of_no_length_ends_after_its_first_block_in_spite_of_its_delay)
{
    t_object *x = create("1 sample1 5 0 1 0 1 0 0 0");
    host::start_audio();
    host::send(x, 0, "100.");
    EXPECT_EQ(ask(x, "usedfogs"), 1);
    EXPECT_THAT(play(x, 1, 64)[0], Each(0.0));
    EXPECT_EQ(ask(x, "usedfogs"), 0);
}

// ---- Pool ---------------------------------------------------------------------------------------

TEST_F(render, out_of_fogs_is_counted_and_reported_once_per_1001_ms)
{
    t_object *x = create("1 sample1 5 0 1 0 1 0 200 0");
    host::start_audio();
    for (int i = 0; i < 1005; ++i) host::send(x, 0, "bang"); // 5 start, 1000 are dropped
    std::vector<host::line> rows = host::take_console();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].text, "k.vorb~: out of fogs (1)");
    EXPECT_TRUE(rows[0].error);
    EXPECT_EQ(rows[0].object, x);
    EXPECT_EQ(rows[0].ms, 100000);
    host::set_time(101000);
    host::send(x, 0, "bang");
    EXPECT_THAT(console(), IsEmpty());
    host::set_time(101001);
    feed(x, 0, 44100.0 / 64); // from the audio thread as well, at the end of a block
    host::run();
    rows = host::take_console();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].text, "k.vorb~: out of fogs (1001)");
    EXPECT_EQ(rows[0].ms, 101001);
}

TEST_F(render, a_silenced_pool_still_resets_its_counter)
{
    t_object *x = create("1 sample1 1 0 1 0 1 0 200 0"), *other = create("1");
    host::start_audio();
    host::send(other, 0, "silent 1");
    for (int i = 0; i < 4; ++i) host::send(x, 0, "bang");
    EXPECT_THAT(console(), IsEmpty());
    host::send(other, 0, "silent 0");
    host::set_time(102000);
    host::send(x, 0, "bang");
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: out of fogs (3)")); // 2 after the hidden report
}

TEST_F(render, the_limit_band_shortens_fogs_and_then_refuses_them)
{
    t_object *x = create("1 sample1 8 0 1 0 1 0 20.01 0");
    host::start_audio();
    host::send(x, 0, "limit 2 5");
    for (int i = 0; i < 7; ++i) host::send(x, 0, "bang");
    EXPECT_THAT(console(), ElementsAre("scaler = 0.666667", "scaler = 0.333333",
                                       "!k.vorb~: fogs upper limit reached (1)"));
    EXPECT_EQ(ask(x, "usedfogs"), 5);
    const signal out = play(x, 20, 64)[0];
    // 882.4 samples thrice, then 2/3 of them, then 1/3 of what that left.
    EXPECT_NEAR(out[195], 5, 5 * near_one);
    EXPECT_NEAR(out[196], 4, 4 * near_one);
    EXPECT_NEAR(out[587], 4, 4 * near_one);
    EXPECT_NEAR(out[588], 3, 3 * near_one);
    EXPECT_NEAR(out[881], 3, 3 * near_one);
    EXPECT_EQ(length(out), 882);
    host::send(x, 0, "bang"); // the shortening stays
    EXPECT_EQ(length(play(x, 20, 64)[0]), 196);
    host::send(x, 6, "20.01");
    host::send(x, 0, "bang");
    EXPECT_EQ(length(play(x, 20, 64)[0]), 882);
}

TEST_F(render, reset_and_maxfogs_stop_all_fogs_with_the_next_block)
{
    for (const char *message : {"reset", "maxfogs 5"}) {
        t_object *x = create("1 sample1 5 0 1 0 1 0 200 0");
        host::start_audio();
        host::send(x, 0, "bang, 5.");
        EXPECT_NEAR(play(x, 5, 64)[0].back(), 2, 2 * near_one);
        host::send(x, 0, message);
        EXPECT_THAT(play(x, 5, 64)[0], Each(0.0)) << message;
        EXPECT_EQ(ask(x, "freefogs"), 5);
    }
}

TEST_F(render, without_triggers_everything_ends)
{
    for (const int layout : layouts) {
        t_object *x = create(std::to_string(layout) + " sample1 40 0 1 50 1 5 20 30");
        feed(x, 0, 1234.5);
        play(x, 60, 64);
        EXPECT_LT(ask(x, "freefogs"), 10);
        host::connect(x, 0, 0);
        play(x, 40, 64); // 50 ms are 2205 samples
        EXPECT_EQ(ask(x, "freefogs"), 40);
        for (const signal &out : play(x, 2, 64)) EXPECT_THAT(out, Each(0.0));
    }
}

// ---- Sound --------------------------------------------------------------------------------------

TEST_F(render, each_layout_takes_its_gain_slots)
{
    const std::pair<int, std::vector<double>> rows[] = {{1, {1}},
                                                        {2, {1, 2}},
                                                        {4, {1, 2, 3, 4}},
                                                        {6, {1, 2, 3, 4, 9, 10}},
                                                        {10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}};
    for (const auto &[layout, gains] : rows) {
        t_object *x = create(std::to_string(layout) + " sample1 5 0 1 0 1 0 50 0");
        host::start_audio();
        host::send(x, 0, "list 1 2 3 4 5 6 7 8 9 10, bang, list 0");
        const std::vector<signal> out = play(x, 1, 64);
        ASSERT_EQ(out.size(), gains.size());
        for (std::size_t o = 0; o < gains.size(); ++o)
            EXPECT_NEAR(out[o][40], gains[o], gains[o] * near_one) << layout << ' ' << o;
    }
}

TEST_F(render, the_envelope_rises_decays_and_falls)
{
    t_object *x = create("1 sample1 5 0 1 30 0.5 5 20 10");
    host::start_audio();
    host::send(x, 0, "bang");
    const signal out = play(x, 30, 64)[0];
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double ms = static_cast<double>(i + 1) / 44.1; // a bang lies one sample back
        const double rise = ms < 5 ? 0.5 * (1 - std::cos(pi * ms / 5)) : 1;
        const double fall = ms < 20 ? 1 : ms < 30 ? 0.5 * (1 + std::cos(pi * (ms - 20) / 10)) : 0;
        ASSERT_NEAR(out[i], 0.5 * rise * fall * std::exp(-pi * 30 * ms * 0.001), near_one) << i;
    }
}

TEST_F(render, two_fogs_sum)
{
    mono_buffer("sample1", 44100, [](long i) { return std::sin(static_cast<double>(i) * 0.05); });
    const auto fogs = [&](bool first, bool second) {
        t_object *x = create("2 sample1 5 0 1 30 0.7 5 20 10");
        host::start_audio();
        if (first) host::send(x, 0, "bang");
        host::send(x, 2, "1.5");
        if (second) host::send(x, 0, "5.3");
        std::vector<signal> out = play(x, 40, 64);
        host::destroy(x);
        return out;
    };
    const auto one = fogs(true, false), two = fogs(false, true), both = fogs(true, true);
    for (std::size_t o = 0; o < 2; ++o)
        for (std::size_t i = 0; i < both[o].size(); ++i)
            ASSERT_EQ(both[o][i], one[o][i] + two[o][i]) << o << ' ' << i;
}

// ---- Console ------------------------------------------------------------------------------------

TEST_F(render, test_prints_the_lines_of_one_block)
{
    t_object *x = create("1");
    host::start_audio();
    host::send(x, 0, "test 1");
    host::run();
    EXPECT_THAT(console(), ElementsAre("ctl->inputs.sig_f0=0", "ctl->inputs.sig_offset=0"));
    feed(x, 0, 110.5);
    feed(x, 1, 20.25);
    host::run();
    EXPECT_THAT(console(), IsEmpty());
    host::send(x, 0, "test 7");
    play(x, 3, 64);
    EXPECT_THAT(
        console(),
        ElementsAre("ctl->inputs.sig_f0=1", "ctl->inputs.sig_offset=1",
                    "enter vorb_run_phasor, freq[0]=110.500000, offset[0]=20.250000, n=64"));
    host::send(x, 3, "test 1");
    host::run();
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
