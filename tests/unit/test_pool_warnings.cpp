// Dropped fogs, and the warnings that all instances share.
#include "pool_session.h"

namespace {

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
