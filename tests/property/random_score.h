// Random scores: one instance, and what happens to it before each block. Two of one seed are alike.
#pragma once

#include "dice.h"
#include "host.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

/// A message; a number alone has the selector "float" or "int".
struct told {
    int inlet;
    std::string selector;
    host::atoms values;

    bool starts_a_fog() const;
};

/// A buffer of noise takes this name. No channels: the buffer of that name goes.
struct swapped {
    std::string name;
    long channels, frames;
    double rate;
    std::uint64_t seed;

    std::vector<float> samples() const;
};

/// A signal, one value per sample from this block on, its last one held. None: unplugged.
struct plugged {
    int inlet;
    std::vector<double> signal;
};

/// Audio goes on at another rate and vector size.
struct retuned {
    double rate;
    long vector;
};

struct deed {
    long block;
    std::variant<told, swapped, plugged, retuned> what;
};

struct random_score {
    int layout = 1;
    std::string arguments;
    retuned audio{44100, 64};
    long blocks = 150;
    std::vector<deed> deeds; // in order of their blocks
};

/// What is in it as a person would write it.
std::ostream &operator<<(std::ostream &to, const random_score &s);

constexpr long widest_vector = 256;

/// No envelope of a sane score lasts longer, delay included: a sound of 3000 frames at 8000 Hz,
/// four times as slow, is the longest.
constexpr double longest_sane_ms = 1600;

/// Numbers that a musician may send.
random_score sane_score(std::uint64_t seed);
/// Among them infinities, NaNs, the largest numbers, words for numbers, and too few or too many of
/// them, at any inlet; the vector size changes too.
random_score wild_score(std::uint64_t seed);
/// A sane score in which two messages start a fog each, and nothing makes one fog depend on
/// another: no limit, no full pool, no sound that comes or goes. Nor is there a lowpass on four
/// channels, of which two go on from what the fog before them left.
random_score two_fog_score(std::uint64_t seed);
