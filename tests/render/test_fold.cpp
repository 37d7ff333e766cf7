// Folding down to two channels: where each outlet is heard, and how loud what moves is.
#include "fold.h"

#include "workshop.h"

#include <cmath>

static double radians(double degrees) { return degrees * M_PI / 180; }

/// What a source with these gains gives to both ears.
static ears heard(const std::vector<ears> &law, const std::vector<double> &gains)
{
    const auto both = fold(gains, static_cast<int>(gains.size()), law);
    return {both[0], both[1]};
}

static double power(const ears &e) { return e[0] * e[0] + e[1] * e[1]; }

/// Loudspeakers `spacing` degrees apart: those on both sides of a source share it by constant
/// power.
static std::vector<double> panned(double azimuth, double first, double spacing, int loudspeakers)
{
    std::vector<double> gains;
    for (int k = 0; k < loudspeakers; ++k) {
        const double away = std::remainder(azimuth - first - k * spacing, 360) / spacing;
        gains.push_back(std::abs(away) < 1 ? std::cos(away * M_PI / 2) : 0);
    }
    return gains;
}

TEST(Fold, one_outlet_goes_to_both_sides_and_two_stay)
{
    EXPECT_EQ(heard(fold_law("auto", 1), {0.3}), (ears{0.3, 0.3}));
    EXPECT_EQ(heard(fold_law("auto", 2), {0.3, -0.7}), (ears{0.3, -0.7}));
}

TEST(Fold, every_loudspeaker_has_constant_power_and_its_mirror_image)
{
    struct {
        const char *law;
        double power;
        std::vector<size_t> mirrored; // the outlet on the other side
    } const rings[] = {{"quad", 0.5, {1, 0, 3, 2}},
                       {"ring", 0.5, {1, 0, 7, 6, 5, 4, 3, 2}},
                       {"cube", 0.25, {1, 0, 3, 2, 5, 4, 7, 6}}};
    for (const auto &ring : rings) {
        SCOPED_TRACE(ring.law);
        const auto &law = fold_law(ring.law, 10);
        ASSERT_EQ(law.size(), ring.mirrored.size());
        for (size_t k = 0; k < law.size(); ++k) {
            EXPECT_NEAR(power(law[k]), ring.power, 1e-12) << k;
            EXPECT_NEAR(law[k][0], law[ring.mirrored[k]][1], 1e-12) << k;
        }
    }
}

TEST(Fold, four_loudspeakers_stand_at_45_degrees_front_and_back)
{
    const auto &law = fold_law("auto", 4);
    // the sine of -45 degrees, as an angle between 0 for left and 90 degrees for right: 13.18
    EXPECT_NEAR(law[0][0] / law[0][1], 1 / std::tan(radians(13.1802)), 1e-4);
    EXPECT_NEAR(law[0][0], law[3][0], 1e-12) << "back left";
    EXPECT_NEAR(law[1][0], law[2][0], 1e-12) << "back right";
    EXPECT_EQ(&law, &fold_law("auto", 6)) << "outlets 5 and 6 are sends";
    EXPECT_EQ(heard(law, {0, 0, 0, 0, 1, 1}), (ears{0, 0}));
}

TEST(Fold, a_ring_of_eight_runs_clockwise_from_the_front_left)
{
    const auto &law = fold_law("auto", 10);
    std::vector<double> right;
    for (const ears &e : law) right.push_back(e[1]);
    EXPECT_TRUE(right[7] < right[0] && right[0] < right[1] && right[1] < right[2]);
    EXPECT_NEAR(right[2], right[3], 1e-12);
    EXPECT_TRUE(right[3] > right[4] && right[4] > right[5] && right[5] > right[6]);
    EXPECT_EQ(heard(law, {0, 0, 0, 0, 0, 0, 0, 0, 1, 1}), (ears{0, 0}));
}

TEST(Fold, what_circles_moves_evenly_and_stays_within_3_dB)
{
    struct {
        const char *law;
        double first, spacing;
        int loudspeakers;
    } const rings[] = {{"quad", -45, 90, 4}, {"ring", -22.5, 45, 8}};
    for (const auto &ring : rings) {
        SCOPED_TRACE(ring.law);
        const auto at = [&](double azimuth) {
            return heard(fold_law(ring.law, 10),
                         panned(azimuth, ring.first, ring.spacing, ring.loudspeakers));
        };
        const auto angle = [](const ears &e) { return std::atan2(e[1], e[0]) * 180 / M_PI; };
        double place = angle(at(-90));
        EXPECT_LT(place, 15);
        for (double azimuth = -90; azimuth <= 90; azimuth += 1.5) {
            const ears e = at(azimuth);
            EXPECT_LE(std::max(e[0], e[1]), 1) << azimuth;
            EXPECT_GE(decibels(power(e)) / 2, -3.02) << azimuth;
            EXPECT_LE(decibels(power(e)) / 2, 0.01) << azimuth;
            EXPECT_GE(angle(e), place - 1e-9) << azimuth;
            EXPECT_LT(angle(e), place + 2.5) << azimuth;
            place = angle(e);
        }
        EXPECT_GT(place, 75);
    }
}

