// The examples of density: how many fogs sound at once, and how their envelopes share the time.
#include "examples.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

class Density : public Examples {
protected:
    /// What an object's integer outlet said, by the time of the line that asked.
    std::map<double, int> fogs(const std::string &name, const std::string &object)
    {
        std::map<double, int> found;
        std::istringstream lines(last.err);
        const auto asked = events(name);
        for (std::string line; std::getline(lines, line);) {
            double ms;
            char who[32];
            int number;
            if (std::sscanf(line.c_str(), "%lf ms %31[^:]: outlet 2: %d", &ms, who, &number) != 3 ||
                who != object)
                continue;
            // Events take effect at the first block that starts at or after their time.
            double told = 0;
            for (const auto &event : asked)
                if (event.first <= ms + 0.001) told = event.first;
            found[told] = number;
        }
        return found;
    }

    /// The example with a constant for its sound: what is heard are the envelopes alone.
    channel envelopes(const std::string &name, const std::string &sound)
    {
        const std::string constant = (folder / "half.wav").string();
        return render(with(text(name), std::string(MEDIA) + '/' + sound, constant)).channels[0];
    }
};

/// The lengths in ms of the sounds between silences.
static std::vector<double> drops(const channel &x)
{
    std::vector<double> found;
    size_t begin = first_sound(x);
    begin = first_sound(x, first_silence(x, begin)); // the first may have begun before
    while (begin < x.size()) {
        const size_t end = first_silence(x, begin);
        if (end < x.size()) found.push_back(static_cast<double>(end - begin) / 44.1);
        begin = first_sound(x, end);
    }
    return found;
}

static double mean(const channel &x)
{
    double sum = 0;
    for (const double v : x) sum += v;
    return sum / static_cast<double>(x.size());
}

TEST_F(Density, crowd_stays_at_seven_while_the_pitch_climbs_on)
{
    play("crowd");
    const auto used = fogs("crowd", "c");
    const told f0 = messages("crowd", "c", "signal").front();
    int crowded = 0;
    for (const auto &[ms, number] : used) {
        EXPECT_LE(number, 7) << ms << " ms";
        const double unlimited = signal_at(f0, ms) * 0.12;
        if (ms > 4500) break; // the pitch falls again
        if (unlimited > 9) {
            EXPECT_GE(number, 6) << ms << " ms";
            ++crowded;
        }
    }
    EXPECT_GE(crowded, 3);
    EXPECT_GT(signal_at(f0, 4500) * 0.12, 23);
}

TEST_F(Density, crowd_leaves_ticks_behind_until_the_times_are_told_anew)
{
    const channel x = envelopes("crowd", "vowel-o.wav");
    const auto dry = drops(part(x, 44100, 5.5, 0.5)), told_anew = drops(part(x, 44100, 6, 1.1));
    ASSERT_GE(dry.size(), 2u);
    ASSERT_GE(told_anew.size(), 4u);
    // The first block of a fog so far into its sample is silent: up to 1.5 ms of the attack.
    for (const double length : dry) EXPECT_LT(length, 40);
    for (size_t i = 1; i < told_anew.size(); ++i) EXPECT_NEAR(told_anew[i], 119.2, 0.9);
}

TEST_F(Density, crowd_of_ten_speakers_is_cut_and_refused)
{
    play("crowd");
    auto used = fogs("crowd", "w");
    EXPECT_EQ(used[7400], 10) << "no limit";
    EXPECT_EQ(used[7750], 10);
    EXPECT_EQ(used[8500], 8);
    EXPECT_EQ(used[8700], 7) << "the eighth lasts 100 ms of 450 ms";
    EXPECT_EQ(used[8850], 6) << "the seventh 300 ms";
    EXPECT_EQ(used[9000], 0);
    EXPECT_EQ(used[9600], 4);
    EXPECT_EQ(used[9950], 4);
    // Two are refused, then six. A report tells of those since the last one, itself included.
    const size_t first = last.err.find("fogs upper limit reached (1)");
    ASSERT_NE(first, std::string::npos) << last.err;
    const size_t second = last.err.find("fogs upper limit reached (2)", first);
    EXPECT_NE(second, std::string::npos);
    EXPECT_EQ(last.err.find("fogs upper limit", second + 1), std::string::npos);
}

