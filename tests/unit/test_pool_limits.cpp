// The density limit: when fogs get shorter, and when there are none.
#include "pool_session.h"

namespace {

// ---- Setting the limits -------------------------------------------------------------------------

TEST_F(pool_limits, low_must_lie_below_high_and_high_within_the_pool)
{
    const struct {
        const char *asked;
        bool taken;
        std::int64_t low, high;
    } cases[] = {
        {"2 4", true, 2, 4},
        {"0 1", true, 0, 1},
        {"-5 3", true, -5, 3},
        {"7 8", true, 7, 8},
        {"-9223372036854775808 8", true, std::numeric_limits<std::int64_t>::min(), 8},
        {"-5 -2", true, -5, -2}, // a limit that is never in force
        {"4 4", false, 4, 4},
        {"5 2", false, 5, 2},
        {"1 9", false, 1, 9},
        {"-2 -5", false, -2, -5},
        {"0 9223372036854775807", false, 0, std::numeric_limits<std::int64_t>::max()},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.asked);
        vorb *x = create("1 sample1 8");
        send(x, 0, "limit 1 6");
        send(x, 0, std::string("limit ") + c.asked);
        EXPECT_EQ(x->inputs.limit_low, c.taken ? c.low : 1);
        EXPECT_EQ(x->inputs.limit_high, c.taken ? c.high : 6);
        if (c.taken) EXPECT_THAT(console(), IsEmpty());
        else
            EXPECT_THAT(console(), ElementsAre("!k.vorb~: limit: limits out of range (low = " +
                                               std::to_string(c.low) +
                                               ", high = " + std::to_string(c.high) + ")"));
    }
}

TEST_F(pool_limits, a_high_limit_of_zero_or_none_at_all_switches_off)
{
    vorb *x = create("1 sample1 8");
    for (const char *off : {"limit", "limit 3", "limit 3 0", "limit 0 0"}) {
        SCOPED_TRACE(off);
        send(x, 0, "limit 1 2");
        send(x, 0, off);
        EXPECT_EQ(x->inputs.limit_high, 0);
        EXPECT_EQ(x->inputs.limit_low, 1); // keeps its value
    }
    bang(x, 8);
    EXPECT_EQ(used(x), 8);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(pool_limits, a_negative_high_limit_is_never_in_force)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit -5 -2");
    bang(x, 8);
    EXPECT_EQ(used(x), 8);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(pool_limits, a_smaller_pool_leaves_the_limits_as_they_are)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit 2 6, maxfogs 3");
    EXPECT_EQ(x->inputs.limit_low, 2);
    EXPECT_EQ(x->inputs.limit_high, 6);
    EXPECT_THAT(console(), IsEmpty());
}

// ---- The band -----------------------------------------------------------------------------------

TEST_F(pool_limits, between_the_limits_fogs_get_shorter_and_at_the_upper_one_there_are_none)
{
    vorb *x = create("1 sample1 8 0 1 0 1 16 64 32");
    send(x, 0, "limit 2 4");
    const double tex = x->inputs.tex, debatt = x->inputs.debatt, atten = x->inputs.atten;
    bang(x, 3);
    EXPECT_THAT(console(), IsEmpty());
    EXPECT_EQ(x->inputs.tex, tex);
    bang(x);
    EXPECT_THAT(console(), ElementsAre("scaler = 0.500000"));
    EXPECT_EQ(used(x), 4);
    EXPECT_EQ(x->inputs.tex, tex / 2);
    EXPECT_EQ(x->inputs.debatt, debatt / 2);
    EXPECT_EQ(x->inputs.atten, atten / 2);
    EXPECT_EQ(x->inputs.changed, 0); // the new fog has the shorter times already:
    EXPECT_DOUBLE_EQ(x->pool.used->tex_cos2, 2 * std::cos(x->inputs.pi / (tex / 2) * x->inputs.sp));
    EXPECT_NEAR(double(x->pool.used->tex_count), 0.008 * 44100, 1);
    bang(x);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: fogs upper limit reached (1)"));
    EXPECT_EQ(used(x), 4);
    EXPECT_EQ(x->inputs.tex, tex / 2);
}

TEST_F(pool_limits, above_the_upper_limit_fogs_are_refused_too)
{
    vorb *x = create("1 sample1 8 0 1 0 1 16 64 32");
    const double tex = x->inputs.tex;
    bang(x, 6);
    send(x, 0, "limit 2 4, bang");
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: fogs upper limit reached (1)"));
    EXPECT_EQ(used(x), 6);
    EXPECT_EQ(x->inputs.tex, tex);
}

