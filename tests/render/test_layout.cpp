// The picture's parts, axes and colours.
#include "layout.h"

#include "colours.h"
#include "drawing.h"

#include <gtest/gtest.h>

static bool apart(const box &a, const box &b)
{
    return a.right() <= b.x || b.right() <= a.x || a.bottom() <= b.y || b.bottom() <= a.y;
}

TEST(Layout, keeps_its_parts_apart_and_in_the_picture)
{
    for (int lanes = 1; lanes <= 10; ++lanes) {
        const layout l = lay_out(lanes);
        std::vector<box> all = l.lanes;
        ASSERT_EQ(all.size(), static_cast<size_t>(lanes));
        all.insert(all.end(), {l.spectrogram, l.mean, l.notes});
        for (size_t i = 0; i < all.size(); ++i) {
            EXPECT_GE(all[i].height, 28) << "room for two labels";
            EXPECT_TRUE(all[i].x >= 0 && all[i].right() <= l.width && all[i].y >= 0 &&
                        all[i].bottom() <= l.height);
            for (size_t j = 0; j < i; ++j) EXPECT_TRUE(apart(all[i], all[j])) << i << ' ' << j;
        }
        EXPECT_EQ(l.spectrogram.height, spectrogram_height);
        EXPECT_EQ(l.spectrogram.y, l.mean.y) << "one frequency axis for both";
        EXPECT_LE(l.height, 900);
    }
}

TEST(Layout, axes_are_marked_at_round_values)
{
    const auto labels = [](double low, double high, int most) {
        std::string all;
        for (const mark &m : marks({low, high, 0, 1, ""}, most)) all += m.label + ' ';
        return all;
    };
    EXPECT_EQ(labels(0, 8000, 10), "0 1000 2000 3000 4000 5000 6000 7000 8000 ");
    EXPECT_EQ(labels(0, 0.35, 4), "0.0 0.1 0.2 0.3 ");
    EXPECT_EQ(labels(0, 0.3, 3), "0.0 0.1 0.2 0.3 ");
    EXPECT_EQ(labels(2.5, 5.1, 6), "2.5 3.0 3.5 4.0 4.5 5.0 ");
    EXPECT_EQ(labels(-80, 0, 8), "-80 -70 -60 -50 -40 -30 -20 -10 0 ");
    EXPECT_EQ(labels(-0.5, 0.5, 2), "-0.5 0.0 0.5 ");
    EXPECT_EQ(labels(0, 0.00145, 3), "0.0000 0.0005 0.0010 ");
    EXPECT_EQ(labels(0, 86400, 5), "0 20000 40000 60000 80000 ");
    EXPECT_EQ(labels(-5e37, 5e37, 2), "-5e+37 0 5e+37 ");
}

TEST(Layout, marks_stand_where_their_values_are)
{
    const axis upwards{0, 8000, 500, 100, ""};
    EXPECT_EQ(upwards.place(0), 500);
    EXPECT_EQ(upwards.place(1000), 450);
    EXPECT_EQ(upwards.place(8000), 100);
    const axis time{2, 4, 10, 110, ""};
    EXPECT_EQ(time.place(2.5), 35);
}

TEST(Layout, waveforms_are_scaled_to_the_next_round_number)
{
    EXPECT_DOUBLE_EQ(round_up(0.3), 0.5);
    EXPECT_DOUBLE_EQ(round_up(0.5), 0.5);
    EXPECT_DOUBLE_EQ(round_up(0.501), 1);
    EXPECT_DOUBLE_EQ(round_up(1), 1);
    EXPECT_DOUBLE_EQ(round_up(1.2), 2);
    EXPECT_DOUBLE_EQ(round_up(7e-4), 1e-3);
}

TEST(Layout, levels_reach_80_dB_down_from_the_loudest)
{
    EXPECT_EQ(level_range(1).high, 0);
    EXPECT_EQ(level_range(1).low, -80);
    EXPECT_EQ(level_range(0.005).high, -20); // -23 dB
    EXPECT_EQ(level_range(10).high, 10);
    EXPECT_EQ(level_range(0).high, 0) << "silence";
}

TEST(Colours, get_lighter_with_the_level)
{
    const auto lightness = [](const colour &c) {
        return 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue;
    };
    double before = -1;
    for (int i = 0; i <= 1000; ++i) {
        const double now = lightness(level_colour(i / 1000.0));
        EXPECT_GT(now, before) << i;
        before = now;
    }
    EXPECT_LT(lightness(level_colour(-5)), 0.01);
    EXPECT_EQ(lightness(level_colour(7)), before);
}
