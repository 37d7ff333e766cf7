// Messages: text to atoms, choice of the handler, arguments by type codes.
#include "probe.h"

#include <cmath>
#include <limits>
#include <sstream>

namespace {

/// What the handlers of "words" were called with, in readable form.
std::vector<std::string> calls;

struct words {
    t_pxobject header;
};

t_class *words_class;

void said(const std::ostringstream &text) { calls.push_back(text.str()); }

void write(std::ostream &out, double v) { out << " f" << v; }
void write(std::ostream &out, t_atom_long v) { out << " i" << v; }
void write(std::ostream &out, t_symbol *v) { out << " s" << v->s_name; }

/// A handler of this name for arguments of these types.
template <const char *name, class... Args>
void typed(words *, Args... args)
{
    std::ostringstream text;
    text << name;
    (write(text, args), ...);
    said(text);
}

/// A handler of any arguments, which says the inlet too.
void any(words *x, t_symbol *selector, long argc, t_atom *argv)
{
    std::ostringstream text;
    text << selector->s_name << " @" << proxy_getinlet(&x->header.z_ob);
    for (long i = 0; i < argc; ++i) {
        if (argv[i].a_type == A_LONG) write(text, argv[i].a_w.w_long);
        else if (argv[i].a_type == A_FLOAT) write(text, argv[i].a_w.w_float);
        else if (argv[i].a_type == A_SYM) write(text, argv[i].a_w.w_sym);
        else text << " type " << argv[i].a_type;
    }
    said(text);
}

void cant(words *) { calls.push_back("cant"); }

void *make_words(t_symbol *, long argc, t_atom *argv)
{
    const auto x = static_cast<words *>(object_alloc(words_class));
    z_dsp_setup(&x->header, argc > 0 ? static_cast<long>(argv[0].a_w.w_long) : 1);
    return x;
}

void free_words(words *x) { z_dsp_free(&x->header); }

constexpr char n_none[] = "none", n_i[] = "i", n_f[] = "f", n_s[] = "s", n_ii[] = "ii",
               n_fif[] = "fif", n_isf[] = "isf", n_mixed[] = "mixed", n_floats[] = "floats",
               n_ints[] = "ints", n_int[] = "int", n_bang[] = "bang", n_defaults[] = "defaults";

using probe_class::as_method;
using I = t_atom_long;
using S = t_symbol *;

void words_entry(void *)
{
    t_class *c = words_class = class_new("words", as_method(make_words), as_method(free_words),
                                         sizeof(words), nullptr, A_GIMME, 0);
    class_dspinit(c);
    class_addmethod(c, as_method(typed<n_none>), "none", 0);
    class_addmethod(c, as_method(typed<n_i, I>), "i", A_LONG, 0);
    class_addmethod(c, as_method(typed<n_f, double>), "f", A_FLOAT, 0);
    class_addmethod(c, as_method(typed<n_s, S>), "s", A_SYM, 0);
    class_addmethod(c, as_method(typed<n_ii, I, I>), "ii", A_LONG, A_LONG, 0);
    class_addmethod(c, as_method(typed<n_fif, double, I, double>), "fif", A_FLOAT, A_LONG, A_FLOAT,
                    0);
    class_addmethod(c, as_method(typed<n_isf, I, S, double>), "isf", A_LONG, A_SYM, A_FLOAT, 0);
    class_addmethod(c, as_method(typed<n_mixed, I, double, S, double, I, double, S>), "mixed",
                    A_LONG, A_FLOAT, A_SYM, A_FLOAT, A_LONG, A_FLOAT, A_SYM, 0);
    class_addmethod(
        c, as_method(typed<n_floats, double, double, double, double, double, double, double>),
        "floats", A_FLOAT, A_FLOAT, A_FLOAT, A_FLOAT, A_FLOAT, A_FLOAT, A_FLOAT, 0);
    class_addmethod(c, as_method(typed<n_ints, I, I, I, I, I, I, I>), "ints", A_LONG, A_LONG,
                    A_LONG, A_LONG, A_LONG, A_LONG, A_LONG, 0);
    class_addmethod(c, as_method(typed<n_defaults, I, double, S>), "defaults", A_DEFLONG,
                    A_DEFFLOAT, A_DEFSYM, 0);
    class_addmethod(c, as_method(typed<n_int, I>), "int", A_LONG, 0);
    class_addmethod(c, as_method(typed<n_bang>), "bang", 0);
    for (const char *selector : {"list", "float", "g", "symbol"})
        class_addmethod(c, as_method(any), selector, A_GIMME, 0);
    class_addmethod(c, as_method(cant), "hidden", A_CANT, 0);
    class_register(gensym("box"), c);
}

class host_message : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        link_once<words_entry>();
        x = host::create("words 3");
        calls.clear();
    }

    t_object *x = nullptr;
};

