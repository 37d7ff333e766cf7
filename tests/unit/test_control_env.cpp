// The env message: one duration, shared out over attack, sustain and release.
#include "control_session.h"

namespace {

const range env_ranges[] = {{"duration (message env)", 0, open_end, 0},
                            {"attack (message env)", 0, open_end, 0},
                            {"bandwidth (message env)", 0, open_end, 0},
                            {"sustain (message env)", 0, open_end, 0},
                            {"release (message env)", 0, open_end, 0}};

const char zero_sum[] = "k.vorb~: sum of envelope segments is zero in env message";

class control_env : public control {
protected:
    /// Sends five arguments or more and compares lines and record with what they should do.
    void expect(vorb *x, const host::atoms &given)
    {
        forget(x);
        lines said;
        inputs wanted = x->inputs;
        float v[5];
        for (int k = 0; k < 5; ++k) v[k] = read(given[k], said);
        v[0] = static_cast<float>(v[0] * 0.001);
        for (int k = 0; k < 5; ++k) v[k] = check(x, env_ranges[k], v[k], said);
        float total = v[1] + v[3];
        total += v[4];
        if (total == 0) {
            said.push_back(zero_sum);
        } else {
            const float attack = v[1] / total, sustain = v[3] / total, release = v[4] / total;
            const float tex = v[0] * attack, held = v[0] * sustain, atten = v[0] * release;
            wanted.tex = tex;
            wanted.bw = v[2];
            wanted.debatt = static_cast<double>(tex) + static_cast<double>(held);
            wanted.atten = atten;
            wanted.debatt_all = 0;
            wanted.changed = 1;
        }
        send(x, 0, "env", given);
        ASSERT_EQ(complaints(x), said);
        ASSERT_THAT(differences(x->inputs, wanted), IsEmpty());
    }
};

TEST_F(control_env, the_duration_is_shared_out_in_proportion)
{
    vorb *x = varied();
    send(x, 0, "env 100 1 50 1 2");
    EXPECT_NEAR(x->inputs.tex, 0.025, 1e-9);
    EXPECT_EQ(x->inputs.bw, 50.0);
    EXPECT_NEAR(x->inputs.debatt, 0.05, 1e-9);
    EXPECT_NEAR(x->inputs.atten, 0.05, 1e-9);
    EXPECT_EQ(x->inputs.debatt_all, 0);
    EXPECT_EQ(x->inputs.changed, 1);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_env, works_in_single_precision_but_for_the_sum_of_attack_and_sustain)
{
    vorb *x = varied();
    send(x, 0, "env 100 1 50 1 1");
    const float third = 100 * 0.001f * (1 / 3.0f); // 0.1 in single is 100 times 0.001
    EXPECT_EQ(x->inputs.tex, double(third));
    EXPECT_EQ(x->inputs.atten, double(third));
    EXPECT_EQ(x->inputs.debatt, 2 * double(third));
    send(x, 0, "env 100 1 50 100 1000");
    EXPECT_NE(x->inputs.debatt, double(float(x->inputs.debatt)));
}

TEST_F(control_env, every_argument_is_read_checked_and_stored)
{
    vorb *x = varied();
    for (const char *base : {"100 1 50 1 2", "33.3 0.1 440 0.7 0", "7 0 0 0 3", "0 0 0 0 0"})
        for (std::size_t k = 0; k < 5; ++k)
            for (const t_atom &value : values_around(0, static_cast<float>(open_end))) {
                host::atoms given = host::parse(base);
                given[k] = value;
                expect(x, given);
            }
}

TEST_F(control_env, any_two_arguments_may_be_bad_together)
{
    vorb *x = varied();
    for (std::size_t j = 0; j < 5; ++j)
        for (std::size_t k = j + 1; k < 5; ++k)
            for (const t_atom &one : values_around(0, static_cast<float>(open_end)))
                for (const t_atom &other : {host::atom("foo"), host::atom(-1.0), host::atom(1e39),
                                            host::atom(open_end)}) {
                    host::atoms given = host::parse("100 1 50 1 2");
                    given[j] = one;
                    given[k] = other;
                    expect(x, given);
                }
}

TEST_F(control_env, arguments_to_spare_are_not_even_read)
{
    expect(varied(), host::parse("100 1 50 1 2 foo -1"));
}

TEST_F(control_env, with_fewer_than_five_arguments_nothing_changes)
{
    vorb *x = varied();
    const inputs before = x->inputs;
    for (const char *text : {"env", "env 100", "env -1 foo", "env 100 1 50", "env 100 1 50 1"}) {
        send(x, 0, text);
        EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: insufficient arguments for env message"));
        EXPECT_THAT(differences(x->inputs, before), IsEmpty());
    }
}

TEST_F(control_env, without_any_segment_nothing_changes)
{
    vorb *x = varied();
    const inputs before = x->inputs;
    send(x, 0, "env 100 0 50 0 0");
    EXPECT_THAT(complaints(x),
                ElementsAre("k.vorb~: sum of envelope segments is zero in env message"));
    EXPECT_THAT(differences(x->inputs, before), IsEmpty());
    send(x, 0, "env -100 -1 -50 foo -0.");
    EXPECT_THAT(complaints(x),
                ElementsAre("k.vorb~: expected number argument",
                            "k.vorb~: parameter 'duration (message env)' (-1.00e-01) out of range "
                            "[0.00e+00 .. 1.00e+38] - set to 0.00e+00",
                            "k.vorb~: parameter 'attack (message env)' (-1.00e+00) out of range "
                            "[0.00e+00 .. 1.00e+38] - set to 0.00e+00",
                            "k.vorb~: parameter 'bandwidth (message env)' (-5.00e+01) out of range "
                            "[0.00e+00 .. 1.00e+38] - set to 0.00e+00",
                            "k.vorb~: sum of envelope segments is zero in env message"));
    EXPECT_THAT(differences(x->inputs, before), IsEmpty());
}

TEST_F(control_env, all_five_are_read_before_the_first_is_checked)
{
    vorb *x = varied();
    send(x, 0, "env -1 1 -1 -1 foo");
    EXPECT_EQ(complaints(x),
              (lines{number_expected(), out_of_range("duration (message env)", -0.001, 0, 1e38, 0),
                     out_of_range("bandwidth (message env)", -1, 0, 1e38, 0),
                     out_of_range("sustain (message env)", -1, 0, 1e38, 0)}));
}

TEST_F(control_env, the_duration_is_checked_in_seconds)
{
    vorb *x = varied();
    send(x, 0, "env 2e38 1 50 1 2"); // ms: 2e35 s are in range
    EXPECT_THAT(complaints(x), IsEmpty());
    EXPECT_NEAR(x->inputs.tex / 5e34, 1, 1e-6);
    send(x, 0, "env 1e39 1 50 1 2"); // infinite as soon as it is read
    EXPECT_THAT(complaints(x),
                ElementsAre("k.vorb~: parameter 'duration (message env)' (inf) out of range "
                            "[0.00e+00 .. 1.00e+38] - set to 0.00e+00"));
    EXPECT_EQ(x->inputs.tex, 0.0);
}

TEST_F(control_env, the_bandwidth_is_not_bounded_by_the_sample_rate)
{
    vorb *x = varied();
    send(x, 0, "env 100 1 30000 1 2");
    EXPECT_EQ(x->inputs.bw, 30000.0);
    send(x, 0, "env 100 1 1e38 1 2");
    EXPECT_EQ(x->inputs.bw, open_end);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_env, a_bandwidth_whose_growth_is_infinite_starts_a_fog_without_a_finite_sample)
{
    mono_buffer("start", 4410, [](long) { return 1; });
    vorb *x = varied({44100, 64, true});
    for (const char *text : {"env 1 1 9.97e6 1 2, bang", "env 1 1 1e38 1 2, bang"}) {
        send(x, 0, text);
        EXPECT_TRUE(std::isinf(x->inputs.bw_grow));
        EXPECT_FALSE(std::isfinite(x->pool.used->amp));
        EXPECT_FALSE(std::isfinite(block(x)[20])) << text;
        send(x, 0, "reset");
    }
    send(x, 0, "env 1 1 9.9e6 1 2, bang"); // just below
    EXPECT_TRUE(std::isfinite(x->inputs.bw_grow));
    EXPECT_TRUE(std::isfinite(block(x)[20]));
}

} // namespace
