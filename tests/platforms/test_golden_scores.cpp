// Every golden score, played by this platform's module, against what was recorded where the C
// library rounds otherwise: the same transcript, and a sound that strays no farther than the
// rounding of exp, cos, sin and pow can carry it.
#include "performance.h"
#include "score_folder.h"
#include "wav_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace fs = std::filesystem;

namespace {

/// How far a fog of level 1, curved over `n` samples and `length` samples long, may stray from its
/// exact formulas on a platform whose functions are right within one unit in the last place, exp
/// within two, as test_library sees to. All else is the same arithmetic everywhere: counts, phases,
/// positions.
///  - Curves, by y = c * y1 - y2 with c = 2 cos(t), t = pi / n and |y| <= 1/2. In each step c is
///    off by 2^-52, which counts half; product and difference round by 2^-54 and 2^-55: 1.94e-16.
///    After k steps such an error has grown by sin(k t) / sin(t), and these add up to 2 n^2 / pi^2.
///    The two values at the start are off by 2^-54 each, and grow to n / pi times that at most.
///  - Decay, amp *= d: d is off by 2^-51 of itself, the product rounds by 2^-53: 5.6e-16 a sample.
///  - Lowpass, y = v a - y (a - 1), a *= k: k is off by 2^-52, the product by 2^-53. What a is
///    off by weighs v against y, with shares that add up to 1: 2 * 3.4e-16 a sample. Rounding in a
///    - 1, two products and a difference adds 3.9e-16: 1.1e-15.
///  - Ten samples more stand for the onset's own factors and the gains, read from tables of sines.
constexpr double straying(double n, double length)
{
    return 0.4e-16 * n * (n + 1) + 1.7e-15 * (length + 10);
}

// Samples: in these scores no curve is longer, and no fog sounds for longer.
constexpr double longest_curve = 530, longest_fog = 4110;
// The peak of the sound, up to a quarter more between its frames, times amplitude, times gain,
// added up over the fogs that sound at once.
constexpr double loudest = 3.75;
// This platform and the one of the recording may stray to opposite sides.
constexpr double bound = 2 * loudest * straying(longest_curve, longest_fog);
static_assert(bound < 1.4e-10);

std::vector<std::string> lines_of(const fs::path &text)
{
    std::vector<std::string> lines;
    std::ifstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

class golden_scores_here : public ::testing::TestWithParam<fs::path> {};

TEST_P(golden_scores_here, sound_as_where_they_were_recorded)
{
    const performance got = perform(GetParam().string());
    EXPECT_THAT(got.faults, ::testing::IsEmpty());
    EXPECT_EQ(got.transcript, lines_of(fs::path(GetParam()).replace_extension(".txt")));

    const wav_file recorded = read_wav(fs::path(GetParam()).replace_extension(".wav"));
    EXPECT_EQ(got.channels, recorded.channels);
    EXPECT_EQ(got.rate, recorded.rate);
    ASSERT_EQ(got.sound.size(), recorded.samples.size());
    double farthest = 0;
    std::size_t others = 0;
    for (std::size_t i = 0; i < got.sound.size(); ++i) {
        const double difference = std::abs(got.sound[i] - recorded.samples[i]);
        ASSERT_LE(difference, bound) << "sample " << i << " of all channels: " << got.sound[i]
                                     << ", not " << recorded.samples[i];
        farthest = std::max(farthest, difference);
        others += difference > 0;
    }
    std::printf("%zu of %zu samples differ, by %.2g at most; %.2g is allowed\n", others,
                got.sound.size(), farthest, bound);
}

INSTANTIATE_TEST_SUITE_P(score, golden_scores_here, ::testing::ValuesIn(golden_scores()),
                         [](const auto &of) { return of.param.stem().string(); });

const bool added = (host::add_folder(EXTERNALS_FOLDER), true);

} // namespace