TEST_F(Density, crowd_of_which_the_deepest_are_left)
{
    const recording heard = play("crowd");
    const std::string begin = "buffer word " MEDIA "/word.wav\n"
                              "object w k.vorb~ 1 word 10 30 1 0 0.25 10 300 150 1\n";
    const auto chord = messages("crowd", "w", "limit");
    ASSERT_EQ(chord.size(), 3u);
    const std::string deepest = " w 0 transp 0.5, bang, transp 0.6, bang, transp 0.75, bang, "
                                "transp 0.9, bang";
    const recording six = render(begin + "8500" + deepest +
                                 ", transp 1, bang, transp 1.2, bang\n9600" + deepest + "\n");
    const auto same = [&](double from, double to) {
        const channel a = part(heard.channels[0], 44100, from, to - from),
                      b = part(six.channels[0], 44100, from, to - from);
        channel difference(a.size());
        std::transform(a.begin(), a.end(), b.begin(), difference.begin(), std::minus<>());
        EXPECT_GT(peak(b), 0.01);
        return peak(difference) < 1e-6;
    };
    EXPECT_FALSE(same(8.5, 8.8));
    EXPECT_TRUE(same(8.802, 8.94)) << "six alone, after the two that are cut";
    EXPECT_TRUE(same(9.6, 10.04)) << "four alone";
}

TEST_F(Density, glide_of_fixed_times_piles_up_and_autoenv_keeps_two)
{
    play("glide");
    const told f0 = messages("glide", "fixed", "signal").front();
    const auto fixed = fogs("glide", "fixed"), automatic = fogs("glide", "auto");
    ASSERT_EQ(fixed.size(), 12u);
    ASSERT_EQ(automatic.size(), 12u);
    for (const auto &[ms, number] : fixed)
        EXPECT_NEAR(number, signal_at(f0, ms) * 0.016, 1) << ms << " ms";
    for (const auto &[ms, number] : automatic) {
        EXPECT_GE(number, 2) << ms << " ms";
        EXPECT_LE(number, 3) << "a fog that ends waits for the end of its block";
    }
}

TEST_F(Density, glide_slopes_of_autoenv_add_up_to_one)
{
    const channel x = envelopes("glide", "vowel-a.wav");
    const told fixed = messages("glide", "fixed", "signal").front();
    const double scale = 0.8 * 0.5;
    for (double t = 0.2; t < 4.6; t += 0.1) {
        const double f0 = signal_at(fixed, 1000 * t + 75);
        // Half of 16 ms under the slopes of each, less the silent first block of some.
        EXPECT_NEAR(mean(part(x, 44100, t, 0.15)) / scale, f0 * 0.008, 0.05 + 0.13 * f0 * 0.008)
            << t << " s";
        EXPECT_NEAR(mean(part(x, 44100, 5 + t, 0.15)) / scale, 1, 0.07) << t << " s";
    }
    const auto gap = [&](double from) {
        const channel s = part(x, 44100, from, 0.2);
        return static_cast<double>(std::count(s.begin(), s.end(), 0.0)) / 44.1;
    };
    EXPECT_GT(gap(0.15), 100) << "27.5 Hz: 20 ms of silence between pops of 16 ms";
    EXPECT_EQ(gap(5.15), 0);
    EXPECT_GT(gap(10.15), 80) << "autoenv 1 10: pops of 20 ms";
}

TEST_F(Density, glide_of_fixed_times_loses_its_highest_note)
{
    const recording heard = play("glide");
    const auto level = [&](double from) { return decibels(levels(heard, from, 300)[0]); };
    EXPECT_LT(level(4450), level(4050) - 8);
    EXPECT_LT(level(4450), level(9450) - 12);
    EXPECT_NEAR(level(9450), level(5050), 8) << "autoenv";
}