TEST(Fold, in_a_cube_no_ear_hears_more_than_the_source)
{
    const double x[] = {-1, 1, 1, -1, -1, 1, 1, -1}, y[] = {1, 1, -1, -1, 1, 1, -1, -1};
    const auto at = [&](double right, double front, double up) {
        std::vector<double> gains;
        for (size_t k = 0; k < 8; ++k)
            gains.push_back(
                std::sqrt((1 + x[k] * right) * (1 + y[k] * front) * (1 + (k < 4 ? up : -up)) / 8));
        return heard(fold_law("cube", 10), gains);
    };
    for (double right = -1; right <= 1; right += 0.25)
        for (double front = -1; front <= 1; front += 0.25)
            for (double up = -1; up <= 1; up += 0.25) {
                const ears e = at(right, front, up);
                EXPECT_LE(std::max(e[0], e[1]), 1);
                EXPECT_NEAR(e[0], at(-right, -front, -up)[1], 1e-12);
                EXPECT_EQ(e[1] > e[0] + 1e-9, right > 0);
            }
}

TEST(Fold, bformat_is_heard_by_cardioids_that_face_left_and_right)
{
    for (double azimuth = 0; azimuth < 360; azimuth += 15)
        for (double elevation = -90; elevation <= 90; elevation += 30) {
            const double a = radians(azimuth), e = radians(elevation);
            const double left = std::sin(a) * std::cos(e); // cosine of the angle to the left
            const ears ear = heard(fold_law("bformat", 4),
                                   {0.707107, std::cos(a) * std::cos(e), left, std::sin(e)});
            EXPECT_NEAR(ear[0], (1 + left) / 2, 1e-6);
            EXPECT_NEAR(ear[1], (1 - left) / 2, 1e-6);
        }
}

class Stereo : public workshop {};

TEST_F(Stereo, each_outlet_is_written_where_its_law_puts_it)
{
    const std::string box = "buffer b half.wav\nobject v k.vorb~ 10 b 20 0 0 0 1 0 50 0 1\n";
    struct {
        const char *option, *law;
    } const cases[] = {{"--stereo", "ring"},
                       {"--stereo=quad", "quad"},
                       {"--stereo=cube", "cube"},
                       {"--stereo=bformat", "bformat"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.option);
        const auto &law = fold_law(c.law, 10);
        std::string text = box;
        for (size_t k = 0; k < 10; ++k) {
            text += std::to_string(k * 100) + " v 0 list";
            for (size_t j = 0; j < 10; ++j) text += j == k ? " 1" : " 0";
            text += ", bang\n";
        }
        const recording both = render(text + "1000 end\n", {c.option});
        ASSERT_EQ(both.channels.size(), 2u);
        for (size_t k = 0; k < 10; ++k)
            for (size_t ear = 0; ear < 2; ++ear) {
                const double wanted = k < law.size() ? 0.5 * law[k][ear] : 0;
                const auto frame = static_cast<size_t>((static_cast<double>(k) * 100 + 25) * 44.1);
                EXPECT_NEAR(both.channels[ear][frame], wanted, 1e-6) << k << ' ' << ear;
            }
    }
}

TEST_F(Stereo, leaves_two_outlets_and_the_score_beside_it_alone)
{
    write("s.score", "buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 2 5 2 1\n"
                     "0 v 0 signal 103.7\n0 v 0 0.3 0.8\n500 end\n");
    ASSERT_EQ(run({"s.score", "-o", "a.wav"}).status, 0) << last.err;
    ASSERT_EQ(run({"--stereo", "s.score", "-o", "b.wav"}).status, 0) << last.err;
    EXPECT_EQ(text_of("a.wav"), text_of("b.wav"));
}

TEST_F(Stereo, peak_and_channels_in_the_closing_line_are_those_of_the_file)
{
    render("buffer b half.wav\nobject v k.vorb~ 4 b 20 0 0 0 1 0 50 0 1\n"
           "0 v 0 1 0 0 1\n0 v 0 bang\n200 end\n",
           {"--stereo"});
    EXPECT_NE(last.out.find("0.200 s, 2 channels, peak -3.2 dBFS"), std::string::npos) << last.out;
}
