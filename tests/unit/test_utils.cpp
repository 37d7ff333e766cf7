// Utilities: the interpolation weights, when they are built, mark look-up, checked truncation.
#include "session.h"

#include <limits>

namespace {

class utils : public session {
protected:
    /// The process as it was before the weights were built, until the end of the test.
    void forget_weights() { k_sampfilt_tab = nullptr; }

    void TearDown() override
    {
        if (k_sampfilt_tab != built) {
            sysmem_freeptr(k_sampfilt_tab);
            k_sampfilt_tab = built;
        }
        session::TearDown();
    }

    void SetUp() override
    {
        session::SetUp();
        built = k_sampfilt_tab;
    }

    k_sampfilt_row *built = nullptr;
};

const std::string make_line = "!k.vorb~: make samp tab";
const std::string fail_line = "!k.vorb~: cannot make sample filter table";

// ---- The weights --------------------------------------------------------------------------------

TEST_F(utils, a_row_holds_the_cubic_weights_of_its_fraction)
{
    for (int i = 0; i < 256; ++i) {
        SCOPED_TRACE(i);
        const double f = i / 256.0, a = 1 + f, b = 1 - f, c = 2 - f;
        const double sixth = -0.16666670143604279;
        const double products[4][4] = {
            {sixth, f, b, c}, {0.5, a, b, c}, {0.5, a, f, c}, {sixth, a, f, b}};
        for (int m = 0; m < 4; ++m) {
            double w = 1;
            for (const double factor : products[m]) w *= factor;
            EXPECT_EQ(k_sampfilt_tab[i][m], static_cast<float>(w)) << "weight " << m;
        }
    }
}

TEST_F(utils, an_integer_position_reproduces_its_frame)
{
    EXPECT_THAT(k_sampfilt_tab[0], ElementsAre(0.f, 1.f, 0.f, 0.f));
}

TEST_F(utils, half_way_the_weights_are_symmetrical)
{
    const float *row = k_sampfilt_tab[128];
    EXPECT_EQ(row[1], 0.5625f);
    EXPECT_EQ(row[2], 0.5625f);
    EXPECT_NEAR(row[0], -0.0625, 2e-8);
    EXPECT_NEAR(row[3], -0.0625, 2e-8);
}

TEST_F(utils, the_outer_weights_come_from_a_slightly_large_sixth)
{
    EXPECT_EQ(k_sampfilt_tab[128][0], -0x1.000004p-4f); // a true sixth would give -0x1p-4
    EXPECT_EQ(k_sampfilt_tab[128][3], -0x1.000004p-4f);
}

TEST_F(utils, every_row_sums_to_one)
{
    for (int i = 0; i < 256; ++i) {
        double sum = 0;
        for (const float w : k_sampfilt_tab[i]) sum += double(w);
        EXPECT_NEAR(sum, 1, 2e-7) << i;
    }
}

// ---- When they are built ------------------------------------------------------------------------

TEST_F(utils, the_weights_exist_before_the_first_instance)
{
    EXPECT_NE(k_sampfilt_tab, nullptr);
    create();
    for (const std::string &text : born) EXPECT_NE(text, make_line);
}

TEST_F(utils, weights_that_exist_are_not_built_again)
{
    host::fail_allocation(1);
    EXPECT_EQ(k_make_sampfilt_tab(), 1);
    EXPECT_EQ(k_sampfilt_tab, built);
    EXPECT_EQ(sysmem_newptr(8), nullptr); // the failure is still to come: nothing was requested
}

TEST_F(utils, without_memory_the_weights_stay_missing_until_the_next_attempt)
{
    forget_weights();
    host::fail_allocation(1);
    EXPECT_EQ(k_make_sampfilt_tab(), 0);
    EXPECT_EQ(k_sampfilt_tab, nullptr);
    EXPECT_EQ(k_make_sampfilt_tab(), 1);
    ASSERT_NE(k_sampfilt_tab, nullptr);
    EXPECT_EQ(k_sampfilt_tab[64][1], 0.8203125f); // 0.5 * 1.25 * 0.75 * 1.75
}

TEST_F(utils, two_instances_in_a_row_build_missing_weights_once)
{
    forget_weights();
    create();
    EXPECT_THAT(born, ElementsAre(make_line));
    const k_sampfilt_row *made = k_sampfilt_tab;
    EXPECT_NE(made, nullptr);
    create();
    EXPECT_THAT(born, IsEmpty());
    EXPECT_EQ(k_sampfilt_tab, made);
}

TEST_F(utils, every_instance_tries_again_while_the_weights_are_missing)
{
    forget_weights();
    for (int attempt = 0; attempt < 2; ++attempt) {
        host::fail_allocation(2); // the instance is the first
        const vorb *x = create("2");
        ASSERT_NE(x, nullptr); // creation goes on
        EXPECT_THAT(born, ElementsAre(make_line, fail_line));
        EXPECT_EQ(x->inputs.channels, 2);
        EXPECT_EQ(x->inputs.table, gensym("sample1"));
        EXPECT_EQ(k_sampfilt_tab, nullptr);
    }
    create();
    EXPECT_THAT(born, ElementsAre(make_line));
    EXPECT_NE(k_sampfilt_tab, nullptr);
}

TEST_F(utils, starting_the_module_again_does_nothing)
{
    forget_weights();
    k_init_utils();
    EXPECT_EQ(k_sampfilt_tab, nullptr);
}

// ---- Marks --------------------------------------------------------------------------------------

TEST_F(utils, a_mark_is_found_by_its_text)
{
    const std::string second = "second"; // other memory than the mark's
    k_mark marks[] = {{"first", nullptr}, {"second", nullptr}, {"third", nullptr}};
    const k_mark_table table = {3, marks};
    EXPECT_EQ(k_find_mark(&table, "first"), 0);
    EXPECT_EQ(k_find_mark(&table, second.c_str()), 1);
    EXPECT_EQ(k_find_mark(&table, "third"), 2);
}

TEST_F(utils, of_two_marks_of_one_name_the_first_is_found)
{
    k_mark marks[] = {{"a", nullptr}, {"b", nullptr}, {"b", nullptr}};
    const k_mark_table table = {3, marks};
    EXPECT_EQ(k_find_mark(&table, "b"), 1);
}

TEST_F(utils, an_unknown_mark_is_minus_one)
{
    k_mark marks[] = {{"first", nullptr}, {"", nullptr}, {"beyond", nullptr}};
    const k_mark_table table = {2, marks}, none = {0, nullptr};
    for (const char *name : {"firs", "first ", "First", "beyond"})
        EXPECT_EQ(k_find_mark(&table, name), -1) << name;
    EXPECT_EQ(k_find_mark(&table, ""), 1);
    EXPECT_EQ(k_find_mark(&none, "first"), -1);
}

TEST_F(utils, a_mark_table_is_a_count_and_a_pointer_to_pairs_of_pointers)
{
    EXPECT_EQ(sizeof(k_mark), 2 * sizeof(void *));
    EXPECT_EQ(offsetof(k_mark_table, count), 0u);
    EXPECT_EQ(sizeof(k_mark_table::count), 4u);
    EXPECT_EQ(offsetof(k_mark_table, marks), sizeof(void *));
}

// ---- Truncation, rates --------------------------------------------------------------------------

TEST_F(utils, truncation_goes_toward_zero)
{
    const std::pair<double, std::int64_t> cases[] = {
        {0.999, 0}, {-0.999, 0}, {1, 1}, {-1.5, -1}, {4294967296.75, 4294967296}, {-2.0, -2}};
    for (const auto &[value, whole] : cases) EXPECT_EQ(k_trunc(value), whole) << value;
}

TEST_F(utils, what_has_no_integer_truncates_to_zero)
{
    const double inf = std::numeric_limits<double>::infinity();
    for (const double value : {std::nan(""), inf, -inf, 0x1p63, -0x1.0000000000001p63, 1e300})
        EXPECT_EQ(k_trunc(value), 0) << value;
    EXPECT_EQ(k_trunc(-0x1p63), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(k_trunc(0x1.fffffffffffffp62), 9223372036854774784);
}

TEST_F(utils, the_rates_are_those_of_the_host)
{
    host::set_audio(47952.047952, 96);
    EXPECT_EQ(k_get_vs(), 96);
    EXPECT_EQ(k_get_srate(), double(47952.047952f)); // the host states it in single precision
}

} // namespace
