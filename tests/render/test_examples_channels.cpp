// The examples that play sounds of several channels: each channel keeps its outlet.
#include "examples.h"

#include <algorithm>
#include <cmath>

struct copy_of {
    double likeness, scale;
};

/// How a source stands in an output that is late by a block of 64 frames, give or take a frame.
static copy_of find(const channel &source, const channel &out)
{
    copy_of best{-1, 0};
    for (size_t lag = 62; lag < 66; ++lag) {
        double so = 0, ss = 0, oo = 0;
        for (size_t i = 0; i < source.size() && i + lag < out.size(); ++i) {
            so += source[i] * out[i + lag];
            ss += source[i] * source[i];
            oo += out[i + lag] * out[i + lag];
        }
        if (so / std::sqrt(ss * oo) > best.likeness) best = {so / std::sqrt(ss * oo), so / ss};
    }
    return best;
}

/// What is heard in a channel of the passage that plays the sound at its own speed.
static channel passage(const channel &x, double from, double to)
{
    return part(x, 44100, from / 1000, (to - from) / 1000);
}

TEST_F(Examples, dialogue_first_gives_each_speaker_as_recorded)
{
    const recording heard = play("dialogue"), two = listen(std::string(MEDIA) + "/two.wav");
    ASSERT_EQ(heard.channels.size(), 2u);
    ASSERT_EQ(two.channels.size(), 2u);
    const double amplitude = 0.4;
    for (size_t side = 0; side < 2; ++side) {
        const copy_of c = find(two.channels[side], passage(heard.channels[side], 100, 1060));
        EXPECT_GT(c.likeness, 0.98);
        EXPECT_NEAR(c.scale, 2 * amplitude, 0.04) << "four fogs, whose slopes add up to two";
    }
}

TEST_F(Examples, dialogue_never_lets_a_speaker_cross_to_the_other_side)
{
    const recording heard = play("dialogue");
    const auto sounds = [&](size_t side, double ms) {
        return peak(part(heard.channels[side], 44100, ms / 1000, 0.02)) > 0;
    };
    // The sides of the sample: "here" until 420 ms, "there" from 500 ms on.
    for (double ms = 0; ms < 6400; ms += 20)
        EXPECT_FALSE(sounds(0, ms) && sounds(1, ms)) << "both at " << ms << " ms";
    EXPECT_TRUE(sounds(0, 1800) && sounds(0, 3000));
    EXPECT_TRUE(sounds(1, 4200) && sounds(1, 5800));
    EXPECT_TRUE(sounds(1, 7200) && !sounds(0, 7200)) << "from the end: there ...";
    EXPECT_TRUE(sounds(0, 8500) && !sounds(1, 8500)) << "... and here";
}

TEST_F(Examples, dialogue_brings_the_one_who_speaks_forward)
{
    const recording heard = play("dialogue"), even = render(without(text("dialogue"), " pan "));
    const double forward = 0.55 * std::cos(M_PI / 4 * (1 - 0.6)), amplitude = 0.4;
    for (const auto &[side, from] : {std::pair{0, 1600.0}, std::pair{1, 4200.0}}) {
        const auto k = static_cast<size_t>(side);
        EXPECT_NEAR(levels(heard, from, 1500)[k] / levels(even, from, 1500)[k], forward / amplitude,
                    0.005);
    }
}

TEST_F(Examples, strings_first_sound_as_recorded_each_in_its_corner)
{
    const recording heard = play("strings"), strings = listen(std::string(MEDIA) + "/strings.wav");
    ASSERT_EQ(heard.channels.size(), 6u);
    ASSERT_EQ(strings.channels.size(), 4u);
    for (size_t out = 0; out < 4; ++out)
        for (size_t source = 0; source < 4; ++source) {
            const copy_of c =
                find(strings.channels[source], passage(heard.channels[out], 150, 960));
            if (out == source) {
                EXPECT_GT(c.likeness, 0.98) << out;
                EXPECT_NEAR(c.scale, 0.9, 0.04);
            } else {
                EXPECT_LT(c.likeness, 0.5) << out << " has string " << source;
            }
        }
    EXPECT_EQ(passage(heard.channels[5], 0, 1000), passage(heard.channels[0], 0, 1000));
    EXPECT_EQ(peak(passage(heard.channels[4], 0, 1000)), 0);
}

