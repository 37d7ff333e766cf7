// Lookup tables of the pan laws, entry by entry.
#include "session.h"

#include <algorithm>

namespace {

class tables : public session {
protected:
    /// All that is built, to be compared with or put back.
    static std::vector<double> everything()
    {
        std::vector<double> all(k_sin_pan_table, k_sin_pan_table + 2048 + 32768);
        all.insert(all.end(), k_sqrt_pos_table, k_sqrt_pos_table + 32768);
        all.insert(all.end(), k_sqrt_table, k_sqrt_table + 1025);
        return all;
    }

    static void spoil()
    {
        std::fill_n(k_sin_pan_table, 2048 + 32768, -5.0);
        std::fill_n(k_sqrt_pos_table, 32768, -5.0);
        std::fill_n(k_sqrt_table, 1025, -5.0);
    }

    static void rebuild()
    {
        k_init_pan_tables();
        k_init_pos_tables();
        k_init_sqrt_table();
    }

    void TearDown() override
    {
        rebuild();
        session::TearDown();
    }
};

const double quarter_turn = 1.5707963267948966;

TEST_F(tables, the_small_sine_lobe)
{
    for (int i = 0; i < 1024; ++i) {
        const bool inside = i >= 256 && i <= 767;
        ASSERT_EQ(k_sin_pan_table[i], inside ? std::sin((i - 256) / 256.0 * quarter_turn) : 0.0)
            << i;
    }
    EXPECT_EQ(k_sin_pan_table[512], 1.0);
}

TEST_F(tables, the_small_root_lobe)
{
    for (int i = 0; i < 1024; ++i) {
        double wanted = 0;
        if (i >= 256 && i <= 511) wanted = std::sqrt((i - 256) / 256.0);
        if (i >= 512 && i <= 767) wanted = std::sqrt(1 - (i - 512) / 256.0);
        ASSERT_EQ(k_sqrt_pan_table[i], wanted) << i;
    }
}

TEST_F(tables, the_large_sine_lobe)
{
    for (int i = 0; i < 32768; ++i) {
        const bool inside = i >= 12288 && i <= 20479;
        ASSERT_EQ(k_sin_pos_table[i], inside ? std::sin((i - 12288) / 4096.0 * quarter_turn) : 0.0)
            << i;
    }
    EXPECT_EQ(k_sin_pos_table[16384], 1.0);
}

TEST_F(tables, the_large_root_lobe)
{
    for (int i = 0; i < 32768; ++i) {
        double wanted = 0;
        if (i >= 12288 && i <= 16383) wanted = std::sqrt((i - 12288) / 4096.0);
        if (i >= 16384 && i <= 20479) wanted = std::sqrt(1 - (i - 16384) / 4096.0);
        ASSERT_EQ(k_sqrt_pos_table[i], wanted) << i;
    }
}

TEST_F(tables, the_roots_of_1024ths)
{
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(k_sqrt_table[i], std::sqrt(i / 1024.0)) << i;
    EXPECT_EQ(k_sqrt_table[1024], 1.0);
    EXPECT_EQ(k_sqrt_table[128], 0.3535533905932738);
    EXPECT_EQ(k_sqrt_table[255], 0.4990224819584785);
}

TEST_F(tables, an_angle_is_256_steps_in_90_degrees)
{
    for (int i = 256; i < 768; ++i) {
        const double degrees = i * 90.0 / 256;
        ASSERT_NEAR(k_sin_pan_table[i], std::sin((degrees - 90) * quarter_turn / 90), 1e-15) << i;
    }
}

TEST_F(tables, the_two_small_lobes_and_the_large_sine_stand_in_one_row)
{
    EXPECT_EQ(k_sqrt_pan_table, k_sin_pan_table + 1024);
    EXPECT_EQ(k_sin_pos_table, k_sin_pan_table + 2048);
    EXPECT_EQ(k_pan_span, k_sin_pan_table);
    EXPECT_EQ(k_pan_span[512], 1.0);
    EXPECT_EQ(k_pan_span[1024 + 320], 0.5);
    EXPECT_EQ(k_pan_span[2048 + 16384], 1.0);
    EXPECT_GE(sizeof k_pan_span, 32768 * sizeof(double)); // of what the ring reads
}

TEST_F(tables, each_builder_fills_its_own_tables_whole)
{
    const std::vector<double> built = everything();
    spoil();
    k_init_pan_tables();
    EXPECT_TRUE(std::equal(built.begin(), built.begin() + 2048, k_sin_pan_table));
    EXPECT_THAT(std::vector<double>(k_sin_pos_table, k_sin_pos_table + 32768),
                ::testing::Each(-5.0));
    spoil();
    k_init_pos_tables();
    EXPECT_TRUE(std::equal(built.begin() + 2048, built.end() - 1025, everything().begin() + 2048));
    EXPECT_THAT(std::vector<double>(k_sin_pan_table, k_sin_pan_table + 2048),
                ::testing::Each(-5.0));
    spoil();
    k_init_sqrt_table();
    EXPECT_TRUE(std::equal(built.end() - 1025, built.end(), k_sqrt_table));
    EXPECT_EQ(k_sin_pan_table[0], -5.0);
    EXPECT_EQ(k_sqrt_pos_table[32767], -5.0);
    rebuild();
    EXPECT_EQ(everything(), built);
}

TEST_F(tables, starting_the_module_again_builds_nothing)
{
    spoil();
    const std::vector<double> spoilt = everything();
    k_init_utils();
    EXPECT_EQ(everything(), spoilt);
}

TEST_F(tables, messages_and_sound_leave_them_as_they_are)
{
    const std::vector<double> built = everything();
    vorb *x = create("10");
    host::start_audio();
    send(x, 0, "pan 1 1, pan8 1 4.625, angle 1 -77, direction 1 1 1 -10, polar 90 0 -1e38, bang");
    host::run();
    EXPECT_EQ(everything(), built);
}

} // namespace
