// The pool: its two lists, what a fog takes with it, the return of ended fogs, and the messages
// that count, reset and resize.
#include "session.h"

#include <random>
#include <set>

namespace {

class pool : public session {
protected:
    /// Indexes of the fogs of a list, from its head.
    static std::vector<std::int64_t> list(const vorb *x, const vorb_fog *head)
    {
        std::vector<std::int64_t> indexes;
        for (; head && indexes.size() <= vorb_pool_size; head = head->next)
            indexes.push_back(head - x->pool.fogs);
        return indexes;
    }

    static std::vector<std::int64_t> used(const vorb *x) { return list(x, x->pool.used); }
    static std::vector<std::int64_t> free(const vorb *x) { return list(x, x->pool.free); }

    static std::vector<std::int64_t> first(std::int64_t n)
    {
        std::vector<std::int64_t> indexes;
        for (std::int64_t k = 0; k < n; ++k) indexes.push_back(k);
        return indexes;
    }

    /// Every one of the first `maxfogs` fogs is on exactly one list, no other is on any.
    static void expect_whole(const vorb *x)
    {
        const std::vector<std::int64_t> f = free(x), u = used(x);
        std::multiset<std::int64_t> all(f.begin(), f.end());
        all.insert(u.begin(), u.end());
        const std::vector<std::int64_t> wanted = first(x->pool.maxfogs);
        EXPECT_EQ(all, (std::multiset<std::int64_t>(wanted.begin(), wanted.end())));
        EXPECT_EQ(x->pool.nfree, std::int64_t(f.size()));
    }

    /// Starts a fog of so many samples; with x one sample period, debatt sets the length.
    static void start(vorb *x, std::int64_t samples)
    {
        x->inputs.debatt_all = 0;
        x->inputs.tex = x->inputs.atten = 0;
        x->inputs.debatt = (double(samples) + 0.5) * x->inputs.sp;
        vorb_trigger(x, 0, 0);
    }

