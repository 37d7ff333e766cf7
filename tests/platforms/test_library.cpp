// How exact this platform's exp, pow, cos and sin are, over what the object asks of them. Renders
// of two platforms differ by nothing else; how far apart they may be is derived from these bounds.
#include "dice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#ifdef _WIN32
#include "x87.h"
#endif

namespace {

constexpr int tries = 20000;
constexpr double pi = 3.14159265358979323846;

static_assert(std::numeric_limits<long double>::digits >= 64, "too coarse to judge doubles by");

/// What the library gives in the threads of a host.
template <class F>
double in_a_host(F function, double v)
{
#ifdef _WIN32
    set_x87(x87_53_bits);
    const double got = function(v);
    set_x87(x87_64_bits);
    return got;
#else
    return function(v);
#endif
}

/// The largest error of a function over a range, in units in the last place of the exact value, or
/// of `least` where that is larger.
template <class F, class Exact>
double worst_error(F function, Exact exact, double low, double high, double least = 0)
{
    dice d(1);
    double worst = 0;
    for (int i = 0; i < tries; ++i) {
        const double v = d.between(low, high);
        const long double wanted = exact(static_cast<long double>(v));
        const double size = std::max(least, std::abs(static_cast<double>(wanted)));
        const double unit = std::nextafter(size, 2 * size) - size;
        const double error = std::abs(static_cast<double>(in_a_host(function, v) - wanted));
        worst = std::max(worst, error / unit);
    }
    return worst;
}

using real = long double;

/// Decay over one sample, of a bandwidth far beyond half the sample rate.
TEST(library, exp_is_right_within_two_units_in_the_last_place)
{
    EXPECT_LE(worst_error([](double v) { return std::exp(v); }, [](real v) { return std::exp(v); },
                          -100, 100),
              2);
}

/// The lowpass at its start and in its course.
TEST(library, pow_is_right_within_one_unit_in_the_last_place)
{
    EXPECT_LE(worst_error([](double v) { return std::pow(0.5, v); },
                          [](real v) { return std::pow(0.5L, v); }, 0, 20),
              1);
    EXPECT_LE(worst_error([](double v) { return std::pow(2.0, v); },
                          [](real v) { return std::pow(2.0L, v); }, 0, 10),
              1);
}

/// Curves, tables and angles: what counts is the absolute error, of 2^-53 at most.
TEST(library, cos_and_sin_are_right_within_one_unit_of_what_is_just_below_1)
{
    EXPECT_LE(worst_error([](double v) { return std::cos(v); }, [](real v) { return std::cos(v); },
                          -4 * pi, 4 * pi, 0.5),
              1);
    EXPECT_LE(worst_error([](double v) { return std::sin(v); }, [](real v) { return std::sin(v); },
                          -4 * pi, 4 * pi, 0.5),
              1);
}

/// Without decay, curve or lowpass nothing is rounded at all, and every bit is the same everywhere.
TEST(library, what_does_nothing_is_exact)
{
    volatile double none = 0, one = 1, full = 10; // so that the library is asked, not the compiler
    for (int sign = 0; sign < 2; ++sign, none = -none) {
        EXPECT_EQ(in_a_host([](double v) { return std::exp(v); }, none), 1);
        EXPECT_EQ(in_a_host([](double v) { return std::cos(v); }, none), 1);
        EXPECT_EQ(in_a_host([](double v) { return std::pow(0.5, v); }, none), 1);
    }
    EXPECT_EQ(in_a_host([](double v) { return std::pow(2.0, v); }, full), 1024);
    EXPECT_EQ(4 * in_a_host([](double v) { return std::atan(v); }, one), pi);
}

} // namespace
