// What is particular to each parameter message.
#include "control_session.h"

namespace {

class control_parameters : public control {
protected:
    /// Whatever its end was, after this message the fog follows the sample, and nothing else is
    /// new.
    void expect_to_follow_the_sample(vorb *x, const char *text)
    {
        x->inputs.debatt_all = 0;
        inputs wanted = x->inputs;
        wanted.debatt_all = wanted.changed = 1;
        send(x, 0, text);
        EXPECT_THAT(differences(x->inputs, wanted), IsEmpty());
        EXPECT_THAT(complaints(x), IsEmpty());
    }
};

TEST_F(control_parameters, a_value_out_of_range_becomes_the_fallback)
{
    vorb *x = varied();
    send(x, 0, "tex -5");
    EXPECT_EQ(x->inputs.tex, 0.0);
    send(x, 0, "transp -1");
    EXPECT_EQ(x->inputs.trans, 1.0);
    send(x, 0, "bw 30000");
    EXPECT_EQ(x->inputs.bw, 0.0);
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'tex' (-5.00e+00) out of range "
                                           "[0.00e+00 .. 1.00e+38] - set to 0.00e+00",
                                           "k.vorb~: parameter 'transposition' (-1.00e+00) out of "
                                           "range [0.00e+00 .. 1.00e+38] - set to 1.00e+00",
                                           "k.vorb~: parameter 'bandwidth' (3.00e+04) out of range "
                                           "[0.00e+00 .. 2.20e+04] - set to 0.00e+00"));
    send(x, 0, "transp 0");
    EXPECT_EQ(x->inputs.trans, 0.0);
    send(x, 0, "bw 22050");
    EXPECT_EQ(x->inputs.bw, 22050.0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_parameters, what_is_too_large_for_single_precision_is_infinite_and_out_of_range)
{
    vorb *x = varied();
    send(x, 0, "tex 1e300, amp -1e300");
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'tex' (inf) out of range "
                                           "[0.00e+00 .. 1.00e+38] - set to 0.00e+00",
                                           "k.vorb~: parameter 'amplitude' (-inf) out of range "
                                           "[-1.00e+38 .. 1.00e+38] - set to 0.00e+00"));
}

TEST_F(control_parameters, the_offset_message_rounds_the_sum_with_the_latency)
{
    vorb *x = varied();
    send(x, 0, "offset 20000");
    EXPECT_EQ(x->inputs.offset, double(float(20000 + x->inputs.latency_ms)));
    EXPECT_NEAR(x->inputs.offset, 20000 + 140 / 44.1, 1.0 / 1024);
    const double by_message = x->inputs.offset;
    send(x, 1, "20000");
    EXPECT_NE(x->inputs.offset, by_message);
}

TEST_F(control_parameters, the_gain_scales_the_list_and_not_the_amplitude)
{
    vorb *x = varied(); // gain 0.25
    send(x, 0, "amp 2");
    EXPECT_THAT(x->inputs.amps, ::testing::Each(2.0));
    send(x, 0, "list 2 -4 1e39");
    EXPECT_THAT(x->inputs.amps, ElementsAre(0.5, -1, 0.25, 2, 2, 2, 2, 2, 2, 2));
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'amplitude (list)' (inf) out of "
                                           "range [-1.00e+38 .. 1.00e+38] - set to 1.00e+00"));
    send(x, 4, "1 2 3 4 5 6 7 8 9 10 11 12");
    EXPECT_THAT(x->inputs.amps, ElementsAre(0.25, 0.5, 0.75, 1, 1.25, 1.5, 1.75, 2, 2.25, 2.5));
    EXPECT_EQ(x->inputs.gain, 0.25);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_parameters, a_list_is_read_and_checked_one_number_after_the_other)
{
    vorb *x = varied();
    send(x, 0, "list", {host::atom(1e39), host::atom("foo"), host::atom(-1e39)});
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(complaints(x),
              (lines{out_of_range("amplitude (list)", inf, -1e38, 1e38, 1), number_expected(),
                     out_of_range("amplitude (list)", -inf, -1e38, 1e38, 1)}));
}

TEST_F(control_parameters, debatt_all_follows_the_sample_and_a_number_ends_it)
{
    vorb *x = varied();
    expect_to_follow_the_sample(x, "debatt all 5 foo");
    send(x, 0, "debatt 250");
    EXPECT_EQ(x->inputs.debatt_all, 0);
    EXPECT_EQ(x->inputs.debatt, 0.25);
}

TEST_F(control_parameters, debatt_with_another_word_is_0)
{
    for (const char *text : {"debatt All", "debatt foo", "debatt \"\"", "debatt foo all"}) {
        vorb *x = varied();
        send(x, 0, text);
        EXPECT_EQ(x->inputs.debatt, 0.0) << text;
        EXPECT_EQ(x->inputs.debatt_all, 0) << text;
        EXPECT_EQ(x->inputs.changed, 1) << text;
        EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: expected number argument"));
    }
}

