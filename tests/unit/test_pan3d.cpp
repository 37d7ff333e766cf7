// The cube panner: eight gains for a direction and a distance.
#include "space_session.h"

#include <array>
#include <random>

namespace {

using gains = std::array<double, 8>;

class pan3d : public session {};

gains panned(double x, double y, double z, double d, double radius = slow::radius)
{
    gains found;
    k_pan3d8(found.data(), x, y, z, d, radius);
    return found;
}

gains polar(double azimuth, double elevation, double d)
{
    gains found;
    k_pan3d8polar(found.data(), azimuth, elevation, d, slow::radius);
    return found;
}

const double below = 0.4990224819584785; // one step below a half
const double corners[8][3] = {{-1, 1, 1},  {1, 1, 1},  {1, -1, 1},  {-1, -1, 1},
                              {-1, 1, -1}, {1, 1, -1}, {1, -1, -1}, {-1, -1, -1}};

TEST_F(pan3d, in_the_centre_all_speakers_are_equal)
{
    for (const double d : {2.6, slow::radius, 3.0, 1e30, HUGE_VAL})
        EXPECT_THAT(panned(0, 0, 0, d), ::testing::Each(0.3535533905932738)) << d;
    EXPECT_THAT(panned(0.3, -0.9, 0.5, 0), ::testing::Each(0.3535533905932738));
    EXPECT_THAT(polar(33, 44, 0), ::testing::Each(0.3535533905932738));
}

TEST_F(pan3d, each_corner_is_one_speaker)
{
    for (std::size_t k = 0; k < 8; ++k)
        for (const double size : {1.0, 0.5774}) {
            gains wanted = {};
            wanted[k] = 1;
            const double *c = corners[k];
            EXPECT_EQ(panned(size * c[0], size * c[1], size * c[2], 10), wanted) << k;
        }
}

TEST_F(pan3d, a_side_is_four_speakers)
{
    EXPECT_THAT(panned(1, 0, 0, 10), ElementsAre(0, 0.5, 0.5, 0, 0, 0.5, 0.5, 0));
    EXPECT_THAT(panned(-1, 0, 0, 10), ElementsAre(0.5, 0, 0, 0.5, 0.5, 0, 0, 0.5));
    EXPECT_THAT(panned(0, 1, 0, 10), ElementsAre(0.5, 0.5, 0, 0, 0.5, 0.5, 0, 0));
    EXPECT_THAT(panned(0, -1, 0, 10), ElementsAre(0, 0, 0.5, 0.5, 0, 0, 0.5, 0.5));
    EXPECT_THAT(panned(0, 0, 1, 10), ElementsAre(0.5, 0.5, 0.5, 0.5, 0, 0, 0, 0));
    EXPECT_THAT(panned(0, 0, -1, 10), ElementsAre(0, 0, 0, 0, 0.5, 0.5, 0.5, 0.5));
}

TEST_F(pan3d, half_way_to_the_corner_the_gains_are_those_of_half_the_way)
{
    EXPECT_THAT(panned(0.5774, 0.5774, 0.5774, 1.3),
                ElementsAre(0.3736956482219187, 0.649519052838329, 0.3736956482219187,
                            0.21423920626253262, 0.21423920626253262, 0.3736956482219187,
                            0.21423920626253262, 0.12103072956898178));
    // A radius of exactly twice the distance: the next step for all but the nearest.
    EXPECT_THAT(panned(0.5774, 0.5774, 0.5774, 1.3, 2.6),
                ElementsAre(0.375, 0.649519052838329, 0.375, 0.21650635094610965,
                            0.21650635094610965, 0.375, 0.21650635094610965, 0.125));
}

TEST_F(pan3d, the_unit_sphere_is_mapped_by_a_root_of_3_of_single_precision)
{
    // 1 + x * 1.7320507764816284 is 1.5 - 9e-9 here, where a true root of 3 would give 1.5.
    const double x = 0.28867513459481288;
    EXPECT_EQ(panned(x, 0, 0, 10)[1], std::sqrt(191.0 / 1024));
    EXPECT_EQ(panned(x * 1.0000001, 0, 0, 10)[1], std::sqrt(192.0 / 1024));
}

TEST_F(pan3d, each_axis_is_clamped_by_itself)
{
    // Drawn back along its ray, y would be a half and not 0.866.
    const double y = 0.5 * 1.7320507764816284;
    const gains found = panned(1, 0.5, 0, 10);
    EXPECT_EQ(found[1], std::sqrt(std::floor(1024 * (2 * (1 + y) / 8)) / 1024));
    EXPECT_EQ(found[2], std::sqrt(std::floor(1024 * (2 * (1 - y) / 8)) / 1024));
    EXPECT_EQ(panned(100, -7, 0.6, 10), panned(1, -1, 0.6, 10));
}

TEST_F(pan3d, beyond_the_radius_the_distance_is_nothing)
{
    const gains at = panned(0.3, -0.2, 0.1, slow::radius);
    EXPECT_EQ(panned(0.3, -0.2, 0.1, 1e38), at);
    EXPECT_EQ(panned(0.3, -0.2, 0.1, std::nan("")), at);
    EXPECT_NE(panned(0.3, -0.2, 0.1, 2), at);
    EXPECT_EQ(panned(1, 1, 1, 0, 0)[1], 1); // at a radius of 0 too
}

TEST_F(pan3d, a_negative_distance_is_the_other_side)
{
    for (const double d : {0.25, 1.0, 2.5})
        EXPECT_EQ(panned(0.3, -0.5, 0.1, -d), panned(-0.3, 0.5, -0.1, d)) << d;
}

TEST_F(pan3d, far_behind_the_centre_indexes_wrap_and_negative_ones_are_silent)
{
    // At -1.5 on each axis the weights are 2.5 and -0.5 multiplied: 80, -16, 80, -400 ... 2000.
    const double low = std::sqrt(80 / 1024.0);
    EXPECT_THAT(panned(1, 1, 1, -3, 2),
                ElementsAre(low, 0, low, 0, 0, low, 0, std::sqrt((2000 - 1025) / 1024.0)));
}

TEST_F(pan3d, quantisation_steps_at_right_angles)
{
    EXPECT_THAT(polar(90, 0, 10), ElementsAre(0, 0.5, below, 0, 0, 0.5, below, 0));
    EXPECT_THAT(polar(0, 90, 10), ElementsAre(0.5, 0.5, below, below, 0, 0, 0, 0));
    EXPECT_THAT(polar(0, 0, 10), ElementsAre(0.5, 0.5, 0, 0, 0.5, 0.5, 0, 0));
}

TEST_F(pan3d, polar_turns_to_the_right_and_up)
{
    const double up = 35.264389682754654; // of a corner
    const double azimuths[] = {-45, 45, 135, -135};
    for (std::size_t k = 0; k < 8; ++k) {
        const gains found = polar(azimuths[k % 4], k < 4 ? up : -up, 10);
        for (std::size_t other = 0; other < 8; ++other)
            EXPECT_NEAR(found[other], other == k, 0.0323) << k << ' ' << other; // one step at 0
    }
}

TEST_F(pan3d, equals_the_formula_at_any_place)
{
    std::mt19937 dice(1);
    const auto draw = [&](double most) { return (dice() / 4294967295.0 * 2 - 1) * most; };
    for (int turn = 0; turn < 50000; ++turn) {
        const double x = draw(1.1), y = draw(1.1), z = draw(1.1), d = draw(turn % 2 ? 4 : 1e4);
        gains wanted;
        slow::cube(wanted.data(), x, y, z, d);
        ASSERT_EQ(panned(x, y, z, d), wanted) << x << ' ' << y << ' ' << z << ' ' << d;
        const double azimuth = draw(180), elevation = draw(90);
        slow::cube_polar(wanted.data(), azimuth, elevation, d);
        ASSERT_EQ(polar(azimuth, elevation, d), wanted) << azimuth << ' ' << elevation << ' ' << d;
    }
}

TEST_F(pan3d, whole_degrees_equal_the_formula)
{
    for (int azimuth = -180; azimuth <= 180; ++azimuth)
        for (int elevation = -90; elevation <= 90; ++elevation) {
            gains wanted;
            slow::cube_polar(wanted.data(), azimuth, elevation, 10);
            ASSERT_EQ(polar(azimuth, elevation, 10), wanted) << azimuth << ' ' << elevation;
        }
}

TEST_F(pan3d, the_power_is_constant_but_for_the_steps)
{
    std::mt19937 dice(2);
    const auto draw = [&] { return dice() / 4294967295.0 * 2 - 1; };
    for (int turn = 0; turn < 10000; ++turn) {
        double power = 0;
        for (const double g : panned(draw(), draw(), draw(), turn % 2 ? 2 : 5)) power += g * g;
        ASSERT_LE(power, 1 + 1e-12);
        ASSERT_GT(power, 1 - 8.0 / 1024);
    }
}

TEST_F(pan3d, wild_numbers_give_gains_from_0_to_1)
{
    const double inf = HUGE_VAL;
    const double wild[] = {0, 1, -1, 1e300, -1e300, 1e-310, inf, -inf, std::nan("")};
    const double distances[] = {0, -2.7, -10, -1e19, -1e38, -1e300, 1e300, inf, -inf, std::nan("")};
    for (const double x : wild)
        for (const double y : wild)
            for (const double z : {0.3, inf, std::nan("")})
                for (const double d : distances) {
                    for (const double g : panned(x, y, z, d)) ASSERT_TRUE(g >= 0 && g <= 1);
                    for (const double g : polar(x, y, d)) ASSERT_TRUE(g >= 0 && g <= 1);
                }
}

TEST_F(pan3d, writes_eight_gains_and_no_more)
{
    double ten[10];
    for (double &g : ten) g = 7;
    k_pan3d8(ten, 1, 1, 1, 10, slow::radius);
    EXPECT_THAT(ten, ElementsAre(0, 1, 0, 0, 0, 0, 0, 0, 7, 7));
    for (double &g : ten) g = 7;
    k_pan3d8polar(ten, 0, 0, 10, slow::radius);
    EXPECT_THAT(ten, ElementsAre(0.5, 0.5, 0, 0, 0.5, 0.5, 0, 0, 7, 7));
}

} // namespace
