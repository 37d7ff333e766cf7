// A fog over its whole life: the envelope as it is heard, its length, and values that no number of
// samples can express.
#include "session.h"

#include <limits>
#include <random>

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A whole number of samples, 0 for what has no 64-bit integer.
std::int64_t count(long double v)
{
    return std::fabs(v) < 9.2e18L ? static_cast<std::int64_t>(v) : 0;
}

/// The envelope of one fog, sample after sample, in seconds and Hz. `x`: from the exact onset to
/// the first sample.
std::vector<double> envelope(double sr, double bw, double tex, double debatt, double atten,
                             double x)
{
    const double sp = 1 / sr;
    std::vector<double> e;
    const auto decay = [&] { return std::exp(-pi * bw * (x + double(e.size()) * sp)); };
    double t = x; // from the exact onset
    if (tex > sp)
        for (; t <= tex; t = x + double(e.size()) * sp)
            e.push_back(decay() * 0.5 * (1 - std::cos(pi * t / tex)));
    for (; t <= debatt; t = x + double(e.size()) * sp) e.push_back(decay());
    if (atten > sp) {
        // Where debatt falls inside the attack, the attenuation is late but has the phase it would
        // have had.
        double tau = x - debatt;
        while (tau <= 0) tau += sp;
        for (; tau <= atten; tau += sp)
            e.push_back(decay() * 0.5 * (1 + std::cos(pi * tau / atten)));
    }
    return e;
}

struct life {
    double bw, tex_ms, debatt_ms, atten_ms;
    std::int64_t index;
    double time; // sample periods
};

class fog_sound : public session {
protected:
    /// Every sample of the instance until its last fog has ended, and the rest of that block.
    static std::vector<double> listen(vorb *x)
    {
        std::vector<double> heard;
        while (x->pool.used && heard.size() < 1000000) {
            const std::vector<double> next = block(x);
            heard.insert(heard.end(), next.begin(), next.end());
        }
        return heard;
    }

    static std::string text(double v)
    {
        char s[32];
        std::snprintf(s, sizeof s, " %.9e", v);
        return s;
    }
};

TEST_F(fog_sound, rises_holds_and_falls_for_as_long_as_it_was_told)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    const life lives[] = {
        {0, 10.3, 20.7, 5.1, 0, 0.25},  {80, 10.3, 20.7, 5.1, 0, 0.25},
        {80, 10.3, 20.7, 5.1, 17, 0.9}, // mid-block
        {80, 10.3, 20.7, 5.1, 200, 0},  // blocks later
        {80, 10.3, 4.2, 5.1, 0, 0.5},   // debatt within the attack
        {80, 0, 20.7, 5.1, 0, 0.5},     // no attack
        {80, 10.3, 20.7, 0, 0, 0.5},    // no attenuation
        {0, 10.3, 0, 0, 0, 0.5},        // an attack alone
        {0, 0, 0, 5.1, 0, 0.5},         // an attenuation alone
        {900, 0.05, 0.1, 0.07, 3, 0.1}, // a few samples
    };
    for (const life &l : lives) {
        SCOPED_TRACE(::testing::Message() << l.bw << " Hz " << l.tex_ms << ' ' << l.debatt_ms << ' '
                                          << l.atten_ms << " ms at " << l.index);
        vorb *x = create("1 sample1 5 5 0" + text(l.bw) + " 1" + text(l.tex_ms) +
                         text(l.debatt_ms) + text(l.atten_ms) + " 1");
        host::start_audio();
        const double sp = 1 / 44100.0;
        const std::vector<double> expected = envelope(
            44100, l.bw, double(float(l.tex_ms)) * 0.001, double(float(l.debatt_ms)) * 0.001,
            double(float(l.atten_ms)) * 0.001, sp - l.time * sp);
        vorb_trigger(x, l.index, l.time * sp);
        const std::vector<double> heard = listen(x);

        const std::size_t from = std::size_t(l.index), to = from + expected.size();
        ASSERT_EQ(heard.size(), (to + 63) / 64 * 64) << "in whole blocks";
        for (std::size_t i = 0; i < from; ++i) ASSERT_EQ(heard[i], 0.0) << i;
        for (std::size_t i = from; i < to; ++i)
            ASSERT_NEAR(heard[i], expected[i - from], 1e-6) << i;
        for (std::size_t i = to; i < heard.size(); ++i) ASSERT_EQ(heard[i], 0.0) << i;
        EXPECT_EQ(x->pool.nfree, 5);
        host::destroy(object(x));
    }
}