struct sent {
    const char *text;
    std::vector<std::string> calls;
    std::vector<std::string> console;
};

void check(t_object *x, const std::vector<sent> &table)
{
    for (const sent &row : table) {
        SCOPED_TRACE(row.text);
        host::send(x, 0, row.text);
        EXPECT_EQ(std::exchange(calls, {}), row.calls);
        std::vector<std::string> lines;
        for (const host::line &line : host::take_console()) {
            lines.push_back(line.text);
            EXPECT_TRUE(line.error);
            EXPECT_EQ(line.object, x);
        }
        EXPECT_EQ(lines, row.console);
    }
}

TEST_F(host_message, arguments_reach_typed_handlers_in_order)
{
    check(
        x,
        {{"none", {"none"}, {}},
         {"i 5", {"i i5"}, {}},
         {"i -9007199254740993", {"i i-9007199254740993"}, {}},
         {"f 2.5", {"f f2.5"}, {}},
         {"s word", {"s sword"}, {}},
         {"s \"7\"", {"s s7"}, {}},
         {"ii 3 4", {"ii i3 i4"}, {}},
         {"fif 0.5 7 -1.5", {"fif f0.5 i7 f-1.5"}, {}},
         {"isf 1 two 3.5", {"isf i1 stwo f3.5"}, {}},
         {"mixed 1 2.5 three 4.5 5 6.5 seven", {"mixed i1 f2.5 sthree f4.5 i5 f6.5 sseven"}, {}},
         {"floats 1.5 2.5 3.5 4.5 5.5 6.5 7.5", {"floats f1.5 f2.5 f3.5 f4.5 f5.5 f6.5 f7.5"}, {}},
         {"ints 1 2 3 4 5 6 7", {"ints i1 i2 i3 i4 i5 i6 i7"}, {}}});
}

TEST_F(host_message, numbers_are_coerced_to_the_type_wanted)
{
    check(x, {{"i 2.9", {"i i2"}, {}},
              {"i -2.9", {"i i-2"}, {}},
              {"i 9223372036854774784.", {"i i9223372036854774784"}, {}},
              {"i -9223372036854774784.", {"i i-9223372036854774784"}, {}},
              {"i -9223372036854775808.", {"i i-9223372036854775808"}, {}},
              {"f 3", {"f f3"}, {}},
              {"fif 1 2.7 3", {"fif f1 i2 f3"}, {}}});
}

TEST_F(host_message, a_float_that_no_integer_can_hold_is_0_as_one)
{
    constexpr double inf = std::numeric_limits<double>::infinity(), end = 0x1p63;
    for (const double v : {end, -2 * end, 1e300, -1e300, inf, -inf, std::nan("")}) {
        host::send(x, 0, "i", {host::atom(v)});
        EXPECT_THAT(std::exchange(calls, {}), ElementsAre("i i0")) << v;
    }
}

TEST_F(host_message, wrong_arguments_are_said_and_the_handler_is_not_called)
{
    for (const char *text : {"i word", "f word", "s 5", "s 5.5", "isf 1 2 3.5", "isf one two 3."}) {
        const std::string selector(text, std::string(text).find(' '));
        check(x, {{text, {}, {"bad arguments for message \"" + selector + "\""}}});
    }
}

TEST_F(host_message, a_missing_integer_is_0_and_a_missing_symbol_empty)
{
    check(x, {{"i", {"i i0"}, {}},
              {"ii", {"ii i0 i0"}, {}},
              {"ii 5", {"ii i5 i0"}, {}},
              {"ints 1 2", {"ints i1 i2 i0 i0 i0 i0 i0"}, {}},
              {"s", {"s s"}, {}}});
}

TEST_F(host_message, a_missing_float_is_said_and_the_handler_is_not_called)
{
    const std::string missing = "missing arguments for message ";
    check(x, {{"f", {}, {missing + "\"f\""}},
              {"fif 1. 2", {}, {missing + "\"fif\""}},
              {"isf 1 two", {}, {missing + "\"isf\""}},
              {"mixed 1 2. three 4. 5", {}, {missing + "\"mixed\""}}});
}

