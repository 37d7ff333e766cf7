// Which inlet answers what: every message at every inlet; and the two ways to look inside.
#include "control_session.h"

#include <set>

namespace {

const std::set<int> everywhere = {0, 1, 2, 3, 4, 5, 6, 7, 8};

struct route {
    const char *selector;
    std::set<int> inlets;                // that answer
    std::vector<const char *> arguments; // each makes a difference where it is answered
    bool any_arguments = false;          // of any number and type
};

void PrintTo(const route &r, std::ostream *out) { *out << r.selector; }

const route routes[] = {
    {"bang", {0}, {""}},
    {"reset", {0}, {""}},
    {"freefogs", {0}, {""}},
    {"usedfogs", {0}, {""}},
    {"maxfogs", {0}, {"", "3", "200", "3.5"}},
    {"silent", {0}, {"", "1"}},
    {"set", {0}, {"", "foo"}},
    {"offset", {0}, {"", "11", "11.5 2", "foo", "-1"}, true},
    {"transp", {0}, {"", "11", "11.5 2", "foo", "-1"}, true},
    {"bw", {0}, {"", "11", "11.5 2", "foo", "-1"}, true},
    {"amp", {0}, {"", "11", "11.5 2", "foo", "1e39"}, true},
    {"list", {0, 4}, {"", "11 12", "1. 2 3 4 5 6 7 8 9 10 11", "11 foo", "1e39 1"}, true},
    {"tex", {0}, {"", "11", "11.5 2", "foo", "-1"}, true},
    {"debatt", {0}, {"", "11", "11.5 2", "all", "foo", "-1"}, true},
    {"atten", {0}, {"", "11", "11.5 2", "foo", "-1"}, true},
    {"lp", {0}, {"", "-1", "-1. 2", "-1 2 3", "foo", "1"}, true},
    {"env", {0}, {"", "1 2 3 4", "1 2 3 4 5", "1. 2 3 4 5 6", "1 0 3 0 0", "foo 2 3 4 5"}, true},
    {"autoenv", {0}, {"", "11", "11.5 2", "1 2 3", "foo", "-1"}, true},
    {"f0phase", {0}, {"", "0.5", "1 2", "foo", "-1"}, true},
    {"limit", {0}, {"", "1", "1 2", "5 2"}},
    {"test", {0}, {"", "1"}},
    {"int", everywhere, {"11", "-1"}},
    {"float", everywhere, {"11.5", "-1"}},
    {"gain", {0, 4}, {"", "11", "0.5 2", "foo", "-1", "0"}, true},
    {"pan", {0, 4}, {"", "1", "1 0.5", "0.5 1. 3", "foo 1", "-1 2"}, true},
    {"pan8", {0, 4}, {"", "1", "1 3", "0.5 7.5 3", "foo 1", "-1 2"}, true},
    {"panb", {0, 4}, {"", "1 2", "1 30 60", "0.5 45. 0 3", "foo 1 2", "-1 2 3"}, true},
    {"angle", {0, 4}, {"", "1", "1 90", "0.5 -45. 3", "foo 1", "-1 2"}, true},
    {"direction", {0, 4}, {"", "1 0 0", "0.5 0.5 0 1", "0 0 1. 3 4", "foo 1 0 0", "2 0 0 1"}, true},
    {"polar", {0, 4}, {"", "90 0", "45 30 1", "0. 0 3 4", "foo 1 2", "200 0 1"}, true},
    {"aux1", {0, 4}, {"", "0.25", "1 2", "foo", "1e39"}, true},
    {"aux2", {0, 4}, {"", "0.25", "1 2", "foo", "1e39"}, true},
    {"all", {0, 6}, {""}},
};

/// All that a message could touch.
struct state {
    std::string record; // the instance behind the host's header, fogs and all
    std::int64_t silent;
    std::vector<std::string> said;
    std::vector<t_atom_long> sent;

    bool operator==(const state &other) const
    {
        return record == other.record && silent == other.silent && said == other.said &&
               sent == other.sent;
    }
};

class control_traces : public control {
protected:
    /// An instance in which every message with an effect leaves a trace.
    vorb *prepared()
    {
        vorb *x = varied();
        send(x, 0, "bang"); // for `reset`
        x->inputs.changed = x->inputs.debatt_all = 0;
        x->inputs.limit_low = 4;
        x->inputs.limit_high = 6;
        x->debug = 9;
        vorb_error_silent = 7;
        return x;
    }

