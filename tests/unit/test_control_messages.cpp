// What all parameter messages have in common: each argument read, checked and stored, from a table.
#include "control_session.h"

namespace {

struct message {
    const char *selector;
    std::size_t least;
    std::vector<range> arguments;
    bool changes; // an onset value
    void (*store)(inputs &, const std::vector<float> &);
};

const range list_range = {"amplitude (list)", -open_end, open_end, 1};

/// All but `env`, whose arguments are read before the first is checked.
const std::vector<message> messages = {
    {"offset",
     1,
     {{"offset", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) {
         in.offset = static_cast<float>(v[0] + in.latency_ms);
     }},
    {"transp",
     1,
     {{"transposition", 0, open_end, 1}},
     true,
     [](inputs &in, const std::vector<float> &v) { in.trans = v[0]; }},
    {"bw",
     1,
     {{"bandwidth", 0, up_to_nyquist, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) { in.bw = v[0]; }},
    {"amp",
     1,
     {{"amplitude", -open_end, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) {
         for (int k = 0; k < 10; ++k) in.amps[k] = v[0];
     }},
    {"list", 0, std::vector<range>(10, list_range), true,
     [](inputs &in, const std::vector<float> &v) {
         for (std::size_t k = 0; k < v.size(); ++k) in.amps[k] = v[k] * in.gain;
     }},
    {"tex",
     1,
     {{"tex", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) { in.tex = v[0] * 0.001; }},
    {"debatt",
     1,
     {{"debatt", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) {
         in.debatt = v[0] * 0.001;
         in.debatt_all = 0;
     }},
    {"atten",
     1,
     {{"atten", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) { in.atten = v[0] * 0.001; }},
    {"lp",
     1,
     {{"lp1", -open_end, 0, 0}, {"lp2", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) {
         const float q = static_cast<float>(std::exp2(double(v[0])));
         const float below = q - 1.0f;
         in.lp1 = q;
         in.lp1m = below;
         in.lp2 = v.size() > 1 ? double(v[1]) : 0.0;
     }},
    {"autoenv",
     1,
     {{"autoenv", 0, open_end, 0}, {"autoenv", 0, open_end, 0}},
     true,
     [](inputs &in, const std::vector<float> &v) {
         in.autoenv = v[0];
         if (v.size() > 1) in.autoenv_max = v[1] * 0.001;
     }},
    {"f0phase",
     1,
     {{"f0phase", 0, 1, 0}},
     false,
     [](inputs &in, const std::vector<float> &v) { in.phase = v[0] * in.sr; }},
};

class control_messages : public control {
protected:
    /// Sends a message and compares lines and record with what it should do.
    void expect(vorb *x, const message &m, const host::atoms &given)
    {
        forget(x);
        lines said;
        inputs wanted = x->inputs;
        if (given.size() < m.least) {
            said.push_back(too_few(m.selector));
        } else {
            std::vector<float> values;
            for (std::size_t k = 0; k < std::min(given.size(), m.arguments.size()); ++k)
                values.push_back(check(x, m.arguments[k], read(given[k], said), said));
            m.store(wanted, values);
            if (m.changes) wanted.changed = 1;
        }
        send(x, 0, m.selector, given);
        ASSERT_EQ(complaints(x), said) << m.selector;
        ASSERT_THAT(differences(x->inputs, wanted), IsEmpty()) << m.selector;
    }

    static host::atoms values_for(const vorb *x, const range &r)
    {
        return values_around(r.low, bound(x, r));
    }
};

class control_message_rates : public control_messages,
                              public ::testing::WithParamInterface<rate> {};

TEST_P(control_message_rates, each_argument_is_read_checked_and_stored)
{
    vorb *x = varied(GetParam());
    for (const message &m : messages)
        for (std::size_t k = 0; k < m.arguments.size(); ++k)
            for (const t_atom &value : values_for(x, m.arguments[k])) {
                host::atoms given(k, host::atom(0.0)); // 0 is in every range
                given.push_back(value);
                expect(x, m, given);
                given.resize(m.arguments.size(), host::atom(0.0));
                expect(x, m, given);
            }
}

INSTANTIATE_TEST_SUITE_P(rates, control_message_rates, ::testing::ValuesIn(rates));

TEST_F(control_messages, two_arguments_are_read_and_checked_one_after_the_other)
{
    vorb *x = varied();
    for (const message &m : messages)
        if (m.arguments.size() == 2)
            for (const t_atom &first : values_for(x, m.arguments[0]))
                for (const t_atom &second : values_for(x, m.arguments[1]))
                    expect(x, m, {first, second});
    send(x, 0, "lp 1 foo");
    EXPECT_EQ(complaints(x), (lines{out_of_range("lp1", 1, -1e38, 0, 0), number_expected()}));
    send(x, 0, "autoenv -1 -2");
    EXPECT_EQ(complaints(x), (lines{out_of_range("autoenv", -1, 0, 1e38, 0),
                                    out_of_range("autoenv", -2, 0, 1e38, 0)}));
}

TEST_F(control_messages, without_its_argument_a_message_is_reported_and_changes_nothing)
{
    vorb *x = varied();
    for (const message &m : messages) expect(x, m, {});
    const char *const texts[] = {"k.vorb~: insufficient arguments for offset message",
                                 "k.vorb~: insufficient arguments for transp message",
                                 "k.vorb~: insufficient arguments for bw message",
                                 "k.vorb~: insufficient arguments for amp message",
                                 "k.vorb~: insufficient arguments for tex message",
                                 "k.vorb~: insufficient arguments for debatt message",
                                 "k.vorb~: insufficient arguments for atten message",
                                 "k.vorb~: insufficient arguments for lp message",
                                 "k.vorb~: insufficient arguments for env message",
                                 "k.vorb~: insufficient arguments for autoenv message",
                                 "k.vorb~: insufficient arguments for f0phase message"};
    send(x, 0, "offset, transp, bw, amp, tex, debatt, atten, lp, env, autoenv, f0phase");
    EXPECT_THAT(complaints(x), ::testing::ElementsAreArray(texts));
}

TEST_F(control_messages, arguments_to_spare_are_not_even_read)
{
    vorb *x = varied();
    for (const message &m : messages)
        for (const t_atom &spare : {host::atom("foo"), host::atom(-1.0), host::atom("all")}) {
            host::atoms given(m.arguments.size(), host::atom(0.0));
            given.insert(given.end(), 3, spare);
            expect(x, m, given);
        }
}

TEST_F(control_messages, the_number_of_arguments_wraps_at_16_bits)
{
    vorb *x = varied();
    for (const message &m : messages) {
        if (m.least == 0) continue;
        forget(x);
        const inputs before = x->inputs;
        send(x, 0, m.selector, host::atoms(32768, host::atom(0.5))); // below zero
        EXPECT_THAT(complaints(x), ElementsAre(too_few(m.selector)));
        send(x, 0, m.selector, host::atoms(65536, host::atom(0.5)));
        EXPECT_THAT(complaints(x), ElementsAre(too_few(m.selector)));
        EXPECT_THAT(differences(x->inputs, before), IsEmpty());
    }
    send(x, 0, "tex", host::atoms(65537, host::atom(4.0))); // one
    EXPECT_EQ(x->inputs.tex, 0.004);
    send(x, 0, "autoenv", host::atoms(65537, host::atom(3.0)));
    EXPECT_EQ(x->inputs.autoenv, 3.0);
    EXPECT_EQ(x->inputs.autoenv_max, 0.125);
    send(x, 0, "lp", host::atoms(65537, host::atom(-1.0)));
    EXPECT_EQ(x->inputs.lp2, 0.0);
    send(x, 0, "list", host::atoms(65538, host::atom(8.0)));
    EXPECT_THAT(x->inputs.amps, ElementsAre(2, 2, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5));
}

} // namespace
