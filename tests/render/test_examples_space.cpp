// The examples in space: every voice is heard where its score puts it.
#include "examples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

static double degrees(double radians) { return radians * 180 / M_PI; }

static double power(const std::vector<double> &level)
{
    return std::inner_product(level.begin(), level.end(), level.begin(), 0.0);
}

static size_t loudest(const std::vector<double> &level)
{
    return static_cast<size_t>(std::max_element(level.begin(), level.end()) - level.begin());
}

/// How far one direction is from another, in degrees.
static double apart(double a, double b) { return std::abs(std::remainder(a - b, 360)); }

// A fog of a voice lasts up to 14 ms: from 15 ms after a message on all come from the new place.

TEST_F(Examples, circle_walks_around_four_loudspeakers_and_back)
{
    const recording heard = play("circle");
    ASSERT_EQ(heard.channels.size(), 4u);
    const auto steps = messages("circle", "v", "angle");
    ASSERT_GT(steps.size(), 100u);
    for (const told &step : steps) {
        const auto level = levels(heard, step.ms + 15, 34);
        double front = 0, right = 0;
        for (size_t k = 0; k < 4; ++k) {
            const double facing = (90 * static_cast<double>(k) - 45) * M_PI / 180;
            front += level[k] * std::cos(facing);
            right += level[k] * std::sin(facing);
        }
        EXPECT_LT(apart(degrees(std::atan2(right, front)), step.numbers[1]), 0.5)
            << step.ms << " ms";
    }
}

TEST_F(Examples, circle_passes_through_each_loudspeaker_alone)
{
    const recording heard = play("circle");
    std::vector<size_t> passed;
    for (const told &step : messages("circle", "v", "angle")) {
        const double quarters = (step.numbers[1] + 45) / 90;
        if (quarters != std::floor(quarters)) continue;
        const auto level = levels(heard, step.ms + 15, 34);
        EXPECT_EQ(loudest(level), static_cast<size_t>(quarters) % 4);
        EXPECT_NEAR(power(level), std::pow(level[loudest(level)], 2), 1e-4 * power(level));
        passed.push_back(loudest(level) + 1);
    }
    EXPECT_EQ(passed, (std::vector<size_t>{1, 2, 3, 4, 1, 4, 3, 2, 1}));
}

TEST_F(Examples, circle_is_as_loud_everywhere_as_the_voice_alone)
{
    const recording heard = play("circle");
    const recording voice =
        render(with(without(text("circle"), "angle"), "k.vorb~     4 ", "k.vorb~     1 "));
    for (double t = 50; t < 10400; t += 25)
        EXPECT_NEAR(decibels(std::sqrt(power(levels(heard, t, 50)) / power(levels(voice, t, 50)))),
                    0, 0.1)
            << t << " ms";
}

/// A ring position 1 to 9 from the two loudspeakers it lies between, `k` the first.
static double between(const std::vector<double> &level, size_t k)
{
    return static_cast<double>(k + 1) + std::atan2(level[(k + 1) % 8], level[k]) * 2 / M_PI;
}

TEST_F(Examples, ring_puts_a_drop_on_every_loudspeaker_and_every_gap)
{
    const recording heard = play("ring");
    ASSERT_EQ(heard.channels.size(), 10u);
    const auto drops = messages("ring", "drop", "pan8");
    ASSERT_EQ(drops.size(), 16u);
    for (const told &drop : drops) {
        const auto level = levels(heard, drop.ms, 115);
        const auto k = static_cast<size_t>(drop.numbers[1]) - 1;
        EXPECT_NEAR(between(level, k), drop.numbers[1], 0.01);
        EXPECT_NEAR(power(level), power({level[k], level[(k + 1) % 8]}), 1e-6 * power(level));
    }
    EXPECT_EQ(peak(heard.channels[8]) + peak(heard.channels[9]), 0) << "nothing is sent";
}

