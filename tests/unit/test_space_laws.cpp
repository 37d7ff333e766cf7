// Pan laws: where a message puts a sound, as slots of the gain set.
#include "space_session.h"

#include <algorithm>

namespace {

using slots = std::vector<double>;

constexpr double rest = 7;                   // what slots hold that no message wrote
constexpr double half = 0.70710678118654752; // of the power
constexpr double pi = 3.141592653589793;

class space_laws : public space {
protected:
    /// All ten slots after a message, none of which was like another before.
    slots after(const std::string &text, double gain = 1)
    {
        x->inputs.gain = gain;
        for (auto &amp : x->inputs.amps) amp = rest;
        send(x, 0, text);
        EXPECT_THAT(complaints(x), IsEmpty()) << text;
        return present();
    }

    slots after(const char *selector, double position)
    {
        for (auto &amp : x->inputs.amps) amp = rest;
        send(x, 0, selector, {host::atom(1), host::atom(position)});
        return present();
    }

    slots present() const { return {std::begin(x->inputs.amps), std::end(x->inputs.amps)}; }

    static slots filled(slots first)
    {
        first.resize(10, rest);
        return first;
    }

    void SetUp() override
    {
        space::SetUp();
        x->inputs.gain = 1;
    }

    /// Positions from first to last: every message equals the slow one bit by bit.
    void sweep(const char *selector, double first, double last, int count)
    {
        const auto m = std::find_if(
            space_messages.begin(), space_messages.end(),
            [&](const space_message &each) { return each.selector == std::string(selector); });
        for (int k = 0; k < count; ++k) {
            const double p = first + (last - first) * k / count;
            ASSERT_NO_FATAL_FAILURE(expect(*m, {host::atom(0.8), host::atom(p)})) << p;
        }
    }
};

struct place {
    const char *message;
    slots first; // the others stay
};

void PrintTo(const place &p, std::ostream *out) { *out << p.message; }

class space_places : public space_laws, public ::testing::WithParamInterface<place> {};

TEST_P(space_places, puts_the_sound_there)
{
    const place &p = GetParam();
    EXPECT_THAT(after(p.message),
                ::testing::Pointwise(::testing::DoubleNear(1e-12), filled(p.first)));
}

const double s = 0.38268343236508977, c = 0.92387953251128674;        // of 22.5 degrees
const double centre = 0.3535533905932738, below = 0.4990224819584785; // one step below a half

const place places[] = {
    {"pan 1 -1", {1, 0, 0, 1}},
    {"pan 1 1", {0, 1, 1, 0}},
    {"pan 1 0", {half, half, half, half}},
    {"pan 1 0.5", {s, c, c, s}},
    {"pan 1 -0.5", {c, s, s, c}},
    {"pan 0 1", {0, 0, 0, 0}},
    {"angle 1 0", {half, half, 0, 0}},
    {"angle 1 45", {0, 1, 0, 0}},
    {"angle 1 90", {0, half, half, 0}},
    {"angle 1 135", {0, 0, 1, 0}},
    {"angle 1 180", {0, 0, half, half}},
    {"angle 1 225", {0, 0, 0, 1}},
    {"angle 1 270", {half, 0, 0, half}},
    {"angle 1 -45", {1, 0, 0, 0}},
    {"angle 1 315", {1, 0, 0, 0}},
    {"angle 2 3645", {0, 2, 0, 0}},
    {"pan8 1 0", {0, 0, 0, 0, 0, 0, 0, 1}},
    {"pan8 1 1", {1, 0, 0, 0, 0, 0, 0, 0}},
    {"pan8 1 1.5", {half, half, 0, 0, 0, 0, 0, 0}},
    {"pan8 1 2", {0, 1, 0, 0, 0, 0, 0, 0}},
    {"pan8 1 3", {0, 0, 1, 0, 0, 0, 0, 0}},
    {"pan8 1 4", {0, 0, 0, 1, 0, 0, 0, 0}},
    {"pan8 1 5", {0, 0, 0, 0, 1, 0, 0, 0}},
    {"pan8 1 6", {0, 0, 0, 0, 0, 1, 0, 0}},
    {"pan8 1 7", {0, 0, 0, 0, 0, 0, 1, 0}},
    {"pan8 1 8", {0, 0, 0, 0, 0, 0, 0, 1}},
    {"pan8 1 8.5", {half, 0, 0, 0, 0, 0, 0, half}},
    {"pan8 1 9", {1, 0, 0, 0, 0, 0, 0, 0}},
    {"pan8 1 -1", {0, 0, 0, 0, 0, 0, 1, 0}},
    {"pan8 1 4.625", {1, 0, 0, 0.55557023301960218, 0.83146961230254524, 0, 0, 0}},
    {"pan8 1 1e38", {0, 0, 0, 0, 0, 0, 0, 0}}, // no such index
    {"panb 1 0 0", {0.707107, 1, 0, 0}},
    {"panb 0.5 0 0", {0.3535535, 0.5, 0, 0}},
    {"direction 0 0 0 10", slots(8, centre)},
    {"direction 0.1 -1 0.7 0", slots(8, centre)},
    {"direction 1 0 0 10", {0, 0.5, 0.5, 0, 0, 0.5, 0.5, 0}},
    {"direction 1 1 1 10", {0, 1, 0, 0, 0, 0, 0, 0}},
    {"direction -1 -1 -1 10", {0, 0, 0, 0, 0, 0, 0, 1}},
    {"direction 1 1 1 -10",
     {0.94991775959816649, 0, 0.94991775959816649, 0, 0, 0.94991775959816649, 0,
      0.46140072063229376}},                            // four times as far, beyond the other side
    {"direction 1 1 1 -2.6", {0, 0, 0, 0, 0, 0, 0, 1}}, // to the other side
    // In single precision the distance is exactly half the radius.
    {"direction 0.5774 0.5774 0.5774 1.3",
     {0.375, 0.649519052838329, 0.375, 0.21650635094610965, 0.21650635094610965, 0.375,
      0.21650635094610965, 0.125}},
    {"polar 0 0 10", {0.5, 0.5, 0, 0, 0.5, 0.5, 0, 0}},
    {"polar 90 0 10", {0, 0.5, below, 0, 0, 0.5, below, 0}},
    {"polar 0 90 10", {0.5, 0.5, below, below, 0, 0, 0, 0}},
    {"polar 33 44 0", slots(8, centre)},
};

/// "pan8 1 -1.5" as a test's name: pan8_1_m1p5.
std::string test_name(const ::testing::TestParamInfo<place> &row)
{
    std::string name = row.param.message;
    for (char &ch : name) ch = ch == ' ' ? '_' : ch == '-' ? 'm' : ch == '.' ? 'p' : ch;
    return name;
}

INSTANTIATE_TEST_SUITE_P(all, space_places, ::testing::ValuesIn(places), test_name);

// ---- Pan and angle ------------------------------------------------------------------------------

TEST_F(space_laws, pan_and_angle_follow_their_tables_step_by_step)
{
    sweep("pan", -1, 1, 2000);
    sweep("angle", -1000, 1000, 5407);
    for (const double far : {1e6, -1e6, 1e18, -1e18, 3.3e18, -3.3e18, 1e19})
        sweep("angle", far, far, 1);
}

TEST_F(space_laws, pan_turns_a_quarter_circle_and_mirrors_it_behind)
{
    const double step = pi / 512; // between two entries of the table
    for (double p = -1; p <= 1; p += 0.01) {
        const slots found = after("pan", p);
        EXPECT_NEAR(found[0], std::sin((135 + 45 * p) * pi / 180), step) << p;
        EXPECT_NEAR(found[1], std::sin((45 + 45 * p) * pi / 180), step) << p;
        EXPECT_EQ(found[2], found[1]);
        EXPECT_EQ(found[3], found[0]);
    }
}

TEST_F(space_laws, pan_adds_its_angle_in_single_precision)
{
    // 225 + 22.499998 is 247.5 there, and a step of the table higher.
    const float p = std::nextafter(0.5f, 0.0f);
    EXPECT_EQ(after("pan", double(p)), after("pan", 0.5));
    EXPECT_NE(after("pan", 0.49999)[0], after("pan", 0.5)[0]);
}

TEST_F(space_laws, each_of_four_speakers_hears_the_half_circle_around_it)
{
    const double speakers[] = {-45, 45, 135, 225};
    for (double a = -720; a <= 720; a += 0.31) {
        const slots found = after("angle", a);
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(found[std::size_t(k)],
                        std::max(0.0, std::cos((a - speakers[k]) * pi / 180)), pi / 512)
                << a << " at " << k;
    }
}

TEST_F(space_laws, an_angle_below_zero_is_truncated_toward_zero_before_it_wraps)
{
    // (225 - 406) * 256 / 90 = -514.84, and -514 wraps to 510.
    EXPECT_DOUBLE_EQ(after("angle 1 -406")[0], std::sin(254.0 / 256 * pi / 2));
}

// ---- Ring of eight ------------------------------------------------------------------------------

TEST_F(space_laws, the_ring_follows_its_tables_step_by_step)
{
    sweep("pan8", -9, 17, 13211);
    sweep("pan8", 4.5, 5, 4096);
    for (const double far : {1e5 + 0.25, -1e5 - 0.25, 1e7, -3e7, 1e15, -2.2e15, 2.3e15, 1e37})
        sweep("pan8", far, far, 1);
}

TEST_F(space_laws, neighbours_on_the_ring_cross_fade_and_strays_come_from_the_small_tables)
{
    for (double p = -8; p <= 16; p += 1.0 / 1024) {
        const slots found = after("pan8", p);
        for (int j = 0; j < 8; ++j) {
            SCOPED_TRACE(::testing::Message() << p << " at output " << j + 1);
            double u = std::fmod(p + 3.5 - j, 8);
            if (u < 0) u += 8;
            const double away = u - 3.5; // from where this output begins to sound
            const double regular = away >= 0 && away < 2 ? std::sin(away * pi / 2) : 0;
            const double value = found[std::size_t(j)];
            if (u >= 0.5 && u < 7.9998) ASSERT_NEAR(value, regular, pi / 8192 + 1e-9);
            else if (u > 0.0625 && u < 0.1875) ASSERT_GT(value, 0); // sine
            else if (u > 0.3125 && u < 0.4375) ASSERT_GT(value, 0); // square root
            else ASSERT_EQ(value, 0);
        }
    }
}

TEST_F(space_laws, strays_have_the_height_of_the_small_lobes)
{
    // Output 1 at u = p + 3.5 (modulo 8): the middles and the quarter points of both lobes.
    EXPECT_DOUBLE_EQ(after("pan8", 4.5 + 0.125)[0], 1);
    EXPECT_DOUBLE_EQ(after("pan8", 4.5 + 0.09375)[0], half);
    EXPECT_DOUBLE_EQ(after("pan8", 4.5 + 0.375)[0], 1);
    EXPECT_DOUBLE_EQ(after("pan8", 4.5 + 0.34375)[0], half);
    EXPECT_DOUBLE_EQ(after("pan8", 4.5 + 0.328125)[0], 0.5);
    EXPECT_EQ(after("pan8", 4.5 + 0.25)[0], 0);
}

TEST_F(space_laws, a_ring_position_below_zero_is_truncated_toward_zero_before_it_wraps)
{
    // Output 7 at u = -3.5001220703125, that is half a step before its peak.
    EXPECT_EQ(after("pan8", -1.0001220703125)[6], 1.0);
}

// ---- B-format -----------------------------------------------------------------------------------

TEST_F(space_laws, b_format_to_the_left_is_almost_pure_y)
{
    const slots found = after("panb 1 90 0");
    EXPECT_DOUBLE_EQ(found[0], 0.707107);
    EXPECT_NEAR(found[1], 0, 3e-5);
    EXPECT_GT(found[1], 2e-5); // its degree is short
    EXPECT_NEAR(found[2], 1, 1e-9);
    EXPECT_EQ(found[3], 0);
}

TEST_F(space_laws, b_format_takes_sines_in_double_precision)
{
    for (const float azimuth : {-370.0f, -90.0f, 1.0f, 37.0f, 200.0f, 1e6f})
        for (const float elevation : {-90.0f, 0.0f, 12.5f, 90.0f}) {
            const double az = double(float(double(azimuth) * 0.017453)),
                         el = double(float(double(elevation) * 0.017453));
            send(x, 0, "panb", {host::atom(1), host::atom(azimuth), host::atom(elevation)});
            EXPECT_DOUBLE_EQ(x->inputs.amps[1], std::cos(az) * std::cos(el));
            EXPECT_DOUBLE_EQ(x->inputs.amps[2], std::sin(az) * std::cos(el));
            EXPECT_DOUBLE_EQ(x->inputs.amps[3], std::sin(el));
        }
}

// ---- Cube ---------------------------------------------------------------------------------------

TEST_F(space_laws, the_cube_scales_the_aux_sends_by_the_gain_each_time)
{
    for (const char *text : {"direction 0 0 0 10", "polar 0 0 0"}) {
        send(x, 0, "gain 2, aux1 0.3, aux2 -1");
        EXPECT_EQ(x->inputs.amps[8], 2 * double(0.3f));
        send(x, 0, text);
        EXPECT_EQ(x->inputs.amps[8], 4 * double(0.3f));
        EXPECT_EQ(x->inputs.amps[9], -4);
        EXPECT_DOUBLE_EQ(x->inputs.amps[3], 2 * centre);
        send(x, 0, "gain 0.5, aux1 1");
        send(x, 0, text);
        send(x, 0, text);
        EXPECT_EQ(x->inputs.amps[8], 0.125); // a quarter of what it was
    }
}

TEST_F(space_laws, a_coordinate_out_of_range_counts_as_the_middle)
{
    send(x, 0, "direction 2 0 0 10");
    EXPECT_EQ(complaints(x), (lines{out_of_range("x (message direction)", 2, -1, 1, 0)}));
    for (int k = 0; k < 8; ++k) EXPECT_DOUBLE_EQ(x->inputs.amps[k], centre);
    send(x, 0, "polar 180.1 -90.1 10");
    EXPECT_EQ(complaints(x), (lines{out_of_range("azimuth (message polar)", 180.1, -180, 180, 0),
                                    out_of_range("elevation (message polar)", -90.1, -90, 90, 0)}));
    EXPECT_EQ(x->inputs.amps[0], 0.5);
    EXPECT_EQ(x->inputs.amps[2], 0);
}

TEST_F(space_laws, a_pan_out_of_range_is_reported_and_goes_to_the_middle)
{
    send(x, 0, "pan 1 2");
    EXPECT_EQ(complaints(x), (lines{out_of_range("pan (message pan)", 2, -1, 1, 0)}));
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(x->inputs.amps[k], std::sqrt(0.5), 1e-6);
}

// ---- Gain ---------------------------------------------------------------------------------------

TEST_F(space_laws, gain_rescales_what_is_set_already)
{
    send(x, 0, "amp 3, gain 0.5");
    EXPECT_THAT(present(), ::testing::Each(1.5)); // though `amp` ignores the gain
    send(x, 0, "pan 1 -1");
    EXPECT_EQ(present(), (slots{0.5, 0, 0, 0.5, 1.5, 1.5, 1.5, 1.5, 1.5, 1.5}));
    send(x, 0, "gain 1");
    EXPECT_EQ(present(), (slots{1, 0, 0, 1, 3, 3, 3, 3, 3, 3}));
}

TEST_F(space_laws, a_gain_that_is_not_above_zero_is_refused)
{
    x->inputs.gain = 0.5;
    const inputs before = x->inputs;
    const double nan = std::nan("");
    for (const t_atom &zero : {host::atom(0), host::atom(0.0), host::atom(-0.0), host::atom(1e-46),
                               host::atom(-1e-46), host::atom(nan)}) {
        send(x, 0, "gain", {zero});
        EXPECT_EQ(complaints(x), (lines{"k.vorb~: gain must be greater than 0"}));
        EXPECT_THAT(differences(x->inputs, before), IsEmpty());
    }
    send(x, 0, "gain foo");
    EXPECT_EQ(complaints(x), (lines{number_expected(), "k.vorb~: gain must be greater than 0"}));
    EXPECT_THAT(differences(x->inputs, before), IsEmpty());
}

TEST_F(space_laws, a_gain_below_zero_is_reported_and_becomes_one)
{
    send(x, 0, "gain 0.5, amp 3, gain -1");
    EXPECT_EQ(complaints(x), (lines{out_of_range("gain", -1, 0, 1e38, 1)}));
    EXPECT_EQ(x->inputs.gain, 1);
    EXPECT_THAT(present(), ::testing::Each(6.0));
}

TEST_F(space_laws, the_amplitude_is_checked_with_the_gain_and_its_fallback_is_without)
{
    send(x, 0, "gain 0.5, pan -3 -1");
    EXPECT_EQ(complaints(x), (lines{out_of_range("amplitude (message pan)", -1.5, 0, 1e38, 1)}));
    EXPECT_EQ(x->inputs.amps[0], 1);
    send(x, 0, "gain 4, angle 5e37 45");
    EXPECT_EQ(complaints(x), (lines{out_of_range("amplitude (message angle)", 2e38, 0, 1e38, 1)}));
    EXPECT_EQ(x->inputs.amps[1], 1);
    send(x, 0, "gain 0.5, pan8 1.5e38 1"); // alone it would be too large
    EXPECT_THAT(complaints(x), IsEmpty());
    EXPECT_EQ(x->inputs.amps[0], double(1.5e38f) / 2);
}

TEST_F(space_laws, the_amplitude_with_the_gain_is_of_single_precision)
{
    send(x, 0, "gain 0.3, pan 0.7 -1");
    EXPECT_EQ(x->inputs.amps[0], double(float(double(0.7f) * double(0.3f))));
}

} // namespace
