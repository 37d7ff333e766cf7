// The examples sound as their opening comments say.
#include "examples.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace fs = std::filesystem;

TEST_F(Examples, voice_sings_the_pitch_of_its_signal)
{
    const recording heard = play("voice");
    ASSERT_EQ(heard.channels.size(), 1u);
    double at, target, ms;
    std::istringstream line(events("voice").front().second.substr(sizeof "v 0 signal" - 1));
    ASSERT_TRUE(line >> at);
    double begin = 0, lowest = at, highest = at;
    for (; line >> target >> ms; begin += ms, at = target) {
        for (double t = begin + 100; t < begin + ms - 100; t += 100) {
            const double expected = at + (target - at) * (t - begin) / ms;
            // A fog sounds 4 ms after it starts, when its pulse comes.
            const channel x = part(heard.channels[0], 44100, t / 1000 - 0.026, 0.06);
            EXPECT_NEAR(pitch(x, 44100, 60, 300), expected, 0.012 * expected) << t << " ms";
        }
        lowest = std::min(lowest, target);
        highest = std::max(highest, target);
    }
    EXPECT_NEAR(highest / lowest, 220 / 82.5, 0.01);
}

TEST_F(Examples, voice_keeps_its_vowel_while_the_pitch_moves)
{
    const channel x = play("voice").channels[0];
    // the strongest partial of an "ah" above its first ones lies near 650 Hz or 1050 Hz
    const auto share = [&](double from, double f0) {
        const channel s = part(x, 44100, from, 0.4);
        double formants = 0, above = 0;
        for (double f = f0; f < 4000; f += f0) {
            const double power = std::pow(partial(s, 44100, f), 2);
            if (f >= 440 && f <= 1300) formants += power;
            if (f > 1300 && f < 2200) above += power;
        }
        return decibels(formants / above) / 2;
    };
    EXPECT_GT(share(0.5, 110), 10);
    EXPECT_GT(share(4.3, 220), 10);
    EXPECT_NEAR(share(0.5, 110), share(4.3, 220), 6);
}

TEST_F(Examples, choir_sings_its_chords_and_fades)
{
    const recording heard = play("choir");
    ASSERT_EQ(heard.channels.size(), 2u);
    EXPECT_GE(heard.seconds(), 10);
    EXPECT_LE(heard.seconds(), 20);
    const channel &left = heard.channels[0], &right = heard.channels[1];
    const double level = decibels(std::max(peak(left), peak(right)));
    EXPECT_GE(level, -6);
    EXPECT_LE(level, -3);

    struct chord {
        double from, notes[3];
    };
    for (const chord &c :
         {chord{4.75, {92.5, 146.83, 293.66}}, chord{7.25, {82.41, 164.81, 246.94}},
          chord{9.75, {110, 138.59, 329.63}}})
        for (const double note : c.notes) {
            const channel x = part(left, 44100, c.from, 1.2), y = part(right, 44100, c.from, 1.2);
            const double sung = partial(x, 44100, note) + partial(y, 44100, note);
            for (const double beside : {note * 0.97, note * 1.03})
                EXPECT_GT(decibels(sung / (partial(x, 44100, beside) + partial(y, 44100, beside))),
                          20)
                    << note << " Hz at " << c.from << " s";
        }

    // where no partial of the other voices is near
    const auto side = [&](double note, double from) {
        return decibels(partial(part(right, 44100, from, 0.6), 44100, note) /
                        partial(part(left, 44100, from, 0.6), 44100, note));
    };
    EXPECT_GT(side(277.18, 2.8), 6) << "the high voice stands right";
    EXPECT_LT(side(164.81, 2.8), -6) << "the middle one left";
    EXPECT_NEAR(side(110, 2.8), 0, 3);

    const double loud = rms(part(left, 44100, 10, 1));
    EXPECT_LT(decibels(rms(part(left, 44100, 0, 0.1)) / loud), -20);
    EXPECT_GT(decibels(rms(part(left, 44100, 2, 0.5)) / loud), -8);
    EXPECT_LT(decibels(rms(part(left, 44100, heard.seconds() - 0.1, 0.1)) / loud), -50);
    // no step in the fade
    double before = rms(part(left, 44100, 11.2, 0.2));
    for (double t = 11.4; t < 14; t += 0.2) {
        const double now = rms(part(left, 44100, t, 0.2));
        EXPECT_LT(std::abs(decibels(now / before)), 6) << t;
        before = now;
    }
}