TEST_F(Examples, strings_enter_slowly_in_turn)
{
    const recording heard = play("strings");
    for (size_t k = 1; k < 4; ++k) {
        // A fog of 131 ms reads at most 109 ms ahead of a place that moves at a sixth of its speed.
        const double plucked = 1300 + 600 * static_cast<double>(k);
        const double before = plucked - 6 * 114;
        if (before > 1300) { EXPECT_EQ(peak(passage(heard.channels[k], 1300, before)), 0) << k; }
        EXPECT_GT(decibels(rms(passage(heard.channels[k], plucked, plucked + 300))), -40) << k;
    }
}

TEST_F(Examples, strings_send_the_first_string_from_one_effect_to_the_other)
{
    const recording heard = play("strings");
    const auto lists = messages("strings", "s", "aux1"), others = messages("strings", "s", "aux2");
    ASSERT_EQ(lists.size(), others.size());
    for (size_t i = 1; i < lists.size(); ++i) {
        if (lists[i].ms > 6500) continue;
        // 131 ms later nothing is left of the fogs before; for 200 ms more nothing is told.
        const auto level = levels(heard, lists[i].ms + 135, 190);
        const double one = lists[i].numbers[0], two = others[i].numbers[0];
        EXPECT_NEAR(std::atan2(level[5], level[4]), std::atan2(two, one), 0.001) << lists[i].ms;
    }
    const channel &first = heard.channels[0];
    for (const size_t send : {4u, 5u})
        for (size_t out = 1; out < 4; ++out) {
            const channel x = passage(heard.channels[send], 3500, 3880);
            EXPECT_GT(correlation(x, passage(first, 3500, 3880)), 0.9999);
            EXPECT_LT(correlation(x, passage(heard.channels[out], 3500, 3880)), 0.5) << out;
        }
}

TEST_F(Examples, strings_stay_in_tune_when_slow)
{
    const recording heard = play("strings"), strings = listen(std::string(MEDIA) + "/strings.wav");
    for (size_t k = 0; k < 4; ++k) {
        const double note = pitch(passage(strings.channels[k], 400, 700), 44100, 100, 500);
        const channel slow = passage(heard.channels[k], 4000, 5600);
        EXPECT_NEAR(pitch(slow, 44100, 100, 500) / note, 1, 0.006) << k;
    }
}

TEST_F(Examples, strings_are_one_fog_for_every_bang)
{
    const recording heard = play("strings");
    const auto bangs = messages("strings", "s", "transp");
    ASSERT_EQ(bangs.size(), 5u);
    for (size_t i = 0; i < bangs.size(); ++i) {
        const double factor = bangs[i].numbers[0], length = 800 / factor;
        for (size_t k = 0; k < 4; ++k) {
            const channel &x = heard.channels[k];
            const double plucked = bangs[i].ms + 100 * static_cast<double>(k) / factor;
            if (i == 0 && k > 0) { EXPECT_EQ(peak(passage(x, bangs[i].ms, plucked - 5)), 0) << k; }
            const channel just_after = passage(x, plucked + 4, plucked + 44);
            EXPECT_GT(decibels(rms(just_after)), -26) << factor << ' ' << k;
        }
        if (i != 0 && i != 4) continue; // where no other fog covers its end
        const channel low = passage(heard.channels[0], bangs[i].ms + 150, bangs[i].ms + 1000);
        EXPECT_NEAR(pitch(low, 44100, 50, 400), 146.83 * factor, 1);
        if (i == 4) {
            EXPECT_GT(peak(passage(heard.channels[3], bangs[i].ms + length - 100, 11500)), 0);
            EXPECT_EQ(peak(passage(heard.channels[3], bangs[i].ms + length + 5, 11500)), 0);
        }
    }
}
