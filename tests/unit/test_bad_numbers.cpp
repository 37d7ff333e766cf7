// What the outlets carry when a control is no number: at most the fogs that took it are lost.
#include "session.h"

#include <algorithm>
#include <limits>
#include <ostream>

namespace {

const double none = std::numeric_limits<double>::quiet_NaN();

enum class heard { sound, silence, no_number };

struct control {
    const char *message;
    int inlet;
    std::vector<double> arguments;
    heard what;
    const char *mend;
};

std::ostream &operator<<(std::ostream &os, const control &c)
{
    return os << c.message << " at inlet " << c.inlet;
}

const control controls[] = {
    {"offset", 0, {none}, heard::silence, "offset 100"},
    {"float", 1, {none}, heard::silence, "offset 100"},
    {"transp", 0, {none}, heard::silence, "transp 1"},
    {"float", 2, {none}, heard::silence, "transp 1"},
    {"bw", 0, {none}, heard::no_number, "bw 0"},
    {"float", 3, {none}, heard::no_number, "bw 0"},
    {"amp", 0, {none}, heard::no_number, "amp 1"},
    {"float", 4, {none}, heard::no_number, "amp 1"},
    {"list", 0, {none, none}, heard::no_number, "amp 1"},
    {"tex", 0, {none}, heard::sound, "tex 0"}, // as without an attack
    {"float", 5, {none}, heard::sound, "tex 0"},
    {"debatt", 0, {none}, heard::silence, "debatt 300"},
    {"float", 6, {none}, heard::silence, "debatt 300"},
    {"atten", 0, {none}, heard::sound, "atten 0"}, // as without one
    {"float", 7, {none}, heard::sound, "atten 0"},
    {"lp", 0, {none}, heard::no_number, "lp 0"},
    {"float", 8, {none}, heard::no_number, "lp 0"},
    {"env", 0, {none, 1, 1, 1, 1}, heard::silence, "bw 0, tex 0, debatt 300, atten 0"},
    {"pan", 0, {none, 0}, heard::no_number, "amp 1"},
    {"pan", 0, {1, none}, heard::silence, "amp 1"},
    {"angle", 0, {1, none}, heard::silence, "amp 1"},
    {"pan8", 0, {1, none}, heard::silence, "amp 1"},
    {"panb", 0, {1, none, 0}, heard::no_number, "amp 1"}, // W alone stays
    {"direction", 0, {none, 0, 0, 1}, heard::silence, "amp 1"},
    {"polar", 0, {none, 0, 1}, heard::silence, "amp 1"},
    {"gain", 0, {none}, heard::sound, ""},    // refused
    {"f0phase", 0, {none}, heard::sound, ""}, // counts as 0
    {"limit", 0, {none, 0}, heard::sound, ""},
};

class bad_number : public session, public ::testing::WithParamInterface<control> {
protected:
    /// The second block of a fog that starts now: the head has found the sample.
    std::vector<double> sound_of_one(vorb *x)
    {
        send(x, 0, "reset");
        send(x, 0, "bang");
        host::run();
        return block(x, 1);
    }
};

INSTANTIATE_TEST_SUITE_P(all, bad_number, ::testing::ValuesIn(controls));

TEST_P(bad_number, is_lost_on_the_fogs_that_took_it_alone)
{
    const control &c = GetParam();
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("2 sample1 5 100 1 0 1 0 300 0");
    host::start_audio();
    host::atoms arguments;
    for (const double v : c.arguments) arguments.push_back(host::atom(v));
    send(x, c.inlet, c.message, arguments);
    const std::vector<double> out = sound_of_one(x);
    const auto all = [&](auto what) { return std::all_of(out.begin(), out.end(), what); };
    if (c.what == heard::sound) EXPECT_TRUE(all([](double v) { return v == 1; }));
    else if (c.what == heard::silence) EXPECT_TRUE(all([](double v) { return v == 0; }));
    else EXPECT_TRUE(all([](double v) { return std::isnan(v); }));

    if (*c.mend) send(x, 0, c.mend);
    EXPECT_THAT(sound_of_one(x), ::testing::Each(1.0));
}

class bad_signal : public session {};

TEST_F(bad_signal, starts_no_fog_or_silent_ones_and_leaves_the_phasor_as_it_was)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("2 sample1 50 100 1 0 1 0 300 0");
    for (const int inlet : {0, 1}) host::connect(object(x), inlet);
    host::start_audio();
    const auto play = [&](double f0, double offset) {
        std::fill_n(host::input(object(x), 0), 64, f0);
        std::fill_n(host::input(object(x), 1), 64, offset);
        return block(x);
    };
    for (const double wild : {none, HUGE_VAL, -HUGE_VAL, 1e300}) {
        EXPECT_THAT(play(wild, 100), ::testing::Each(0.0)) << wild;
        EXPECT_EQ(x->pool.used, nullptr) << wild;
        EXPECT_EQ(x->inputs.phase, 0) << wild;
    }
    for (const double wild : {none, HUGE_VAL, -HUGE_VAL, 1e300}) {
        for (int k = 0; k < 20; ++k) ASSERT_THAT(play(441, wild), ::testing::Each(0.0)) << wild;
        EXPECT_NE(x->pool.used, nullptr) << wild;
        send(x, 0, "reset");
        x->inputs.phase = 0;
    }
    for (int k = 0; k < 4; ++k) play(441, 100);
    EXPECT_THAT(play(0, 100), ::testing::Each(::testing::DoubleNear(2, 1e-6))); // of two fogs
}

TEST_F(bad_signal, autoenv_that_is_no_number_silences_fogs_until_it_is_one)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("2 sample1 50 100 1 0 1 0 300 0");
    host::connect(object(x), 0);
    host::start_audio();
    std::fill_n(host::input(object(x), 0), 64, 441);
    const auto loudest_of = [&](int blocks) {
        double most = 0;
        for (; blocks > 0; --blocks)
            for (const double v : block(x)) most = std::max(most, std::fabs(v));
        return most;
    };
    send(x, 0, "autoenv", {host::atom(none)});
    EXPECT_EQ(loudest_of(50), 0);
    send(x, 0, "autoenv 0");
    EXPECT_EQ(loudest_of(50), 0); // the times stay
    send(x, 0, "autoenv 2");
    EXPECT_GT(loudest_of(50), 0.5);
}

} // namespace