    vorb *sounding(const std::string &arguments)
    {
        mono_buffer("sample1", 44100, [](long) { return 1; });
        vorb *x = create(arguments);
        host::start_audio();
        return x;
    }
};

// ---- Lists --------------------------------------------------------------------------------------

TEST_F(pool, holds_five_free_fogs_in_order_unless_told_otherwise)
{
    vorb *x = create();
    EXPECT_EQ(x->pool.maxfogs, 5);
    EXPECT_EQ(free(x), first(5));
    EXPECT_THAT(used(x), IsEmpty());
    expect_whole(x);
}

TEST_F(pool, a_new_fog_comes_from_the_head_of_the_one_list_to_the_head_of_the_other)
{
    vorb *x = create("1 sample1 4");
    start(x, 100);
    start(x, 100);
    start(x, 100);
    EXPECT_THAT(used(x), ElementsAre(2, 1, 0));
    EXPECT_THAT(free(x), ElementsAre(3));
    expect_whole(x);
}

TEST_F(pool, an_ended_fog_is_the_next_to_be_taken)
{
    vorb *x = sounding("1 sample1 4 5");
    start(x, 1000);
    start(x, 10);
    start(x, 1000);
    host::run();
    EXPECT_THAT(used(x), ElementsAre(2, 0));
    EXPECT_THAT(free(x), ElementsAre(1, 3));
    start(x, 1000);
    EXPECT_THAT(used(x), ElementsAre(1, 2, 0));
    expect_whole(x);
}

TEST_F(pool, fogs_that_end_in_one_block_return_newest_first)
{
    for (const char *layout : {"1", "2", "4", "6", "10"}) {
        SCOPED_TRACE(layout);
        vorb *x = sounding(layout + std::string(" sample1 5 5"));
        for (const int samples : {10, 64, 1000, 20}) start(x, samples);
        host::run();
        EXPECT_THAT(used(x), ElementsAre(2));
        EXPECT_THAT(free(x), ElementsAre(0, 1, 3, 4));
        expect_whole(x);
        host::destroy(object(x));
    }
}

TEST_F(pool, stays_whole_whatever_happens)
{
    std::mt19937 bits(5);
    const auto below = [&](std::uint32_t n) { return std::int64_t(bits() % n); };
    for (const char *layout : {"1", "2", "4", "6", "10"}) {
        vorb *x = sounding(layout + std::string(" sample1 20 5"));
        host::connect(object(x), 0);
        bool buffer = true;
        for (int round = 0; round < 4000; ++round) {
            SCOPED_TRACE(::testing::Message() << "layout " << layout << " round " << round);
            switch (below(10)) {
            case 0:
                host::run();
                break;
            case 1:
                send(x, 0, "bang");
                break;
            case 2:
                vorb_trigger(x, below(64), double(below(100)) * 1e-7);
                break;
            case 3:
                start(x, below(500));
                break;
            case 4:
                host::input(object(x), 0)[below(64)] = double(below(30000));
                break;
            case 5:
                send(x, 0, "limit", {host::atom(below(20)), host::atom(below(30))});
                break;
            case 6:
                if (below(10) != 0) break;
                send(x, 0, "maxfogs", {host::atom(below(130) - 10)});
                EXPECT_THAT(used(x), IsEmpty());
                break;
            case 7:
                if (below(10) != 0) break;
                send(x, 0, "reset");
                EXPECT_EQ(free(x), first(x->pool.maxfogs));
                break;
            case 8:
                if (buffer) host::delete_buffer("sample1");
                else mono_buffer("sample1", 44100, [](long) { return 1; });
                buffer = !buffer;
                break;
            default:
                send(x, 0, "tex 3, atten 2, debatt 7");
            }
            expect_whole(x);
            if (HasFailure()) return;
        }
        host::destroy(object(x));
    }
}

TEST_F(pool, without_triggers_everything_returns)
{
    vorb *x = sounding("2 sample1 50 5 1 20 1 4 10 30");
    for (int k = 0; k < 50; ++k) send(x, 0, "float", {host::atom(double(k))});
    EXPECT_EQ(x->pool.nfree, 0);
    for (int k = 0; k < 70; ++k) host::run(); // 49 ms late, 40 ms long
    EXPECT_EQ(x->pool.nfree, 50);
    expect_whole(x);
}

// ---- What a fog takes with it -------------------------------------------------------------------

TEST_F(pool, a_fog_takes_a_copy_of_the_inputs)
{
    vorb *x = sounding("10 sample1 5 5 1 100 1 10 50 20");
    send(x, 0, "list 0.125 0.25 0.375 0.5 0.625 0.75 0.875 1. 1.125 1.25");
    send(x, 0, "bang");
    const vorb_fog &f = *x->pool.used;
    EXPECT_EQ(f.channels, 10);
    for (int k = 0; k < vorb_slots; ++k) EXPECT_EQ(f.gains[k], 0.125 * (k + 1));
    EXPECT_EQ(f.bw_decay, x->inputs.bw_decay);
    EXPECT_EQ(f.tex_cos2, x->inputs.tex_cos2);
    EXPECT_EQ(f.atten_cos2, x->inputs.atten_cos2);
    EXPECT_EQ(f.reader.vs_inv, 1.0 / 64);
    EXPECT_EQ(f.reader.vs8, 512.0);
    EXPECT_EQ(f.reader.bufref, x->inputs.bufref);
    send(x, 0, "amp 9, set other");
    host::drain();
    EXPECT_EQ(f.gains[9], 1.25);
    EXPECT_NE(f.reader.bufref, x->inputs.bufref);
}

TEST_F(pool, the_index_and_the_time_of_a_trigger_place_the_fog)
{
    vorb *x = sounding("1 sample1 5 5 2");
    const double sp = 1 / 44100.0, latency = (12 + 2 * 64) * 1000 * sp;
    vorb_trigger(x, 30, 0.25 * sp);
    EXPECT_EQ(x->pool.used->delay, 30);
    EXPECT_NEAR(x->pool.used->reader.pos_ms, latency + 5 - 30.25 * sp * 2 * 1000, 1e-9);
}

TEST_F(pool, a_fog_started_before_the_first_table_is_set_never_has_one)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 1 sample1 5 5 0 0 1 0 1000 0"));
    host::start_audio();
    send(x, 0, "bang");
    host::drain();
    send(x, 0, "bang");
    EXPECT_NE(x->inputs.bufref, nullptr);
    const vorb_fog &early = x->pool.fogs[0], &late = x->pool.fogs[1];
    EXPECT_EQ(early.reader.bufref, nullptr);
    EXPECT_EQ(late.reader.bufref, x->inputs.bufref);
    EXPECT_NEAR(block(x)[20], 1, 1e-6); // one of the two
    EXPECT_THAT(used(x), ElementsAre(1, 0));
}

// ---- Messages -----------------------------------------------------------------------------------

TEST_F(pool, maxfogs_is_bounded_with_a_word_above_and_without_one_below)
{
    const struct {
        const char *asked;
        std::int64_t got;
        const char *text;
    } cases[] = {
        {"0", 1, ""},
        {"-3", 1, ""},
        {"", 1, ""}, // a missing number is 0
        {"1", 1, ""},
        {"100", 100, ""},
        {"101", 100, "!k.vorb~: maxfogs out of range (101), set to 100"},
        {"250", 100, "!k.vorb~: maxfogs out of range (250), set to 100"},
        {"-9223372036854775808", 1, ""},
        {"9223372036854775807", 100,
         "!k.vorb~: maxfogs out of range (9223372036854775807), set to 100"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.asked);
        vorb *x = create();
        send(x, 0, std::string("maxfogs ") + c.asked);
        EXPECT_EQ(x->pool.maxfogs, c.got);
        EXPECT_EQ(free(x), first(c.got));
        if (*c.text) EXPECT_THAT(console(), ElementsAre(c.text));
        else EXPECT_THAT(console(), IsEmpty());
        expect_whole(x);
    }
}