TEST_F(host_message, extra_arguments_are_said_and_dropped)
{
    const std::string extra = "extra arguments for message ";
    check(x, {{"none 1", {"none"}, {extra + "\"none\""}},
              {"bang 1 2", {"bang"}, {extra + "\"bang\""}},
              {"ii 1 2 three", {"ii i1 i2"}, {extra + "\"ii\""}},
              {"ints 1 2 3 4 5 6 7 8", {"ints i1 i2 i3 i4 i5 i6 i7"}, {extra + "\"ints\""}}});
}

TEST_F(host_message, arguments_with_defaults_may_be_left_out)
{
    check(x, {{"defaults 1 2.5 three", {"defaults i1 f2.5 sthree"}, {}}});
    ASSERT_FALSE(HasFailure()) << "wrong registers hold no symbol to print";
    check(x,
          {{"defaults 1.5 2", {"defaults i1 f2 s"}, {}}, {"defaults", {"defaults i0 f0 s"}, {}}});
}

TEST_F(host_message, a_handler_of_any_arguments_gets_them_unchecked)
{
    check(x, {{"g", {"g @0"}, {}},
              {"g 1 2. three \"4 5\"", {"g @0 i1 f2 sthree s4 5"}, {}},
              {"g 1 2 3 4 5 6 7 8 9 10", {"g @0 i1 i2 i3 i4 i5 i6 i7 i8 i9 i10"}, {}}});
}

TEST_F(host_message, numbers_choose_between_int_float_and_list)
{
    check(x, {{"5", {"int i5"}, {}},
              {"5.", {"float @0 f5"}, {}},
              {"1 2", {"list @0 i1 i2"}, {}},
              {"1.5 word", {"list @0 f1.5 sword"}, {}},
              {"list 1", {"list @0 i1"}, {}},
              {"int 4", {"int i4"}, {}},
              {"float 4.", {"float @0 f4"}, {}},
              {"bang", {"bang"}, {}},
              {"symbol foo", {"symbol @0 sfoo"}, {}}});
}

TEST_F(host_message, a_number_goes_to_the_other_kind_where_its_own_is_not_bound)
{
    t_class *only = plain_class("only");
    class_addmethod(only, as_method(typed<n_int, I>), "int", A_LONG, 0);
    class_register(gensym("box"), only);
    t_object *ints = host::create("only");
    check(ints, {{"7.9", {"int i7"}, {}}, {"7", {"int i7"}, {}}});
}

TEST_F(host_message, an_unknown_selector_is_said)
{
    check(x, {{"nonsense 1 2", {}, {"doesn't understand \"nonsense\""}},
              {"\"two words\"", {}, {"doesn't understand \"two words\""}},
              {"hidden", {}, {"doesn't understand \"hidden\""}},
              {"dsp64", {}, {"doesn't understand \"dsp64\""}}});
    EXPECT_TRUE(host::understands(x, "mixed"));
    EXPECT_FALSE(host::understands(x, "nonsense"));
    EXPECT_FALSE(host::understands(x, "hidden"));
}

TEST_F(host_message, the_selectors_are_those_that_a_patch_can_send)
{
    t_class *some = plain_class("some");
    class_addmethod(some, as_method(any), "tell", A_GIMME, 0);
    class_addmethod(some, as_method(any), "assist", A_CANT, 0);
    class_addmethod(some, as_method(any), "ask", A_GIMME, 0);
    class_addmethod(some, as_method(any), "tell", A_GIMME, 0);
    class_register(gensym("box"), some);
    EXPECT_THAT(host::selectors(host::create("some")), ElementsAre("ask", "tell"));
}

TEST_F(host_message, anything_catches_unknown_selectors_but_no_numbers_bangs_or_lists)
{
    t_class *greedy = plain_class("greedy");
    class_addmethod(greedy, as_method(any), "anything", A_GIMME, 0);
    class_register(gensym("box"), greedy);
    t_object *g = host::create("greedy");
    check(g, {{"nonsense 1 two", {"nonsense @0 i1 stwo"}, {}},
              {"5", {}, {"doesn't understand \"int\""}},
              {"5.", {}, {"doesn't understand \"float\""}},
              {"1 2", {}, {"doesn't understand \"list\""}},
              {"bang", {}, {"doesn't understand \"bang\""}}});
}