TEST_F(Examples, ring_flashes_opposite_at_five_and_seven_eighths_in_the_first_turn_only)
{
    const recording heard = play("ring");
    int flashes = 0;
    double turned = 0, before = 1;
    for (const told &step : messages("ring", "v", "pan8")) {
        const double position = step.numbers[1], beyond = position - std::floor(position);
        const auto k = static_cast<size_t>(position - 1) % 8;
        const auto level = levels(heard, step.ms + 15, 46);
        EXPECT_NEAR(std::remainder(between(level, k) - position, 8), 0, 0.02) << position;
        turned += std::remainder(position - before, 8);
        before = position;

        const bool flash = beyond == 0.625 || beyond == 0.875;
        const double here = std::hypot(level[k], level[(k + 1) % 8]);
        EXPECT_NEAR(level[(k + 5) % 8] / here, flash ? 1 : 0, 0.01) << position;
        EXPECT_NEAR(power(level) / (here * here), flash ? 2 : 1, 0.02) << "and nowhere else";
        EXPECT_FALSE(flash && step.ms > 6900);
        flashes += flash;
    }
    EXPECT_EQ(flashes, 16);
    EXPECT_EQ(turned, 16);
}

using point = std::array<double, 3>;

/// Where in a cube of half edge 1 the loudspeakers' power has its centre.
static point centre(const std::vector<double> &level)
{
    const point corners[] = {{-1, 1, 1},  {1, 1, 1},  {1, -1, 1},  {-1, -1, 1},
                             {-1, 1, -1}, {1, 1, -1}, {1, -1, -1}, {-1, -1, -1}};
    point sum{};
    double all = 0;
    for (size_t k = 0; k < 8; ++k) {
        all += level[k] * level[k];
        for (size_t axis = 0; axis < 3; ++axis) sum[axis] += corners[k][axis] * level[k] * level[k];
    }
    for (double &axis : sum) axis /= all;
    return sum;
}

static double speakers(const std::vector<double> &level)
{
    return std::sqrt(power({level.begin(), level.begin() + 8}));
}

TEST_F(Examples, flight_follows_its_path_through_the_cube)
{
    const recording heard = play("flight");
    ASSERT_EQ(heard.channels.size(), 10u);
    const auto places = messages("flight", "v", "polar");
    ASSERT_GT(places.size(), 100u);
    for (const told &place : places) {
        const double azimuth = place.numbers[0] * M_PI / 180,
                     elevation = place.numbers[1] * M_PI / 180;
        const point out = {std::cos(elevation) * std::sin(azimuth),
                           std::cos(elevation) * std::cos(azimuth), std::sin(elevation)};
        const point found = centre(levels(heard, place.ms + 15, 34));
        for (size_t axis = 0; axis < 3; ++axis)
            EXPECT_NEAR(found[axis],
                        std::clamp(std::sqrt(3) * out[axis], -1.0, 1.0) *
                            std::min(1.0, place.numbers[2] / 2.6),
                        0.01)
                << place.ms << " ms, axis " << axis;
    }
}

TEST_F(Examples, flight_is_in_one_corner_outside_and_in_all_at_the_centre)
{
    const recording heard = play("flight");
    const std::pair<double, size_t> corners[] = {{0, 5},    {1000, 6}, {2000, 7},
                                                 {3000, 8}, {4000, 4}, {6000, 6}};
    for (const auto &[ms, outlet] : corners) {
        auto level = levels(heard, ms + 15, 34);
        level.resize(8);
        EXPECT_EQ(loudest(level) + 1, outlet);
        EXPECT_GT(std::pow(level[outlet - 1], 2), 0.98 * power(level)) << ms;
    }
    const auto inside = levels(heard, 5015, 34), above = levels(heard, 8015, 34);
    for (size_t k = 1; k < 8; ++k) EXPECT_NEAR(inside[k], inside[0], 1e-6) << "all alike";
    for (size_t k = 1; k < 4; ++k) EXPECT_NEAR(above[k], above[0], 0.01 * above[0]);
    for (size_t k = 4; k < 8; ++k) EXPECT_EQ(above[k], 0) << "nothing below";
}