TEST_F(pool_limits, the_limits_are_bounded_by_the_pool_not_by_what_is_free)
{
    vorb *x = create("1 sample1 8");
    bang(x, 5);
    send(x, 0, "limit 2 6");
    EXPECT_THAT(console(), IsEmpty());
    bang(x);
    EXPECT_THAT(console(), ElementsAre("scaler = 0.250000"));
}

TEST_F(pool_limits, its_rows_name_the_instance)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit 0 2, limit 3 2, bang, bang");
    const auto rows = host::take_console();
    ASSERT_EQ(rows.size(), 2u);
    for (const host::line &row : rows) EXPECT_EQ(row.object, object(x)) << row.text;
}

TEST_F(pool_limits, the_shortening_adds_up_until_a_message_sets_new_times)
{
    vorb *x = create("1 sample1 20 0 1 0 1 100 100 100");
    send(x, 0, "limit 0 10");
    double expected = x->inputs.tex;
    for (int sounding = 0; sounding < 10; ++sounding) {
        SCOPED_TRACE(sounding);
        if (sounding > 0) expected *= (10.0 - sounding) / 10.0;
        bang(x);
        EXPECT_EQ(x->inputs.tex, expected);
        EXPECT_EQ(x->inputs.debatt, expected);
        EXPECT_EQ(x->inputs.atten, expected);
    }
    EXPECT_EQ(console().size(), 9u);
    send(x, 0, "reset, tex 100, bang");
    EXPECT_EQ(x->inputs.tex, double(100.f) * 0.001);
    EXPECT_EQ(x->inputs.atten, expected);
}

TEST_F(pool_limits, the_scaler_is_the_free_part_of_the_band)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit -2 6");
    bang(x, 6);
    EXPECT_THAT(console(),
                ElementsAre("scaler = 0.750000", "scaler = 0.625000", "scaler = 0.500000",
                            "scaler = 0.375000", "scaler = 0.250000", "scaler = 0.125000"));
}

TEST_F(pool_limits, a_band_as_wide_as_the_integers_shortens_to_nearly_nothing)
{
    vorb *x = create("1 sample1 8 0 1 0 1 16 64 32");
    const double tex = x->inputs.tex;
    send(x, 0, "limit -9223372036854775808 8");
    bang(x);
    EXPECT_THAT(console(), ElementsAre("scaler = 0.000000"));
    EXPECT_DOUBLE_EQ(x->inputs.tex, tex * 8 / 9223372036854775808.0);
}

TEST_F(pool_limits, all_restores_the_start_of_the_attenuation_behind_the_scaler)
{
    mono_buffer("sample1", 44100, [](long) { return 0; });
    vorb *x = create("1 sample1 8 0 1 0 1 100 all 200");
    send(x, 0, "limit 0 2");
    bang(x, 2);
    EXPECT_DOUBLE_EQ(x->inputs.tex, 0.05);
    EXPECT_DOUBLE_EQ(x->inputs.atten, 0.1);
    EXPECT_DOUBLE_EQ(x->inputs.debatt, 0.9);
}

TEST_F(pool_limits, an_infinite_time_stays_infinite)
{
    mono_buffer("sample1", 44100, [](long) { return 0; });
    vorb *x = create("1 sample1 8 0 0 0 1 100 all 200");
    send(x, 0, "limit 0 2");
    bang(x, 2);
    EXPECT_EQ(x->inputs.debatt, HUGE_VAL);
    EXPECT_EQ(x->pool.used->sustain, 0);
}

TEST_F(pool_limits, automatic_times_are_restored_before_they_are_scaled)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit 0 2, autoenv 2");
    const double f0 = 64, offset = 0;
    for (const double periods : {2.0, 1.0}) { // below the band, then in its middle
        x->inputs.phase = x->inputs.sr;
        vorb_run_phasor(x, &f0, &offset, 1);
        EXPECT_EQ(x->inputs.tex, periods / 64);
        EXPECT_EQ(x->inputs.debatt, periods / 64);
        EXPECT_EQ(x->inputs.atten, periods / 64);
    }
}

TEST_F(pool_limits, an_empty_pool_is_noticed_before_the_band)
{
    vorb *x = create("1 sample1 8 0 1 0 1 16 64 32");
    send(x, 0, "limit 2 6, maxfogs 3");
    bang(x, 3);
    const double tex = x->inputs.tex;
    bang(x);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: out of fogs (1)"));
    EXPECT_EQ(x->inputs.tex, tex);
}

} // namespace