TEST_F(pool, the_creation_argument_is_bounded_likewise)
{
    const struct {
        const char *asked;
        std::int64_t got;
        const char *text;
    } cases[] = {
        {"0", 1, ""},      {"-3", 1, ""},
        {"2.9", 2, ""},    {"250", 100, "!k.vorb~: maxfogs out of range (250), set to 100"},
        {"1e38", 1, ""}, // no integer counts as 0
        {"-1e300", 1, ""}, {"many", 1, "!k.vorb~: expected number argument"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.asked);
        vorb *x = create(std::string("1 sample1 ") + c.asked);
        EXPECT_EQ(x->pool.maxfogs, c.got);
        if (*c.text) EXPECT_THAT(born, ElementsAre(c.text));
        else EXPECT_THAT(born, IsEmpty());
        expect_whole(x);
    }
}

TEST_F(pool, maxfogs_and_reset_drop_what_sounds_and_clear_nothing_else)
{
    vorb *x = sounding("1 sample1 4 5 0 0 1 0 1000 0");
    for (const char *message : {"maxfogs 4", "reset"}) {
        SCOPED_TRACE(message);
        send(x, 0, "bang, bang, bang");
        EXPECT_NEAR(block(x)[63], 3, 1e-6);
        x->pool.fogs[1].reader.lp_y[3] = 7;
        send(x, 0, message);
        EXPECT_THAT(used(x), IsEmpty());
        EXPECT_EQ(free(x), first(4)); // in order again
        EXPECT_EQ(x->pool.fogs[1].reader.lp_y[3], 7.0);
        EXPECT_THAT(block(x), ::testing::Each(0.0));
    }
}

TEST_F(pool, a_smaller_pool_never_uses_the_fogs_beyond_it)
{
    vorb *x = create("1 sample1 8");
    for (int k = 0; k < 8; ++k) start(x, 100);
    send(x, 0, "maxfogs 3");
    for (int k = 0; k < 8; ++k) start(x, 100);
    EXPECT_THAT(used(x), ElementsAre(2, 1, 0));
    expect_whole(x);
}

TEST_F(pool, reports_free_and_used_fogs_on_request)
{
    vorb *x = create("2 sample1 8");
    send(x, 0, "bang, bang, bang, freefogs, usedfogs");
    EXPECT_THAT(host::take_numbers(), ::testing::Each(::testing::Field(&host::number::outlet, 2)));
    send(x, 0, "freefogs, usedfogs");
    EXPECT_THAT(numbers(), ElementsAre(5, 3));
    send(x, 0, "reset, usedfogs, freefogs");
    EXPECT_THAT(numbers(), ElementsAre(0, 8));
}

TEST_F(pool, its_messages_take_one_or_two_numbers_and_truncate_them)
{
    const char bad[] = "!bad arguments for message \"", extra[] = "!extra arguments for message \"";
    const struct {
        const char *text, *complaint;
        std::int64_t fogs, low, high;
    } cases[] = {
        {"maxfogs foo", bad, 8, 2, 4},   {"maxfogs 3 4", extra, 3, 2, 4},
        {"maxfogs 3.9", "", 3, 2, 4},    {"silent foo", bad, 8, 2, 4},
        {"limit 1 foo", bad, 8, 2, 4},   {"limit foo 1", bad, 8, 2, 4},
        {"limit 1 2 3", extra, 8, 1, 2}, {"limit 1.9 3.9", "", 8, 1, 3},
        {"reset 5", extra, 8, 2, 4},     {"freefogs foo", extra, 8, 2, 4},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        vorb *x = create("1 sample1 8");
        send(x, 0, "limit 2 4");
        send(x, 0, c.text);
        const std::vector<std::string> rows = console();
        ASSERT_EQ(rows.size(), *c.complaint ? 1u : 0u);
        for (const std::string &row : rows) EXPECT_THAT(row, ::testing::StartsWith(c.complaint));
        EXPECT_EQ(x->pool.maxfogs, c.fogs);
        EXPECT_EQ(x->inputs.limit_low, c.low);
        EXPECT_EQ(x->inputs.limit_high, c.high);
    }
}

TEST_F(pool, its_messages_are_ignored_at_every_other_inlet)
{
    vorb *x = create("1 sample1 8");
    send(x, 0, "limit 2 4, bang");
    for (int inlet = 1; inlet < vorb_signal_inlets; ++inlet) {
        SCOPED_TRACE(inlet);
        send(x, inlet, "reset, freefogs, usedfogs, maxfogs 250, silent 1, limit 1 3, limit 9 9");
        EXPECT_THAT(used(x), ElementsAre(0));
        EXPECT_EQ(x->pool.maxfogs, 8);
        EXPECT_EQ(vorb_error_silent, 0);
        EXPECT_EQ(x->inputs.limit_low, 2);
        EXPECT_EQ(x->inputs.limit_high, 4);
        EXPECT_THAT(numbers(), IsEmpty());
        EXPECT_THAT(console(), IsEmpty());
    }
}

} // namespace
