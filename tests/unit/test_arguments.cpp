// Creation arguments: each is read, checked and kept like a number at its inlet.
#include "session.h"

#include <limits>
#include <utility>

namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr const char *no_number = "!k.vorb~: expected number argument";

class arguments : public session {
protected:
    /// Runs creation arguments through an instance once more: boxes cannot spell every number.
    static void initialize(vorb *x, host::atoms values)
    {
        vorb_bufref_freeall(x);
        vorb_initialize(x, static_cast<long>(values.size()), values.data());
        host::drain();
    }
};

TEST_F(arguments, without_arguments_has_the_defaults)
{
    const vorb *x = create();
    const inputs &in = x->inputs;
    EXPECT_THAT(born, IsEmpty());
    EXPECT_EQ(in.channels, 1);
    EXPECT_EQ(in.table, gensym("sample1"));
    EXPECT_NE(in.bufref, nullptr);
    EXPECT_EQ(x->pool.maxfogs, 5);
    EXPECT_EQ(x->pool.nfree, 5);
    EXPECT_EQ(x->pool.free, &x->pool.fogs[0]);
    EXPECT_EQ(x->pool.used, nullptr);
    EXPECT_EQ(in.offset, 140 * (1000 * (1.0 / 44100))); // 12 + 2 * 64 samples of latency
    EXPECT_EQ(in.offset, in.latency_ms);
    EXPECT_EQ(in.trans, 1);
    EXPECT_EQ(in.bw, 0);
    EXPECT_THAT(in.amps, Each(1.0));
    EXPECT_EQ(in.gain, 1);
    EXPECT_EQ(in.tex, 0);
    EXPECT_EQ(in.debatt, 0);
    EXPECT_EQ(in.debatt_all, 1);
    EXPECT_EQ(in.atten, 0);
    EXPECT_EQ(in.lp1, 1);
    EXPECT_EQ(in.lp1m, 0);
    EXPECT_EQ(in.lp2, 0);
    EXPECT_EQ(in.changed, 1);
    // What nothing has set is zero.
    EXPECT_EQ(in.limit_low, 0);
    EXPECT_EQ(in.limit_high, 0);
    EXPECT_EQ(in.sig_f0, 0);
    EXPECT_EQ(in.sig_offset, 0);
    EXPECT_EQ(in.vs_inv, 0);
    EXPECT_EQ(in.vs8, 0);
    EXPECT_EQ(in.phase, 0);
    EXPECT_EQ(x->forced_inlet, 0);
    EXPECT_EQ(x->debug, 0);
}

TEST_F(arguments, every_argument_reaches_its_parameter_in_the_unit_it_is_kept_in)
{
    const vorb *x = create("6 voice 20 100.5 2 50 0.5 10 250 30 0.5");
    const inputs &in = x->inputs;
    EXPECT_THAT(born, IsEmpty());
    EXPECT_EQ(in.channels, 6);
    EXPECT_EQ(in.table, gensym("voice"));
    EXPECT_EQ(x->pool.maxfogs, 20);
    EXPECT_EQ(in.offset, 140 * (1000 * (1.0 / 44100)) + 100.5);
    EXPECT_EQ(in.trans, 2);
    EXPECT_EQ(in.bw, 50);
    EXPECT_THAT(in.amps, Each(0.5));
    EXPECT_EQ(in.tex, 10 * 0.001);
    EXPECT_EQ(in.debatt, 250 * 0.001);
    EXPECT_EQ(in.debatt_all, 0);
    EXPECT_EQ(in.atten, 30 * 0.001);
    EXPECT_EQ(in.lp1, 1.0 / 32);
    EXPECT_EQ(in.lp1m, 1.0 / 32 - 1);
    EXPECT_EQ(in.lp2, 0);
}

TEST_F(arguments, numbers_are_narrowed_to_single_precision)
{
    const inputs &in = create("1 sample1 5 0.1 0.1")->inputs;
    EXPECT_EQ(in.offset, in.latency_ms + double(0.1f));
    EXPECT_EQ(in.trans, double(0.1f));
}