TEST_F(control_parameters, debatt_takes_no_number_for_the_word_all)
{
    vorb *x = varied();
    send(x, 0, "debatt",
         {host::atom(static_cast<t_atom_long>(reinterpret_cast<t_ptr_int>(ps_all)))});
    EXPECT_EQ(x->inputs.debatt_all, 0);
    EXPECT_GT(x->inputs.debatt, 1);
}

TEST_F(control_parameters, all_follows_the_sample) { expect_to_follow_the_sample(varied(), "all"); }

TEST_F(control_parameters, lp_takes_an_exponent_of_2_and_a_rate)
{
    struct row {
        const char *text;
        double lp1, lp1m, lp2;
    };
    vorb *x = varied(); // lp2 is 2
    for (const row &r :
         {row{"lp 0", 1, 0, 0}, row{"lp -1 3", 0.5, -0.5, 3}, row{"lp -1", 0.5, -0.5, 0},
          row{"lp -10 0.5", 1.0 / 1024, -1023.0 / 1024, 0.5},
          row{"lp -24", 5.9604644775390625e-8, -0.999999940395355224609375, 0},
          row{"lp -26", 1.4901161193847656e-8, -1, 0}, // 1 - 2^-26 in single
          row{"lp -149", std::ldexp(1, -149), -1, 0},  // the smallest there is
          row{"lp -151", 0, -1, 0}, row{"lp -1e38", 0, -1, 0}}) {
        SCOPED_TRACE(r.text);
        send(x, 0, r.text);
        EXPECT_EQ(x->inputs.lp1, r.lp1);
        EXPECT_EQ(x->inputs.lp1m, r.lp1m);
        EXPECT_EQ(x->inputs.lp2, r.lp2);
    }
    EXPECT_THAT(complaints(x), IsEmpty());
    send(x, 0, "lp 1");
    EXPECT_EQ(x->inputs.lp1, 1.0);
    EXPECT_EQ(x->inputs.lp1m, 0.0);
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'lp1' (1.00e+00) out of range "
                                           "[-1.00e+38 .. 0.00e+00] - set to 0.00e+00"));
}

TEST_F(control_parameters, autoenv_keeps_its_maximum_unless_one_is_given)
{
    vorb *x = varied();
    send(x, 0, "autoenv 2 30");
    EXPECT_EQ(x->inputs.autoenv, 2.0);
    EXPECT_EQ(x->inputs.autoenv_max, 0.03);
    send(x, 0, "autoenv 3");
    EXPECT_EQ(x->inputs.autoenv, 3.0);
    EXPECT_EQ(x->inputs.autoenv_max, 0.03);
    send(x, 0, "autoenv 0 0");
    EXPECT_EQ(x->inputs.autoenv, 0.0);
    EXPECT_EQ(x->inputs.autoenv_max, 0.0);
}

TEST_F(control_parameters, f0phase_is_a_share_of_the_period)
{
    vorb *x = varied();
    send(x, 0, "f0phase 1");
    EXPECT_EQ(x->inputs.phase, 44100.0);
    send(x, 0, "f0phase 0.25");
    EXPECT_EQ(x->inputs.phase, 11025.0);
    EXPECT_THAT(complaints(x), IsEmpty());
    send(x, 0, "f0phase 1.5");
    EXPECT_EQ(x->inputs.phase, 0.0);
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'f0phase' (1.50e+00) out of range "
                                           "[0.00e+00 .. 1.00e+00] - set to 0.00e+00"));
    EXPECT_EQ(x->inputs.changed, 0);
}

TEST_F(control_parameters, a_phase_that_is_no_number_is_taken_as_0)
{
    vorb *x = varied();
    host::connect(object(x), 0);
    std::fill_n(host::input(object(x), 0), 64, 110.0);
    send(x, 0, "f0phase", {host::atom(std::numeric_limits<double>::quiet_NaN())});
    EXPECT_THAT(complaints(x), IsEmpty());
    host::run();
    EXPECT_EQ(x->inputs.phase, 64 * 110.0);
    EXPECT_EQ(x->pool.nfree, x->pool.maxfogs);
}

TEST_F(control_parameters, a_changed_parameter_reaches_the_derived_values_with_the_next_fog)
{
    vorb *x = varied();
    send(x, 0, "bang");
    send(x, 0, "tex 7, tex 8, bw 100, amp 3");
    const double old_amp = x->inputs.fog_amps[0];
    EXPECT_EQ(x->inputs.changed, 1);
    EXPECT_NE(old_amp, 3);
    send(x, 0, "bang");
    EXPECT_EQ(x->inputs.changed, 0);
    EXPECT_EQ(x->inputs.fog_amps[0], 3);
    EXPECT_DOUBLE_EQ(x->inputs.bw_decay, std::exp(-std::acos(-1.0) * 100 / 44100));
    EXPECT_DOUBLE_EQ(x->inputs.tex_w, std::acos(-1.0) / 0.008);
}

} // namespace
