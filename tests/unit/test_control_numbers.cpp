// Numbers and bangs: one fog at the left inlet, one parameter at each of the others.
#include "control_session.h"

#include <array>

namespace {

struct parameter {
    int inlet;
    range accepted;
    void (*store)(inputs &, float);
};

const parameter parameters[] = {
    {1, {"offset", 0, open_end, 0}, [](inputs &in, float v) { in.offset = in.latency_ms + v; }},
    {2, {"transposition", 0, open_end, 1}, [](inputs &in, float v) { in.trans = v; }},
    {3, {"bandwidth", 0, up_to_nyquist, 0}, [](inputs &in, float v) { in.bw = v; }},
    {4,
     {"amplitude", -open_end, open_end, 0},
     [](inputs &in, float v) {
         for (int k = 0; k < 10; ++k) in.amps[k] = v;
     }},
    {5, {"tex", 0, open_end, 0}, [](inputs &in, float v) { in.tex = v * 0.001; }},
    {6,
     {"debatt", 0, open_end, 0},
     [](inputs &in, float v) {
         in.debatt = v * 0.001;
         in.debatt_all = 0;
     }},
    {7, {"atten", 0, open_end, 0}, [](inputs &in, float v) { in.atten = v * 0.001; }},
    {8,
     {"lowpass", 0, 1, 1},
     [](inputs &in, float v) {
         in.lp1 = std::pow(2.0, 10 * double(v)) / 1024;
         in.lp1m = in.lp1 - 1;
         in.lp2 = 0;
     }},
};

class control_numbers : public control {
protected:
    /// The fog started last.
    static const vorb_fog &newest(const vorb *x) { return *x->pool.used; }

    static std::int64_t used(const vorb *x) { return x->pool.maxfogs - x->pool.nfree; }

    /// An instance whose fogs decay with that bandwidth.
    vorb *decaying(double hz)
    {
        vorb *x = varied();
        x->inputs.bw = hz;
        x->inputs.changed = 1;
        return x;
    }