    state now(vorb *x)
    {
        host::drain();
        const char *first = reinterpret_cast<const char *>(x);
        return {{first + offsetof(vorb, forced_inlet), first + sizeof(vorb)},
                vorb_error_silent,
                console(),
                numbers()};
    }
};

class control_routes : public control_traces, public ::testing::WithParamInterface<route> {
protected:
    /// Whether a message leaves a trace.
    bool answered(int inlet, const host::atoms &arguments)
    {
        vorb *x = prepared();
        const state before = now(x);
        send(x, inlet, GetParam().selector, arguments);
        const bool trace = !(now(x) == before);
        host::destroy(object(x));
        return trace;
    }
};

TEST_P(control_routes, is_answered_at_its_inlets_and_elsewhere_ignored_without_a_word)
{
    for (const char *arguments : GetParam().arguments)
        for (int inlet = 0; inlet < 9; ++inlet)
            EXPECT_EQ(answered(inlet, host::parse(arguments)), GetParam().inlets.count(inlet) == 1)
                << "'" << GetParam().selector << " " << arguments << "' at inlet " << inlet;
}

TEST_P(control_routes, wild_numbers_are_ignored_elsewhere_too)
{
    if (!GetParam().any_arguments) return; // the host refuses what does not fit, aloud
    vorb *x = prepared();
    const state before = now(x);
    for (const t_atom &wild : values_around(0, static_cast<float>(open_end)))
        for (int inlet = 0; inlet < 9; ++inlet) {
            if (GetParam().inlets.count(inlet) == 1) continue;
            for (const std::size_t count : {1, 2, 5, 12}) {
                send(x, inlet, GetParam().selector, host::atoms(count, wild));
                ASSERT_TRUE(now(x) == before) << inlet;
            }
        }
}

INSTANTIATE_TEST_SUITE_P(messages, control_routes, ::testing::ValuesIn(routes),
                         [](const auto &row) { return std::string(row.param.selector); });

TEST_F(control, the_host_knows_every_message_of_the_table_and_no_private_call)
{
    vorb *x = create();
    for (const route &r : routes) EXPECT_TRUE(host::understands(object(x), r.selector));
    for (const char *selector : {"dsp64", "assist", "dblclick", "notify"}) {
        send(x, 0, selector);
        EXPECT_THAT(console(),
                    ElementsAre("!doesn't understand \"" + std::string(selector) + "\""));
    }
}

// ---- Typed arguments ----------------------------------------------------------------------------

TEST_F(control_traces,
       arguments_that_do_not_fit_a_typed_message_are_said_and_do_nothing_or_are_left_out)
{
    const struct {
        const char *text, *said;
        bool acts;
    } cases[] = {
        {"set 3", "bad", false},      {"set foo bar", "extra", true}, {"test foo", "bad", false},
        {"int foo", "bad", false},    {"float foo", "bad", false},    {"float", "missing", false},
        {"bang 1", "extra", true},    {"all 1", "extra", true},       {"usedfogs 1", "extra", true},
        {"silent foo", "bad", false}, {"limit 1 foo", "bad", false},  {"test 1 2", "extra", true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        vorb *x = prepared();
        const state before = now(x);
        send(x, 0, c.text);
        state after = now(x);
        ASSERT_EQ(after.said.size(), 1u);
        EXPECT_EQ(after.said[0].find(std::string("!") + c.said + " arguments for message"), 0u);
        after.said = before.said;
        EXPECT_EQ(after == before, !c.acts);
    }
}

TEST_F(control, an_integer_that_is_missing_is_0)
{
    vorb *x = varied();
    x->inputs.limit_low = 1;
    x->inputs.limit_high = 3;
    x->debug = 1;
    vorb_error_silent = 1;
    send(x, 0, "limit, silent, test, maxfogs");
    EXPECT_EQ(x->inputs.limit_low, 1);
    EXPECT_EQ(x->inputs.limit_high, 0);
    EXPECT_EQ(vorb_error_silent, 0);
    EXPECT_EQ(x->debug, 0);
    EXPECT_EQ(x->pool.maxfogs, 1); // at least one
    send(x, 0, "int");
    host::drain();
    EXPECT_STREQ(x->inputs.table->s_name, "sample0");
    x->inputs.limit_high = 3;
    send(x, 0, "limit 2");
    EXPECT_EQ(x->inputs.limit_high, 0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control, a_table_name_that_is_missing_is_the_empty_one)
{
    vorb *x = varied();
    send(x, 0, "set");
    host::drain();
    EXPECT_EQ(x->inputs.table, gensym(""));
    EXPECT_THAT(complaints(x), IsEmpty());
}

// ---- Looking inside -----------------------------------------------------------------------------

TEST_F(control, test_stores_its_integer_until_the_next_block)
{
    vorb *x = varied({44100, 64, true});
    for (const t_atom_long n : {t_atom_long{1}, t_atom_long{-2}, t_atom_long{5000000000}}) {
        send(x, 0, "test", {host::atom(n)});
        EXPECT_EQ(x->debug, n);
    }
    EXPECT_THAT(complaints(x), IsEmpty());
    host::run();
    EXPECT_EQ(x->debug, 0);
    EXPECT_THAT(console(), ::testing::Not(IsEmpty()));
    host::run();
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(control, printing_the_inputs_posts_three_lines_as_stored)
{
    vorb *x = varied();
    x->inputs.offset = 1.25;
    x->inputs.trans = 2;
    x->inputs.bw = 100.5;
    x->inputs.tex = 0.003;
    x->inputs.debatt = 0.05;
    x->inputs.atten = 1e7;
    vorb_print_inputs(&x->inputs);
    char table[100];
    std::snprintf(table, sizeof table, "  table = start,  bufref = %llx",
                  (unsigned long long)reinterpret_cast<std::uintptr_t>(+x->inputs.bufref));
    const auto rows = host::take_console();
    const char *const texts[] = {"- vorb_inputs", table,
                                 "  offset = 1.250000, trans = 2.000000, bw = 100.500000, "
                                 "tex = 0.003000, debatt = 0.050000, atten = 10000000.000000"};
    ASSERT_EQ(rows.size(), std::size(texts));
    for (size_t k = 0; k < rows.size(); ++k) {
        EXPECT_EQ(rows[k].text, texts[k]);
        EXPECT_EQ(rows[k].object, object(x));
    }
}

TEST_F(control, printing_the_inputs_before_a_table_is_set_does_no_harm)
{
    host::set_audio(44100, 64);
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~"));
    console();
    vorb_print_inputs(&x->inputs);
    EXPECT_THAT(console()[1], ::testing::EndsWith("  bufref = 0"));
}

} // namespace