// ---- Values without a number of samples ---------------------------------------------------------

TEST_F(fog_sound, times_too_long_for_a_count_give_no_samples)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 5 0 0 1 0 0 0");
    host::start_audio();
    for (const char *message : {"tex 1e38", "debatt 1e25", "atten 1e38", "tex 1e20, debatt 1e20"}) {
        SCOPED_TRACE(message);
        send(x, 0, "tex 0, debatt 0, atten 0");
        send(x, 0, message);
        send(x, 0, "bang");
        const vorb_fog &f = *x->pool.used;
        EXPECT_EQ(f.tex_count, 0);
        EXPECT_EQ(f.sustain, 0);
        EXPECT_EQ(f.atten_count, 0);
        EXPECT_THAT(block(x), ::testing::Each(0.0));
        EXPECT_EQ(x->pool.nfree, 5);
    }
}

TEST_F(fog_sound, any_value_at_all_gives_counts_by_the_formula)
{
    const double values[] = {nan,   inf,  -inf,  1e300,  -1e300, 1e25,       -1e25, 1e18,
                             -1e18, 1e14, -1e14, 1e5,    -1e5,   0.01,       0.02,  -0.01,
                             0,     -0.0, 1e-30, 1e-320, 1e-5,   1 / 44100.0};
    const std::int64_t starts[] = {0, 5, 1000000, std::numeric_limits<std::int64_t>::max(),
                                   std::numeric_limits<std::int64_t>::min()};
    std::mt19937 bits(7);
    const auto any = [&] { return values[bits() % std::size(values)]; };
    const double sr = 44100, sp = 1 / sr;
    for (int round = 0; round < 200000; ++round) {
        SCOPED_TRACE(round);
        inputs in{};
        in.pi = pi;
        in.sr = sr;
        in.sp = sp;
        in.vs_ms = 64 / sr * 1000;
        // Mostly one odd value among even ones.
        const bool wild = bits() % 2 == 0;
        const std::uint32_t odd = bits() % 9;
        std::uint32_t k = 0;
        const auto pick = [&](double even) { return wild || k++ == odd ? any() : even; };
        in.tex = pick(0.01);
        in.debatt = pick(0.02);
        in.atten = pick(0.015);
        in.bw = pick(80);
        in.trans = pick(1);
        in.offset = pick(20);
        in.lp1 = pick(1);
        in.lp2 = pick(0);
        const double x = pick(0.5 * sp);
        const std::int64_t start = starts[bits() % std::size(starts)];
        vorb_update(&in);
        vorb_fog f{};
        vorb_onset(&f, &in, start, x);

        const std::int64_t attack = in.tex > sp ? count((in.tex - x) * sr + 1.0) : 0;
        const std::int64_t before = count((in.debatt - x) * sr + 1.0);
        const double tau = double(before) * sp - (in.debatt - x);
        ASSERT_EQ(f.tex_count, attack);
        ASSERT_EQ(f.sustain,
                  std::max<std::int64_t>(count(static_cast<long double>(before) - attack), 0));
        ASSERT_EQ(f.atten_count, in.atten > sp ? count((in.atten - tau) * sr + 1.0) : 0);
        ASSERT_EQ(f.delay, start);
    }
}

TEST_F(fog_sound, a_sustain_beyond_every_integer_is_none)
{
    inputs in{};
    in.pi = pi;
    in.sr = 44100;
    in.sp = 1 / in.sr;
    in.tex = 0.01;
    in.debatt = 3.5e14;
    vorb_fog f{};
    vorb_update(&in);
    vorb_onset(&f, &in, 0, 2e14); // an attack of -8.8e18 samples, 6.6e18 before the attenuation
    EXPECT_EQ(f.sustain, 0);
}