TEST_F(host_message, commas_separate_messages_unless_quoted)
{
    check(x, {{"1,2, 3.", {"int i1", "int i2", "float @0 f3"}, {}},
              {"i 4, s \"a, b\", bang", {"i i4", "s sa, b", "bang"}, {}},
              {",, bang ,", {"bang"}, {}},
              {"", {}, {}},
              {"  ", {}, {}}});
}

TEST_F(host_message, text_becomes_atoms_as_in_a_box)
{
    check(x, {{"g 007 -3 0", {"g @0 i7 i-3 i0"}, {}},
              {"g .5 5. -.25 1.5e3", {"g @0 f0.5 f5 f-0.25 f1500"}, {}},
              {"g +5 +.5 +1.5e3 +0", {"g @0 i5 f0.5 f1500 i0"}, {}},
              {"g + +. +- ++5 +-5 -+5 +x", {"g @0 s+ s+. s+- s++5 s+-5 s-+5 s+x"}, {}},
              {"g 1a a1 - . -- 1-2 1.2.3 e5", {"g @0 s1a sa1 s- s. s-- s1-2 s1.2.3 se5"}, {}},
              {"g inf nan -inf 0x10", {"g @0 sinf snan s-inf s0x10"}, {}},
              {"g \"5\" \"\" \"a b", {"g @0 s5 s sa b"}, {}},
              {"g 9223372036854775807", {"g @0 i9223372036854775807"}, {}},
              {"g 9223372036854775808", {"g @0 f9.22337e+18"}, {}},
              {" \tg\t1 \n2 ", {"g @0 i1 i2"}, {}}});
}

TEST_F(host_message, names_are_the_same_symbol_each_time)
{
    const std::string spelled_elsewhere = std::string("wo") + "rd";
    EXPECT_EQ(gensym("word"), gensym(spelled_elsewhere.c_str()));
    EXPECT_NE(gensym("word"), gensym("Word"));
    EXPECT_STREQ(gensym("word")->s_name, "word");
    EXPECT_STREQ(gensym("")->s_name, "");
}

TEST_F(host_message, atoms_can_be_sent_as_they_are)
{
    host::send(x, 1, "g", {host::atom(2.5), host::atom(t_atom_long{3}), host::atom("four five")});
    EXPECT_THAT(calls, ElementsAre("g @1 f2.5 i3 sfour five"));
}

TEST_F(host_message, a_null_name_is_the_empty_symbol_and_a_fault)
{
    EXPECT_EQ(gensym(nullptr), gensym(""));
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("gensym")));
}

TEST_F(host_message, the_first_selector_that_is_not_understood_is_found_without_sending)
{
    const auto with = [](const char *name, std::initializer_list<const char *> selectors) {
        t_class *c = plain_class(name);
        for (const char *s : selectors) class_addmethod(c, as_method(any), s, A_GIMME, 0);
        class_register(gensym("box"), c);
        return host::create(name);
    };
    t_object *ints = with("ints", {"int"}), *floats = with("floats", {"float"}),
             *greedy = with("greedier", {"anything"}), *bare = with("bare", {});
    const struct {
        t_object *x;
        const char *text, *unknown;
    } table[] = {
        {x, "", ""},
        {x, " , ,", ""},
        {x, "5, 5., 1 2, bang, i word, none 1 2 3", ""}, // arguments are not looked at
        {x, "i 1, nonsense, other 2", "nonsense"},
        {x, "bang,,other", "other"},
        {x, "g \"x, hum\", i 2", ""},
        {x, "\"a, b\" 1, hum", "a, b"},
        {x, "\"5\"", "5"},
        {x, "hidden", "hidden"},
        {x, "dsp64", "dsp64"},
        {ints, "7.5, 7, float 3.", ""},
        {floats, "5, 5., int 3", ""},
        {ints, "7, 1 2", "list"},
        {ints, "bang", "bang"},
        {bare, "5", "int"},
        {bare, "5.", "float"},
        {greedy, "word, \"5\" 5, two words", ""},
        {greedy, "5", "int"},
        {greedy, "word, 5.", "float"},
        {greedy, "1 2", "list"},
        {greedy, "bang", "bang"},
    };
    for (const auto &row : table)
        EXPECT_EQ(host::unknown_selector(row.x, row.text), row.unknown) << row.text;
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
