// One block of the sounding fogs: which outlets they reach, and the lanes in which several are
// rendered side by side.
#pragma once

#include "k_vorb.h"

// ---- Layouts ------------------------------------------------------------------------------------

/// What one outlet gets: a source channel and the gain slot that scales it.
struct vorb_tap {
    int source, slot;
};

constexpr int no_gain = -1; // the one-outlet layout has its gain in the decay already

constexpr vorb_tap taps1[] = {{0, no_gain}};
constexpr vorb_tap taps2[] = {{0, 0}, {0, 1}};
constexpr vorb_tap taps2s[] = {{0, 0}, {1, 1}};
constexpr vorb_tap taps4[] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}};
// Deliberate: the last two outlets are speakers of a circle for one source, aux sends for two.
constexpr vorb_tap taps4s[] = {{0, 0}, {1, 1}, {0, 8}, {1, 9}};
constexpr vorb_tap taps6[] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 8}, {0, 9}};
// Deliberate: the aux sends carry the first source alone.
constexpr vorb_tap taps6q[] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {0, 8}, {0, 9}};
constexpr vorb_tap taps10[] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 4},
                               {0, 5}, {0, 6}, {0, 7}, {0, 8}, {0, 9}};

template <std::size_t outlets>
constexpr int vorb_count_outlets(const vorb_tap (&)[outlets])
{
    return int(outlets);
}

template <std::size_t outlets>
constexpr int vorb_count_sources(const vorb_tap (&taps)[outlets])
{
    int sources = 0;
    for (const vorb_tap &tap : taps)
        if (tap.source >= sources) sources = tap.source + 1;
    return sources;
}

// ---- Lanes (k_vorb_lanes) [audio] ---------------------------------------------------------------

enum { vorb_lanes = 8, vorb_lane_batch = 8 };

/// A fog whose block is read and rendered in a lane.
struct vorb_lane {
    vorb_fog *fog;
    const float *frames;     // from the block's first one on; null: silence
    std::int64_t frac, step; // every position has a frame, and three more behind it
};

/// Renders up to vorb_lanes fogs into the outlets, in their order, and leaves the source of the
/// last one in the scratch blocks. n is a multiple of vorb_lane_batch, and no two outlets are the
/// same.
using vorb_lanes_player = void (*)(const vorb_lane *lane, int count, double *const *outs,
                                   double *const *scratch, std::int64_t n);

/// Reads the block of a fog that no other can stand beside, into the scratch blocks.
using vorb_lane_reader = void (*)(const vorb_lane &lane, double *const *scratch, std::int64_t n);

struct vorb_lanes_players {
    vorb_lanes_player run1, run2, run2s, run4, run4s, run6, run6q, run10;
    vorb_lane_reader read1, read2, read4; // by the number of sources
};

extern const vorb_lanes_players vorb_lanes_baseline;
#ifdef VORB_WITH_AVX2
extern const vorb_lanes_players vorb_lanes_avx2;
#endif

/// Those for this processor; null: every fog is rendered by itself, with the same result.
extern const vorb_lanes_players *vorb_players;
void vorb_choose_players();
