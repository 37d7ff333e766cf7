// Reading a number from an argument, and checking its range.
#include "session.h"

#include <limits>

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

class value : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        x = create();
    }

    float get(const t_atom &atom) { return vorb_get_value(x, &atom); }

    float check(float v, float low, float high, float fallback)
    {
        return vorb_range_check(x, "some label", v, low, high, fallback);
    }

    vorb *x = nullptr;
};

TEST_F(value, floats_are_narrowed_to_single_precision)
{
    EXPECT_EQ(get(host::atom(0.5)), 0.5f);
    EXPECT_EQ(double(get(host::atom(0.1))), 0.100000001490116119384765625);
    EXPECT_EQ(get(host::atom(-16777217.0)), -16777216.0f);
    EXPECT_EQ(get(host::atom(1e-46)), 0.0f);
    EXPECT_TRUE(std::signbit(get(host::atom(-0.0))));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(value, floats_beyond_single_precision_are_infinite)
{
    EXPECT_EQ(get(host::atom(1e300)), inf);
    EXPECT_EQ(get(host::atom(-1e300)), -inf);
    EXPECT_EQ(get(host::atom(double(inf))), inf);
    EXPECT_TRUE(std::isnan(get(host::atom(double(nan)))));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(value, ints_are_narrowed_to_single_precision)
{
    using whole = std::numeric_limits<t_atom_long>;
    const std::vector<std::pair<t_atom_long, float>> rows = {
        {0, 0.0f},
        {-7, -7.0f},
        {16777216, 16777216.0f},
        {16777217, 16777216.0f}, // to even
        {16777219, 16777220.0f},
        // By way of a double it would become a tie, and be rounded down.
        {18014398509481984 + 1073741824 + 1, 18014400656965632.0f},
        {whole::max(), 9223372036854775808.0f},
        {whole::min(), -9223372036854775808.0f}};
    for (const auto &[n, v] : rows) EXPECT_EQ(get(host::atom(n)), v) << n;
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(value, anything_else_is_reported_and_read_as_0)
{
    for (const char *word : {"foo", "12", "", "all"}) EXPECT_EQ(get(host::atom(word)), 0.0f);
    t_atom other = host::atom(5.0);
    for (const int type : {A_NOTHING, A_OBJ, A_SEMI, A_COMMA, A_DOLLAR}) {
        other.a_type = static_cast<short>(type);
        EXPECT_EQ(get(other), 0.0f) << type;
    }
    const std::vector<host::line> said = host::take_console();
    ASSERT_EQ(said.size(), 9u);
    for (const host::line &row : said) {
        EXPECT_EQ(row.text, "k.vorb~: expected number argument");
        EXPECT_TRUE(row.error);
        EXPECT_EQ(row.object, object(x));
    }
}

TEST_F(value, a_range_holds_its_bounds)
{
    for (const float v : {-2.0f, 0.0f, 1.25f, 3.0f}) EXPECT_EQ(check(v, -2, 3, 9), v);
    EXPECT_TRUE(std::signbit(check(-0.0f, 0, 1, 9))); // -0 is not below 0
    EXPECT_EQ(check(5, 5, 5, 9), 5.0f);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(value, nan_passes_every_range_without_a_word)
{
    EXPECT_TRUE(std::isnan(check(nan, 0, 1, 9)));
    EXPECT_TRUE(std::isnan(check(nan, -k_open, k_open, 0)));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(value, beyond_a_bound_the_fallback_is_taken_and_reported)
{
    EXPECT_EQ(check(-5, 0, 1, 0.25f), 0.25f);
    EXPECT_EQ(check(1234.5f, 0, 22050, 0), 1234.5f);
    EXPECT_EQ(check(30000, 0, 22050, 0), 0.0f);
    EXPECT_EQ(check(std::nextafter(1.0f, inf), 0, 1, 1), 1.0f);
    EXPECT_EQ(check(std::nextafter(-1.0f, -inf), -1, 1, 0), 0.0f);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: parameter 'some label' (-5.00e+00) out of range "
                                       "[0.00e+00 .. 1.00e+00] - set to 2.50e-01",
                                       "!k.vorb~: parameter 'some label' (3.00e+04) out of range "
                                       "[0.00e+00 .. 2.20e+04] - set to 0.00e+00",
                                       "!k.vorb~: parameter 'some label' (1.00e+00) out of range "
                                       "[0.00e+00 .. 1.00e+00] - set to 1.00e+00",
                                       "!k.vorb~: parameter 'some label' (-1.00e+00) out of range "
                                       "[-1.00e+00 .. 1.00e+00] - set to 0.00e+00"));
}

TEST_F(value, an_open_bound_is_the_single_precision_number_nearest_to_1e38)
{
    EXPECT_EQ(double(k_open), 9.999999680285692e37);
    EXPECT_EQ(check(k_open, -k_open, k_open, 0), k_open);
    EXPECT_EQ(check(-k_open, -k_open, k_open, 0), -k_open);
    EXPECT_THAT(console(), IsEmpty());
    EXPECT_EQ(check(std::nextafter(k_open, inf), -k_open, k_open, 0), 0.0f);
    EXPECT_EQ(check(inf, -k_open, k_open, 0), 0.0f);
    EXPECT_EQ(check(-inf, -k_open, k_open, 1), 1.0f);
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: parameter 'some label' (1.00e+38) out of range "
                                       "[-1.00e+38 .. 1.00e+38] - set to 0.00e+00",
                                       "!k.vorb~: parameter 'some label' (inf) out of range "
                                       "[-1.00e+38 .. 1.00e+38] - set to 0.00e+00",
                                       "!k.vorb~: parameter 'some label' (-inf) out of range "
                                       "[-1.00e+38 .. 1.00e+38] - set to 1.00e+00"));
}

TEST_F(value, the_fallback_itself_is_not_checked)
{
    EXPECT_EQ(check(2, 0, 1, -7), -7.0f);
    EXPECT_EQ(console().size(), 1u);
}

TEST_F(value, a_range_report_names_the_object)
{
    check(2, 0, 1, 1);
    const std::vector<host::line> said = host::take_console();
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].object, object(x));
}

} // namespace