TEST_F(arguments, the_layout_is_truncated_and_must_be_one_of_five)
{
    for (const char *good : {"1", "2", "4", "6", "10", "2.9", "1.5", "10.999"}) {
        SCOPED_TRACE(good);
        EXPECT_EQ(create(good)->inputs.channels, std::int64_t(std::stod(good)));
        EXPECT_THAT(born, IsEmpty());
    }
    const struct {
        const char *given, *reported;
    } bad[] = {{"0", "0"},    {"3", "3"},
               {"5", "5"},    {"7", "7"},
               {"8", "8"},    {"9", "9"},
               {"0.5", "0"},  {"-0.9", "0"},
               {"-2", "-2"},  {"-1.9", "-1"},
               {"11", "11"},  {"3.99", "3"},
               {"1e30", "0"}, {"4294967298", "4294967296"}};
    for (const auto &[given, reported] : bad) {
        SCOPED_TRACE(given);
        vorb *x = create(given);
        EXPECT_THAT(born, ElementsAre(std::string("!k.vorb~: illegal channel count (") + reported +
                                      "), set to 1"));
        EXPECT_EQ(x->inputs.channels, 1);
        EXPECT_EQ(host::signal_outlets(object(x)), 1);
    }
}

TEST_F(arguments, a_layout_that_is_no_number_counts_as_zero)
{
    EXPECT_EQ(create("voice")->inputs.channels, 1);
    EXPECT_THAT(born, ElementsAre(no_number, "!k.vorb~: illegal channel count (0), set to 1"));
}

TEST_F(arguments, numbers_without_an_integer_count_as_zero)
{
    vorb *x = create();
    for (const double wild : {not_a_number, infinity, -infinity, 1e300}) {
        SCOPED_TRACE(wild);
        initialize(x, {host::atom(wild), host::atom("sample1"), host::atom(wild)});
        EXPECT_THAT(console(), ElementsAre("!k.vorb~: illegal channel count (0), set to 1"));
        EXPECT_EQ(x->inputs.channels, 1);
        EXPECT_EQ(x->pool.maxfogs, 1);
    }
}

TEST_F(arguments, a_number_for_a_table_name_is_ignored)
{
    for (const char *given : {"1 7", "1 7.5", "1"}) {
        SCOPED_TRACE(given);
        EXPECT_EQ(create(given)->inputs.table, gensym("sample1"));
        EXPECT_THAT(born, IsEmpty());
    }
    EXPECT_EQ(create("1 \"7\"")->inputs.table, gensym("7"));
}

TEST_F(arguments, the_number_of_fogs_is_truncated_and_bounded)
{
    for (const auto &[given, expected] : std::vector<std::pair<std::string, int>>{
             {"1", 1}, {"7.9", 7}, {"100", 100}, {"100.5", 100}, {"0", 1}, {"-3", 1}, {"0.9", 1}}) {
        SCOPED_TRACE(given);
        const vorb *x = create("1 sample1 " + given);
        EXPECT_EQ(x->pool.maxfogs, expected);
        EXPECT_EQ(x->pool.nfree, expected);
        EXPECT_THAT(born, IsEmpty());
    }
    EXPECT_EQ(create("1 sample1 250")->pool.maxfogs, 100);
    EXPECT_THAT(born, ElementsAre("!k.vorb~: maxfogs out of range (250), set to 100"));
    EXPECT_EQ(create("1 sample1 99.9999999")->pool.maxfogs, 100); // a single-precision 100
    EXPECT_THAT(born, IsEmpty());
    create("1 sample1 16777217");
    EXPECT_THAT(born, ElementsAre("!k.vorb~: maxfogs out of range (16777216), set to 100"));
    create("1 sample1 1e10");
    EXPECT_THAT(born, ElementsAre("!k.vorb~: maxfogs out of range (10000000000), set to 100"));
    EXPECT_EQ(create("1 sample1 many")->pool.maxfogs, 1);
    EXPECT_THAT(born, ElementsAre(no_number));
}

TEST_F(arguments, the_start_of_attenuation_is_a_number_or_all)
{
    const inputs &number = create("1 sample1 5 0 1 0 1 0 250")->inputs;
    EXPECT_EQ(number.debatt_all, 0);
    EXPECT_EQ(number.debatt, 250 * 0.001);

    const vorb *all = create("1 sample1 5 0 1 0 1 0 all 40");
    EXPECT_EQ(all->inputs.debatt_all, 1);
    EXPECT_EQ(all->inputs.debatt, 0);
    EXPECT_EQ(all->inputs.changed, 1);
    EXPECT_EQ(all->inputs.atten, 40 * 0.001); // the next argument still finds its inlet
    EXPECT_EQ(all->forced_inlet, 0);
    EXPECT_THAT(born, IsEmpty());

    const inputs &other = create("1 sample1 5 0 1 0 1 0 some")->inputs;
    EXPECT_EQ(other.debatt_all, 0);
    EXPECT_EQ(other.debatt, 0);
    EXPECT_THAT(born, ElementsAre(no_number));
}