TEST_F(Examples, flight_is_softer_and_wetter_far_away)
{
    const recording heard = play("flight");
    const auto places = messages("flight", "v", "polar"), gains = messages("flight", "v", "gain"),
               wet = messages("flight", "v", "aux1"), bass = messages("flight", "v", "aux2");
    const double far = speakers(levels(heard, 500, 400)), near = speakers(levels(heard, 4800, 400));
    EXPECT_GT(decibels(near / far), 6);
    for (size_t i = 0; i < places.size(); ++i) {
        if (gains[i].numbers[0] < 0.02) continue; // the tail of the fade
        const auto level = levels(heard, places[i].ms + 15, 34);
        // The power of the cube's gains is at most 8 steps of 1/1024 short of one.
        EXPECT_NEAR(level[8] / speakers(level), wet[i].numbers[0], 0.005) << places[i].ms;
        EXPECT_NEAR(level[9] / speakers(level), bass[i].numbers[0], 0.005) << places[i].ms;
    }
    EXPECT_GT(wet.front().numbers[0], 4 * wet[100].numbers[0]);
    EXPECT_EQ(bass.front().numbers[0], 0);
    EXPECT_EQ(bass[100].numbers[0], 1) << "at the centre";
}

TEST_F(Examples, bformat_decodes_to_the_directions_of_its_drops_and_its_voice)
{
    const recording heard = play("bformat");
    ASSERT_EQ(heard.channels.size(), 4u);
    const auto decode = [&](const told &to, double from, double length) {
        const double azimuth = to.numbers[1], elevation = to.numbers[2];
        std::array<channel, 4> b;
        for (size_t k = 0; k < 4; ++k)
            b[k] = part(heard.channels[k], heard.rate, (to.ms + from) / 1000, length / 1000);
        std::array<double, 4> with_w{};
        for (size_t k = 0; k < 4; ++k)
            with_w[k] = std::inner_product(b[0].begin(), b[0].end(), b[k].begin(), 0.0);
        const double ahead = std::hypot(with_w[1], with_w[2]);
        EXPECT_NEAR(degrees(std::atan2(with_w[3], ahead)), elevation, 0.5) << to.ms << " ms";
        if (std::abs(elevation) < 89) {
            EXPECT_LT(apart(degrees(std::atan2(with_w[2], with_w[1])), azimuth), 0.5)
                << to.ms << " ms";
        }
        EXPECT_NEAR(std::hypot(ahead, with_w[3]) / with_w[0], std::sqrt(2), 0.001)
            << "a plane wave: X, Y and Z together are 3 dB above W";
    };
    const auto drops = messages("bformat", "drop", "panb"),
               steps = messages("bformat", "v", "panb");
    ASSERT_EQ(drops.size(), 12u);
    ASSERT_GT(steps.size(), 50u);
    for (const told &drop : drops) decode(drop, 0, 120);
    for (const told &step : steps) decode(step, 15, 44);
}

struct room {
    const char *name;
    size_t outlets;
};

class ExamplesOf : public Examples, public testing::WithParamInterface<room> {};

TEST_P(ExamplesOf, outlets_and_headroom_and_length)
{
    const recording heard = play(GetParam().name);
    EXPECT_EQ(heard.channels.size(), GetParam().outlets);
    double most = 0;
    for (const channel &x : heard.channels) most = std::max(most, peak(x));
    EXPECT_GT(decibels(most), -9);
    EXPECT_LT(decibels(most), -3);
    EXPECT_GE(heard.seconds(), 4);
    EXPECT_LE(heard.seconds(), 12.01);
}

INSTANTIATE_TEST_SUITE_P(Room, ExamplesOf,
                         testing::Values(room{"circle", 4}, room{"ring", 10}, room{"flight", 10},
                                         room{"bformat", 4}, room{"dialogue", 2},
                                         room{"strings", 6}, room{"crowd", 1}, room{"glide", 1}),
                         [](const auto &it) { return std::string(it.param.name); });
