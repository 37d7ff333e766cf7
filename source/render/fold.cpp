// Folding many outlets down to two channels, for headphones.
#include "fold.h"

#include "failure.h"

#include <algorithm>
#include <cmath>

namespace {

struct law {
    const char *name;
    std::vector<int> by_default_for; // numbers of outlets
    std::vector<ears> rows;
};

constexpr double degree = M_PI / 180;

/// A loudspeaker `azimuth` degrees clockwise of the front goes left by the cosine and right by the
/// sine of 45 degrees * (1 + s), s the sine of its azimuth: constant power, front and back alike.
/// Up to `together` loudspeakers of one side share a source by constant power; as they add up in
/// one ear, all are lowered by its square root, and no ear hears more than the source's amplitude.
ears loudspeaker(double azimuth, double elevation, double together)
{
    const double side = std::sin(azimuth * degree) * std::cos(elevation * degree);
    const double angle = 45 * degree * (1 + side), level = 1 / std::sqrt(together);
    return {level * std::cos(angle), level * std::sin(angle)};
}

ears around(double azimuth) { return loudspeaker(azimuth, 0, 2); }

/// The corners of a cube are atan(sqrt(1/2)) above and below the ears.
ears corner(double azimuth, int up) { return loudspeaker(azimuth, up * 35.26438968275465, 4); }

const law laws[] = {
    {"mono", {1}, {{1, 1}}},
    {"sides", {2}, {{1, 0}, {0, 1}}},
    {"quad", {4, 6}, {around(-45), around(45), around(135), around(225)}},
    {"ring",
     {10},
     {around(-22.5), around(22.5), around(67.5), around(112.5), around(157.5), around(202.5),
      around(247.5), around(292.5)}},
    {"cube",
     {},
     {corner(-45, 1), corner(45, 1), corner(135, 1), corner(225, 1), corner(-45, -1),
      corner(45, -1), corner(135, -1), corner(225, -1)}},
    // Cardioids that face left and right: half of the omnidirectional W, which comes lowered by the
    // square root of 2, and half of Y, which points left. X and Z would be alike for both ears.
    {"bformat", {}, {{std::sqrt(0.5), std::sqrt(0.5)}, {0, 0}, {0.5, -0.5}, {0, 0}}},
};

const law &named(const std::string &name)
{
    for (const law &l : laws)
        if (l.name == name) return l;
    throw bad_input("unknown law --stereo=" + name + ", known are " + fold_names());
}

const law &for_outlets(int outlets)
{
    for (const law &l : laws)
        for (const int n : l.by_default_for)
            if (n == outlets) return l;
    throw bad_input("--stereo has no law for " + std::to_string(outlets) +
                    " outlets by itself: name one of " + fold_names());
}

} // namespace

const std::vector<ears> &fold_law(const std::string &name, int outlets)
{
    const law &found = name == "auto" ? for_outlets(outlets) : named(name);
    if (found.rows.size() > static_cast<size_t>(outlets))
        throw bad_input("--stereo=" + name + " needs " + std::to_string(found.rows.size()) +
                        " outlets, the score has " + std::to_string(outlets));
    return found.rows;
}

std::vector<double> fold(const std::vector<double> &frames, int outlets,
                         const std::vector<ears> &law)
{
    const auto width = static_cast<size_t>(outlets);
    std::vector<double> folded;
    folded.reserve(frames.size() / width * 2);
    for (size_t i = 0; i < frames.size(); i += width)
        for (size_t ear = 0; ear < 2; ++ear) {
            double sum = 0;
            for (size_t k = 0; k < law.size(); ++k) sum += law[k][ear] * frames[i + k];
            folded.push_back(sum);
        }
    return folded;
}

std::string fold_names()
{
    std::string all;
    for (const law &l : laws) all += (all.empty() ? "" : ", ") + std::string(l.name);
    return all;
}