TEST_F(fog_sound, an_overflowing_bandwidth_is_heard_as_no_number_and_still_ends)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 5 0 0 1 0 0 0");
    host::start_audio();
    send(x, 0, "env 10 1 1e38 1 1, bang");
    const std::vector<double> heard = listen(x);
    EXPECT_EQ(heard.size(), 448u); // 10 ms
    EXPECT_TRUE(std::isnan(heard[0]));
    EXPECT_EQ(x->pool.nfree, 5);
    send(x, 0, "bw 0, tex 0, debatt 10, atten 0, bang");
    EXPECT_NEAR(block(x)[10], 1, 1e-6); // it has spoilt nothing behind it
}

TEST_F(fog_sound, creation_arguments_of_any_size_end_in_a_fog_that_harms_nothing)
{
    mono_buffer("sample1", 44100, [](long i) { return i % 100; });
    for (const char *huge :
         {"1e38", "1e300", "-1e300", "1e25", "1e17", "1e-45", "-0.", "nan", "inf"})
        for (int odd = 2; odd <= 10; ++odd) {
            SCOPED_TRACE(::testing::Message() << huge << " as argument " << odd);
            std::string box = "2 sample1";
            for (int k = 2; k <= 10; ++k) box += k == odd ? std::string(" ") + huge : " 1";
            vorb *x = create(box);
            ASSERT_NE(x, nullptr);
            EXPECT_GE(x->pool.maxfogs, 1);
            EXPECT_LE(x->pool.maxfogs, 100);
            send(x, 0, "bang");
            for (int k = 0; k < 10; ++k) host::run();
            const double *out = host::output(object(x), 0);
            EXPECT_TRUE(std::isfinite(out[0])) << out[0];
            host::destroy(object(x));
        }
}

TEST_F(fog_sound, messages_of_any_value_break_neither_the_pool_nor_the_host)
{
    mono_buffer("sample1", 44100, [](long i) { return i % 100; });
    const double values[] = {nan,  inf,   -inf, 1e300, 1e38, 1e30,  1e17, 1e14,
                             1e10, 44100, 100,  1,     0.5,  1e-45, -0.0, -1};
    const char *const selectors[] = {"offset", "transp", "bw",      "amp",     "tex",  "debatt",
                                     "atten",  "lp",     "autoenv", "f0phase", "float"};
    std::mt19937 bits(11);
    const auto any = [&] { return host::atom(values[bits() % std::size(values)]); };
    for (const char *layout : {"1", "2", "4", "6", "10"}) {
        vorb *x = create(std::string(layout) + " sample1 30");
        host::connect(object(x), 0);
        host::connect(object(x), 1);
        for (int round = 0; round < 1500; ++round) {
            SCOPED_TRACE(::testing::Message() << "layout " << layout << " round " << round);
            const char *selector = selectors[bits() % std::size(selectors)];
            send(x, 0, selector, {any()});
            send(x, int(bits() % 9), "float", {any()});
            if (bits() % 8 == 0) send(x, 0, "lp", {any(), any()});
            if (bits() % 8 == 0) send(x, 0, "env", {any(), any(), any(), any(), any()});
            if (bits() % 8 == 0) send(x, 0, "all");
            for (int i = 0; i < 64; ++i) {
                host::input(object(x), 0)[i] = values[bits() % std::size(values)];
                host::input(object(x), 1)[i] = values[bits() % std::size(values)];
            }
            host::run();
            std::int64_t used = 0;
            for (const vorb_fog *f = x->pool.used; f; f = f->next) ASSERT_LE(++used, 30);
            ASSERT_EQ(used, 30 - x->pool.nfree);
            ASSERT_THAT(host::take_faults(), IsEmpty());
            if (x->pool.nfree == 0) send(x, 0, "reset");
        }
        host::destroy(object(x));
        console();
    }
}

} // namespace