TEST_F(Examples, cloud_sounds_once_for_every_bang)
{
    const recording heard = play("cloud");
    ASSERT_EQ(heard.channels.size(), 2u);
    const channel &left = heard.channels[0], &right = heard.channels[1];
    const auto bangs = events("cloud");
    EXPECT_GT(bangs.size(), 60u);

    // Loud stretches with 20 ms of near silence around them, in steps of 5 ms: single drops.
    const auto loud = [&](double t) {
        return rms(part(left, 44100, t, 0.005)) + rms(part(right, 44100, t, 0.005)) > 1e-4;
    };
    std::vector<double> onsets;
    double last_loud = -1;
    for (int k = 0; k < heard.seconds() * 200; ++k)
        if (const double t = k * 0.005; loud(t)) {
            if (t - last_loud > 0.02) onsets.push_back(t);
            last_loud = t;
        }
    // A drop lasts 55 ms: bangs that follow within 75 ms melt into the one before.
    std::vector<std::pair<double, std::string>> heads;
    double previous = -1000;
    for (const auto &bang : bangs) {
        if (bang.first - previous > 85) heads.push_back(bang);
        previous = bang.first;
    }
    ASSERT_EQ(onsets.size(), heads.size());
    ASSERT_GT(heads.size(), 15u);
    for (size_t i = 0; i < heads.size(); ++i) EXPECT_NEAR(onsets[i], heads[i].first / 1000, 0.012);
}

TEST_F(Examples, cloud_drops_stand_where_their_list_puts_them)
{
    const recording heard = play("cloud");
    const auto bangs = events("cloud");
    int alone = 0;
    for (size_t i = 0; i < 8; ++i) {
        double left, right;
        ASSERT_EQ(std::sscanf(bangs[i].second.c_str(), "c 0 offset %*f, transp %*f, %lf %lf", &left,
                              &right),
                  2)
            << bangs[i].second;
        if (bangs[i + 1].first - bangs[i].first < 100) continue;
        const double t = bangs[i].first / 1000;
        EXPECT_NEAR(rms(part(heard.channels[0], 44100, t, 0.06)) /
                        rms(part(heard.channels[1], 44100, t, 0.06)),
                    left / right, 0.01 * left / right);
        ++alone;
    }
    EXPECT_GT(alone, 4);
}

TEST_F(Examples, stretch_speaks_the_word_eight_times_more_slowly)
{
    const recording heard = play("stretch");
    ASSERT_EQ(heard.channels.size(), 2u);
    const recording word = listen(fs::path(MEDIA) / "word.wav");
    ASSERT_EQ(word.rate, 44100);

    // What sounds at a time began in the 100 ms before it: on average at the place of 50 ms ago,
    // and has moved on by 50 ms since.
    channel noise_heard, noise_spoken, level_heard, level_spoken;
    for (double t = 0.2; t < 7.8; t += 0.05) {
        const double place = 0.01 + 1.02 * (t - 0.05) / 8 + 0.05;
        const channel now = part(heard.channels[0], 44100, t - 0.03, 0.06);
        const channel then = part(word.channels[0], 44100, place - 0.03, 0.06);
        noise_heard.push_back(crossings(now, 44100));
        noise_spoken.push_back(crossings(then, 44100));
        level_heard.push_back(rms(now));
        level_spoken.push_back(rms(then));
    }
    EXPECT_GT(correlation(noise_heard, noise_spoken), 0.85);
    EXPECT_GT(correlation(level_heard, level_spoken), 0.85);
    EXPECT_GT(*std::max_element(noise_spoken.begin(), noise_spoken.end()), 5000) << "a hiss";

    EXPECT_GT(decibels(rms(part(heard.channels[0], 44100, 0.1, 0.4))), -40);
    EXPECT_EQ(peak(part(heard.channels[0], 44100, 8.12, 1)), 0);
    EXPECT_NEAR(heard.seconds(), 9.1, 0.15);
}
