// The sets of players that this processor runs, and when two of them are said to sound alike.
#pragma once

#include "k_vorb_block.h"

#include <cmath>
#include <cstring>
#include <ostream>
#include <vector>

struct player_set {
    const char *name;
    const vorb_lanes_players *players; // null: every fog by itself
};

inline void PrintTo(const player_set &set, std::ostream *out) { *out << set.name; }

inline std::vector<player_set> player_sets()
{
    std::vector<player_set> sets = {{"none", nullptr}, {"baseline", &vorb_lanes_baseline}};
#ifdef VORB_WITH_AVX2
    if (__builtin_cpu_supports("avx2")) sets.push_back({"avx2", &vorb_lanes_avx2});
#endif
    return sets;
}

/// Bit for bit, save that any NaN is like any other: which of two an operation passes on, and with
/// which sign, depends on the order in which the compiler hands them to the processor.
inline bool alike(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

/// Has the fogs rendered by these players as long as it lives.
class with_players {
public:
    explicit with_players(const vorb_lanes_players *players) : before(vorb_players)
    {
        vorb_players = players;
    }
    ~with_players() { vorb_players = before; }
    with_players(const with_players &) = delete;

private:
    const vorb_lanes_players *const before;
};