TEST_F(arguments, what_is_no_number_counts_as_zero_at_every_inlet)
{
    const inputs &in = create("2 sample1 5 a b c d e f g h")->inputs;
    EXPECT_THAT(born, ElementsAreArray(std::vector<std::string>(8, no_number)));
    EXPECT_EQ(in.offset, in.latency_ms);
    EXPECT_EQ(in.trans, 0); // the value 0, not the default
    EXPECT_THAT(in.amps, Each(0.0));
    EXPECT_EQ(in.lp1, 1.0 / 1024);
}

TEST_F(arguments, those_beyond_the_eleventh_are_ignored)
{
    const inputs &in = create("1 sample1 5 0 1 0 1 0 all 0 0.5 99 foo")->inputs;
    EXPECT_THAT(born, IsEmpty());
    EXPECT_EQ(in.lp1, 1.0 / 32);
}

TEST_F(arguments, infinities_are_out_of_range_and_what_is_no_number_at_all_stays)
{
    vorb *x = create();
    for (int k = 3; k <= 10; ++k) {
        SCOPED_TRACE(k);
        for (const double wild : {infinity, -infinity, not_a_number}) {
            host::atoms given = host::parse("1 sample1 5 0 1 0 1 0 0 0 1");
            given[size_t(k)] = host::atom(wild);
            initialize(x, given);
            const std::vector<std::string> rows = console();
            ASSERT_EQ(rows.size(), std::isnan(wild) ? 0u : 1u);
            for (const std::string &row : rows) EXPECT_THAT(row, HasSubstr("out of range"));
        }
    }
}

TEST_F(arguments, only_a_symbol_is_all)
{
    vorb *x = create();
    host::atoms given = host::parse("1 sample1 5 0 1 0 1 0 0");
    given[8].a_w.w_long = t_atom_long(reinterpret_cast<std::intptr_t>(gensym("all")));
    initialize(x, given); // a number with the bits of that symbol
    EXPECT_EQ(x->inputs.debatt_all, 0);
}

TEST_F(arguments, values_out_of_range_are_reported_in_order_and_replaced)
{
    const inputs &in = create("2 sample1 5 -1 -2 30000 1e39 -3 -4 -5 2")->inputs;
    const std::string head = "!k.vorb~: parameter '", to = ".. 1.00e+38] - set to ";
    EXPECT_THAT(
        born,
        ElementsAre(
            head + "offset' (-1.00e+00) out of range [0.00e+00 " + to + "0.00e+00",
            head + "transposition' (-2.00e+00) out of range [0.00e+00 " + to + "1.00e+00",
            head + "bandwidth' (3.00e+04) out of range [0.00e+00 .. 2.20e+04] - set to 0.00e+00",
            head + "amplitude' (inf) out of range [-1.00e+38 " + to + "0.00e+00",
            head + "tex' (-3.00e+00) out of range [0.00e+00 " + to + "0.00e+00",
            head + "debatt' (-4.00e+00) out of range [0.00e+00 " + to + "0.00e+00",
            head + "atten' (-5.00e+00) out of range [0.00e+00 " + to + "0.00e+00",
            head + "lowpass' (2.00e+00) out of range [0.00e+00 .. 1.00e+00] - set to 1.00e+00"));
    EXPECT_EQ(in.trans, 1);
    EXPECT_EQ(in.bw, 0);
    EXPECT_THAT(in.amps, Each(0.0));
    EXPECT_EQ(in.lp1, 1);
}

TEST_F(arguments, console_rows_of_the_arguments_name_the_instance)
{
    t_object *x = host::create("k.vorb~ 3 sample1 500 -1 nothing");
    const std::vector<host::line> rows = host::take_console();
    EXPECT_EQ(rows.size(), 4u);
    for (const host::line &row : rows) {
        EXPECT_EQ(row.object, x) << row.text;
        EXPECT_TRUE(row.error) << row.text;
    }
}

} // namespace