    /// A fog's remainder in seconds, read off its decay: at the onset the amplitude is
    /// exp(-pi bw x) exp(pi bw sp) with x = sp - remainder.
    static double remainder(const vorb *x)
    {
        return std::log(newest(x).amp) / (std::acos(-1.0) * x->inputs.bw);
    }
};

// ---- Parameters ---------------------------------------------------------------------------------

class control_number_rates : public control_numbers, public ::testing::WithParamInterface<rate> {
protected:
    /// Sends a number and compares lines and record with what the inlet should do.
    void expect(vorb *x, const parameter &p, const t_atom &given)
    {
        lines said;
        inputs wanted = x->inputs;
        // An int goes the same way once it is narrowed.
        p.store(wanted, check(x, p.accepted, read(given, said), said));
        wanted.changed = 1;
        send(x, p.inlet, given.a_type == A_LONG ? "int" : "float", {given});
        ASSERT_EQ(complaints(x), said);
        ASSERT_THAT(differences(x->inputs, wanted), IsEmpty());
    }
};

TEST_P(control_number_rates, an_inlet_checks_narrows_and_stores_its_parameter)
{
    vorb *x = varied(GetParam());
    for (const parameter &p : parameters)
        for (const t_atom &given : values_around(p.accepted.low, bound(x, p.accepted))) {
            if (given.a_type == A_SYM) continue;
            SCOPED_TRACE(std::string(p.accepted.label) + " " +
                         (given.a_type == A_LONG ? std::to_string(given.a_w.w_long)
                                                 : std::to_string(given.a_w.w_float)));
            forget(x);
            expect(x, p, given);
        }
    EXPECT_EQ(used(x), 0);
}

INSTANTIATE_TEST_SUITE_P(rates, control_number_rates, ::testing::ValuesIn(rates));

TEST_F(control_numbers, an_int_at_the_transposition_inlet_sets_the_transposition)
{
    vorb *x = varied();
    send(x, 2, "7");
    EXPECT_EQ(x->inputs.trans, 7.0);
}

TEST_F(control_numbers, an_int_is_narrowed_in_one_rounding)
{
    vorb *x = varied();
    send(x, 2, "18014399583223809"); // 2^54 + 2^30 + 1; as a double a tie, rounded down
    EXPECT_EQ(x->inputs.trans, 18014400656965632.0);
}

TEST_F(control_numbers, the_bound_of_the_bandwidth_follows_the_sample_rate)
{
    vorb *x = varied();
    send(x, 3, "30000");
    EXPECT_EQ(x->inputs.bw, 0.0);
    host::set_audio(96000, 64);
    host::start_audio();
    complaints(x);
    send(x, 3, "30000");
    EXPECT_EQ(x->inputs.bw, 30000.0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_numbers, the_lowpass_inlet_maps_0_to_1_onto_ten_octaves)
{
    vorb *x = varied();
    const std::array<std::pair<const char *, double>, 4> rows = {
        {{"0", 1.0 / 1024}, {"0.5", 0.03125}, {"1", 1.0}, {"0.25", 0.005524271728019903}}};
    for (const auto &[text, q] : rows) {
        x->inputs.lp2 = 3;
        send(x, 8, text);
        EXPECT_DOUBLE_EQ(x->inputs.lp1, q);
        EXPECT_DOUBLE_EQ(x->inputs.lp1m, q - 1);
        EXPECT_EQ(x->inputs.lp2, 0.0);
    }
    EXPECT_THAT(complaints(x), IsEmpty());
    send(x, 8, "2.");
    EXPECT_EQ(x->inputs.lp1, 1.0);
    EXPECT_THAT(complaints(x), ElementsAre("k.vorb~: parameter 'lowpass' (2.00e+00) out of range "
                                           "[0.00e+00 .. 1.00e+00] - set to 1.00e+00"));
}

TEST_F(control_numbers, the_offset_inlet_keeps_the_sum_with_the_latency_in_double)
{
    vorb *x = varied(); // latency 140 samples of 44100 a second
    send(x, 1, "20000.");
    EXPECT_EQ(x->inputs.offset, x->inputs.latency_ms + 20000);
    EXPECT_NE(x->inputs.offset, double(float(x->inputs.offset)));
    EXPECT_NEAR(x->inputs.offset, 20000 + 140 / 44.1, 1e-9);
}

// ---- The left inlet -----------------------------------------------------------------------------

TEST_F(control_numbers, a_bang_starts_one_fog_at_once)
{
    vorb *x = decaying(1000);
    send(x, 0, "bang");
    ASSERT_EQ(used(x), 1);
    EXPECT_EQ(newest(x).delay, 0);
    EXPECT_NEAR(remainder(x), 0, 1e-18);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_numbers, a_float_at_the_left_inlet_starts_one_fog_that_many_ms_later)
{
    vorb *x = decaying(20000);
    send(x, 0, "10.");
    ASSERT_EQ(used(x), 1);
    EXPECT_EQ(newest(x).delay, 441);
    EXPECT_NEAR(remainder(x), 0, 1e-18);
    send(x, 0, "10.01");
    ASSERT_EQ(used(x), 2);
    EXPECT_EQ(newest(x).delay, 441);
    EXPECT_NEAR(remainder(x), 1e-5, 1e-9); // of the number in single precision
    EXPECT_NEAR(remainder(x), double(10.01f) * 0.001 - 441 / 44100.0, 1e-15);
    send(x, 0, "0.");
    ASSERT_EQ(used(x), 3);
    EXPECT_EQ(newest(x).delay, 0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_numbers, a_start_time_is_multiplied_into_seconds_not_divided)
{
    vorb *x = varied();
    send(x, 0, "350.");
    EXPECT_EQ(newest(x).delay, 15435); // a division would give one sample less
    vorb *faster = varied({48000, 64, true});
    send(faster, 0, "4.5");
    EXPECT_EQ(newest(faster).delay, 216);
}

TEST_F(control_numbers, a_time_just_below_a_sample_is_not_rounded_up)
{
    vorb *x = decaying(20000);
    send(x, 0, "2050.");
    EXPECT_EQ(newest(x).delay, 90404);
    EXPECT_NEAR(remainder(x) * 44100, 0.99999999998, 1e-10);
}

TEST_F(control_numbers, a_remainder_of_a_whole_sample_plays_the_first_sample_of_the_sustain)
{
    vorb *x = varied({48000, 64, true});
    x->inputs.tex = x->inputs.debatt = x->inputs.atten = x->inputs.bw = 0;
    x->inputs.debatt_all = 0;
    x->inputs.changed = 1;
    send(x, 0, "512.5"); // 24600 samples but for a rounding
    EXPECT_EQ(newest(x).delay, 24599);
    EXPECT_EQ(newest(x).sustain, 1);
    EXPECT_EQ(newest(x).tex_count + newest(x).atten_count, 0);
}

TEST_F(control_numbers, a_start_time_out_of_range_is_reported_and_the_fog_starts_at_once)
{
    vorb *x = decaying(1000);
    const double inf = std::numeric_limits<double>::infinity();
    const std::vector<std::pair<double, const char *>> rows = {
        {-1, "-1.00e+00"}, {1e39, "inf"}, {inf, "inf"}, {-inf, "-inf"}, {2e38, "2.00e+38"}};
    for (const auto &[ms, printed] : rows) {
        SCOPED_TRACE(printed);
        const std::int64_t before = used(x);
        send(x, 0, "float", {host::atom(ms)});
        EXPECT_THAT(complaints(x),
                    ElementsAre("k.vorb~: parameter 'start' (" + std::string(printed) +
                                ") out of range [0.00e+00 .. 1.00e+38] - set to 0.00e+00"));
        ASSERT_EQ(used(x), before + 1);
        EXPECT_EQ(newest(x).delay, 0);
        EXPECT_NEAR(remainder(x), 0, 1e-18);
    }
}

TEST_F(control_numbers, a_start_time_without_a_sample_index_starts_a_fog_all_the_same)
{
    mono_buffer("start", 4410, [](long) { return 1; });
    vorb *x = decaying(1000);
    for (const double ms : {1e38, std::numeric_limits<double>::quiet_NaN()}) {
        const std::int64_t before = used(x);
        send(x, 0, "float", {host::atom(ms)});
        EXPECT_THAT(complaints(x), IsEmpty());
        ASSERT_EQ(used(x), before + 1);
        EXPECT_EQ(newest(x).delay, 0);                        // what has no 64-bit integer is 0,
        EXPECT_EQ(std::isnan(newest(x).amp), std::isnan(ms)); // and the whole time remains
        EXPECT_FALSE(std::isfinite(newest(x).amp));
    }
    for (int k = 0; k < 4; ++k) host::run(); // and harms nobody
}

TEST_F(control_numbers, starting_a_fog_changes_no_parameter)
{
    vorb *x = varied();
    send(x, 0, "bang"); // derives what fogs copy
    const inputs before = x->inputs;
    send(x, 0, "3.5");
    send(x, 0, "bang");
    EXPECT_THAT(differences(x->inputs, before), IsEmpty());
}

TEST_F(control_numbers, an_int_at_the_left_inlet_selects_a_table_in_the_main_thread)
{
    using whole = std::numeric_limits<t_atom_long>;
    vorb *x = varied();
    const std::vector<std::pair<t_atom_long, const char *>> rows = {
        {7, "sample7"},
        {0, "sample0"},
        {-3, "sample-3"},
        {9999999999, "sample9999999999"},
        {whole::max(), "sample9223372036854775807"},
        {whole::min(), "sample-9223372036854775808"}};
    for (const auto &[n, name] : rows) {
        const t_symbol *before = x->inputs.table;
        send(x, 0, "int", {host::atom(n)});
        EXPECT_EQ(x->inputs.table, before) << name;
        host::drain();
        EXPECT_EQ(x->inputs.table, gensym(name)) << x->inputs.table->s_name;
        EXPECT_EQ(x->inputs.bufref, vorb_bufref_find_entry(x, gensym(name)));
    }
    EXPECT_EQ(used(x), 0);
    EXPECT_EQ(x->inputs.changed, 0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

TEST_F(control_numbers, with_and_without_a_point_are_two_messages_at_the_left_inlet)
{
    vorb *x = varied();
    send(x, 0, "5.");
    host::drain();
    EXPECT_EQ(used(x), 1);
    EXPECT_STREQ(x->inputs.table->s_name, "start");
    send(x, 0, "5");
    host::drain();
    EXPECT_EQ(used(x), 1);
    EXPECT_STREQ(x->inputs.table->s_name, "sample5");
}

// ---- The forced inlet ---------------------------------------------------------------------------

TEST_F(control_numbers, a_forced_inlet_serves_one_number)
{
    vorb *x = varied();
    for (const parameter &p : parameters) {
        forget(x);
        inputs wanted = x->inputs;
        p.store(wanted, 0.75f);
        wanted.changed = 1;
        x->forced_inlet = p.inlet;
        vorb_float(x, 0.75);
        EXPECT_EQ(x->forced_inlet, 0);
        EXPECT_THAT(differences(x->inputs, wanted), IsEmpty()) << p.inlet;
    }
    vorb_float(x, 0.75);
    EXPECT_EQ(used(x), 1); // the host's inlet again
}

TEST_F(control_numbers, a_forced_inlet_that_does_not_exist_is_used_up_for_nothing)
{
    vorb *x = varied();
    const inputs before = x->inputs;
    for (const std::int64_t inlet : {9, 10, 1000}) {
        x->forced_inlet = inlet;
        vorb_float(x, 0.5);
        EXPECT_EQ(x->forced_inlet, 0);
    }
    EXPECT_THAT(differences(x->inputs, before), IsEmpty());
    EXPECT_EQ(used(x), 0);
    EXPECT_THAT(complaints(x), IsEmpty());
}

} // namespace
