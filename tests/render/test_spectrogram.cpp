// What the spectrogram and its columns in time say about known sounds.
#include "spectrogram.h"

#include "timeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

static constexpr double top = 8000;
static constexpr size_t rows = 400, most_columns = 200;

static size_t row_of(double hz) { return static_cast<size_t>(hz / top * rows); }

static size_t highest(const std::vector<double> &powers)
{
    return static_cast<size_t>(std::max_element(powers.begin(), powers.end()) - powers.begin());
}

/// Blocks of 64 frames of a sound that is given for each channel and time.
template <class Sound>
static spectrogram analysed(int channels, int rate, double seconds, Sound sound)
{
    spectrogram result(channels, rate, std::min(top, rate / 2.0), rows, most_columns);
    const auto frames = static_cast<long>(seconds * rate);
    std::vector<double> block;
    for (long i = 0; i < frames; ++i) {
        for (int k = 0; k < channels; ++k) block.push_back(sound(k, static_cast<double>(i) / rate));
        if (i % 64 < 63 && i + 1 < frames) continue;
        result.add(block);
        block.clear();
    }
    result.finish();
    return result;
}

static double sine(double hz, double t) { return std::sin(2 * M_PI * hz * t); }

TEST(Spectrogram, a_full_scale_sine_reads_0_dB_at_its_frequency)
{
    for (const int rate : {16000, 44100, 48000, 96000})
        for (const double hz : {110.0, 1000.0, 1234.5, 7000.0}) {
            const auto seen =
                analysed(1, rate, 1, [&](int, double t) { return sine(hz, t); }).columns();
            const auto &middle = seen[seen.size() / 2];
            EXPECT_NEAR(power_decibels(middle[highest(middle)]), 0, 0.5) << hz << " at " << rate;
            EXPECT_LE(
                std::abs(static_cast<double>(highest(middle)) - static_cast<double>(row_of(hz))), 1)
                << hz << " at " << rate;
        }
}

TEST(Spectrogram, is_even_in_level_and_its_mean_is_that_of_a_steady_sound)
{
    const auto seen = analysed(1, 44100, 1, [](int, double t) { return 0.1 * sine(500, t); });
    const auto columns = seen.columns();
    for (size_t i = 10; i + 10 < columns.size(); ++i)
        EXPECT_NEAR(power_decibels(columns[i][row_of(500)]), -20, 0.5) << i;
    EXPECT_NEAR(power_decibels(seen.mean()[row_of(500)]), -20, 0.6);
}

TEST(Spectrogram, is_even_in_level_to_the_end_of_a_long_sound)
{
    const auto seen =
        analysed(1, 8000, 31, [](int, double t) { return 0.1 * sine(500, t); }).columns();
    const auto row = static_cast<size_t>(500 * rows / 4000);
    for (const auto &column : seen) EXPECT_NEAR(power_decibels(column[row]), -20, 1);
}

TEST(Spectrogram, parts_the_harmonics_of_a_low_voice)
{
    const auto seen = analysed(1, 44100, 1, [](int, double t) {
                          double sum = 0;
                          for (int k = 1; k < 20; ++k) sum += 0.05 * sine(82.5 * k, t);
                          return sum;
                      }).columns();
    const auto &middle = seen[seen.size() / 2];
    for (int k = 2; k < 18; ++k)
        EXPECT_GT(power_decibels(middle[row_of(82.5 * k)]),
                  power_decibels(middle[row_of(82.5 * (k + 0.5))]) + 6)
            << k;
}

TEST(Spectrogram, adds_the_powers_of_channels_whatever_their_signs)
{
    for (const double sign : {1.0, -1.0}) {
        const auto seen = analysed(2, 44100, 0.5,
                                   [&](int k, double t) { return (k ? sign : 1) * sine(1000, t); });
        const auto columns = seen.columns();
        EXPECT_NEAR(power_decibels(columns[columns.size() / 2][row_of(1000)]), 3, 0.5) << sign;
    }
}

TEST(Spectrogram, shows_what_happens_when_it_happens)
{
    for (const double seconds : {0.6, 6.0, 60.0}) { // short ones are finer
        const double from = seconds * 0.5, to = seconds * 0.75;
        const auto seen = analysed(1, 16000, seconds, [&](int, double t) {
            return t >= from && t < to ? sine(2000, t) : 0;
        });
        const auto columns = seen.columns();
        EXPECT_LE(columns.size(), most_columns);
        EXPECT_NEAR(static_cast<double>(columns.size()) * seen.column_seconds(), seconds,
                    seen.column_seconds());
        const double near = 0.025 + seen.column_seconds(); // half a window and a column
        for (size_t i = 0; i < columns.size(); ++i) {
            const double t = (static_cast<double>(i) + 0.5) * seen.column_seconds();
            const double level = power_decibels(columns[i][row_of(2000)]);
            if (t > from + near && t < to - near) { EXPECT_NEAR(level, 0, 0.5) << t; }
            if (t < from - near || t > to + near) { EXPECT_LT(level, -100) << t; }
        }
        EXPECT_NEAR(power_decibels(seen.mean()[row_of(2000)]), power_decibels(0.25), 0.5);
    }
}

TEST(Spectrogram, of_very_little_has_one_column)
{
    const auto loud = analysed(1, 44100, 64.0 / 44100, [](int, double) { return 0.5; }).columns();
    ASSERT_EQ(loud.size(), 1u);
    EXPECT_GT(loud[0][0], 0);
    const auto silent = analysed(1, 44100, 1.0 / 44100, [](int, double) { return 0; }).columns();
    ASSERT_EQ(silent.size(), 1u);
    EXPECT_EQ(power_decibels(silent[0][0]), -300);
}

TEST(Timeline, keeps_every_unit_in_a_bounded_number_of_equal_columns)
{
    timeline<long> course(8);
    for (long n = 1; n <= 1000; ++n) {
        course.add(n);
        const auto &columns = course.columns();
        ASSERT_LE(columns.size(), 8u);
        long sum = 0;
        for (size_t i = 0; i < columns.size(); ++i) {
            const long first = static_cast<long>(i) * course.length() + 1;
            const long last = std::min(first + course.length() - 1, n);
            ASSERT_EQ(columns[i], (first + last) * (last - first + 1) / 2);
            sum += columns[i];
        }
        ASSERT_EQ(sum, n * (n + 1) / 2);
        ASSERT_EQ((n - 1) % course.length() + 1, course.last_length());
    }
}
