// Dropped fogs: the density limit, and the warnings that all instances share.
#include "session.h"

#include <limits>

namespace {

class pool_limits : public session {
protected:
    static void bang(vorb *x, int times = 1)
    {
        for (int k = 0; k < times; ++k) send(x, 0, "bang");
    }

    static std::int64_t used(const vorb *x) { return x->pool.maxfogs - x->pool.nfree; }

    /// An instance whose next trigger finds no free fog.
    vorb *exhausted()
    {
        vorb *x = create("1 sample1 1");
        bang(x);
        return x;
    }

    /// An instance whose next trigger finds the limit reached.
    vorb *limited()
    {
        vorb *x = create("1 sample1 8");
        send(x, 0, "limit 0 1");
        bang(x);
        return x;
    }
};

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

// ---- Warnings -----------------------------------------------------------------------------------

TEST_F(pool_limits, the_first_dropped_fog_reports_and_a_burst_is_summed_up_in_the_next_report)
{
    for (const bool limit : {false, true}) {
        const std::string text =
            limit ? "!k.vorb~: fogs upper limit reached (" : "!k.vorb~: out of fogs (";
        SCOPED_TRACE(text);
        host::set_time(100000);
        vorb *x = limit ? limited() : exhausted();
        const std::int64_t sounding = used(x);
        bang(x, 1000);
        EXPECT_THAT(console(), ElementsAre(text + "1)"));
        EXPECT_EQ(used(x), sounding);
        host::set_time(101000); // not yet
        bang(x);
        EXPECT_THAT(console(), IsEmpty());
        host::set_time(101001);
        bang(x);
        EXPECT_THAT(console(), ElementsAre(text + "1001)"));
        host::set_time(102002); // from the report, not from the second
        bang(x);
        EXPECT_THAT(console(), ElementsAre(text + "1)"));
    }
}

TEST_F(pool_limits, the_sixth_of_five_fogs_is_dropped_and_counted)
{
    vorb *x = create("1 sample1 5");
    vorb_error_lasttime = 99500;
    bang(x, 5);
    const vorb_fog *newest = x->pool.used;
    EXPECT_EQ(vorb_error_count, 0);
    bang(x);
    EXPECT_EQ(x->pool.used, newest);
    EXPECT_EQ(vorb_error_count, 1);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(pool_limits, in_the_first_second_of_the_clock_drops_are_only_counted)
{
    vorb *x = exhausted(), *y = limited();
    host::set_time(1000);
    bang(x);
    bang(y);
    EXPECT_THAT(console(), IsEmpty());
    EXPECT_EQ(vorb_error_lasttime, 0);
    EXPECT_EQ(vorb_limitwarningr_lasttime, 0);
    host::set_time(1001);
    bang(x);
    bang(y);
    EXPECT_THAT(console(),
                ElementsAre("!k.vorb~: out of fogs (2)", "!k.vorb~: fogs upper limit reached (2)"));
    EXPECT_EQ(vorb_error_lasttime, 1001);
    EXPECT_EQ(vorb_limitwarningr_lasttime, 1001);
}

TEST_F(pool_limits, a_clock_that_has_jumped_back_keeps_the_warnings_waiting)
{
    vorb *x = exhausted();
    vorb_error_lasttime = 2147483647;
    host::set_time(5000);
    bang(x, 3);
    EXPECT_THAT(console(), IsEmpty());
    EXPECT_EQ(vorb_error_count, 3);
}

TEST_F(pool_limits, the_two_kinds_count_apart_and_all_instances_together)
{
    vorb *x = exhausted(), *y = exhausted(), *z = limited();
    bang(x);
    console();
    bang(x, 2);
    bang(y, 3);
    bang(z);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: fogs upper limit reached (1)"));
    host::set_time(102000);
    bang(y);
    const std::vector<host::line> rows = host::take_console();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].text, "k.vorb~: out of fogs (6)");
    EXPECT_EQ(rows[0].object, object(y));
    EXPECT_EQ(vorb_limitwarning_count, 0);
}

TEST_F(pool_limits, silence_is_for_every_instance_and_the_counters_go_on)
{
    vorb *x = exhausted(), *y = limited();
    send(x, 0, "silent 1");
    vorb *z = exhausted(); // made later, and silent too
    EXPECT_EQ(vorb_error_silent, 1);
    for (int second = 100; second < 103; ++second) {
        host::set_time(second * 1001.0);
        for (vorb *each : {x, y, z}) bang(each, 3);
        EXPECT_EQ(vorb_error_lasttime, second * 1001);
        EXPECT_EQ(vorb_error_count, 5); // of six, the first was to be reported
        EXPECT_EQ(vorb_limitwarning_count, 2);
    }
    EXPECT_THAT(console(), IsEmpty());
    send(z, 0, "silent 0");
    host::set_time(110000);
    bang(x);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: out of fogs (6)"));
}

TEST_F(pool_limits, every_number_but_zero_is_silence)
{
    vorb *x = exhausted();
    double now = 200000;
    for (const char *asked : {"1", "2", "-1", "4294967296"}) {
        SCOPED_TRACE(asked);
        send(x, 0, std::string("silent ") + asked);
        host::set_time(now += 2000);
        bang(x);
        EXPECT_THAT(console(), IsEmpty());
    }
}

TEST_F(pool_limits, silence_hides_neither_the_scaler_nor_the_other_reports)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "silent -7, limit 1 3");
    EXPECT_EQ(vorb_error_silent, -7);
    bang(x, 3);
    send(x, 0, "limit 9 9, maxfogs 101");
    EXPECT_THAT(console(), ElementsAre("scaler = 0.500000",
                                       "!k.vorb~: limit: limits out of range (low = 9, high = 9)",
                                       "!k.vorb~: maxfogs out of range (101), set to 100"));
    send(x, 0, "silent"); // a missing number is 0
    EXPECT_EQ(vorb_error_silent, 0);
}

TEST_F(pool_limits, a_new_instance_leaves_the_shared_counters_alone)
{
    vorb *x = exhausted();
    bang(x, 5);
    create();
    EXPECT_EQ(vorb_error_count, 4);
    EXPECT_EQ(vorb_error_lasttime, 100000);
}

TEST_F(pool_limits, a_full_counter_does_not_overflow)
{
    vorb *x = exhausted();
    vorb_error_lasttime = 100000;
    vorb_error_count = std::numeric_limits<std::int32_t>::max();
    bang(x, 2);
    EXPECT_EQ(vorb_error_count, std::numeric_limits<std::int32_t>::max());
}

} // namespace
