// The plain renderer: one fog's block, under its envelope and times its gains, into the outlets.
#pragma once

#include "k_vorb_block.h"

#include <algorithm>
#include <iterator>

/// The delay is not asked: a fog of three zero counts ends before its time comes.
inline bool vorb_sounds(const vorb_fog *fog)
{
    return fog->atten_count > 0 || fog->sustain > 0 || fog->tex_count > 0;
}

/// Renders one fog for one block from the blocks of its sources.
template <const auto &taps>
std::int32_t vorb_play(vorb_fog *fog, double *const *source, double *const *out, std::int64_t n)
{
    constexpr std::size_t width = std::size(taps);
    constexpr int sources = vorb_count_sources(taps);
    double gain[width];
    for (std::size_t k = 0; k < width; ++k)
        gain[k] = taps[k].slot == no_gain ? 1.0 : fog->gains[taps[k].slot];
    const double decay = fog->bw_decay;
    double amp = fog->amp;
    std::int64_t i = 0;
    if (fog->delay > 0) {
        i = std::min(n, fog->delay);
        fog->delay -= i;
    }
    const auto play = [&](std::int64_t &count, auto shape) {
        if (count <= 0) return;
        const std::int64_t end = i + std::min(n - i, count);
        count -= end - i;
        for (; i < end; ++i) {
            amp *= decay;
            const double e = shape(amp);
            double s[sources]; // read once: an outlet might be a source, for all the compiler knows
            for (int c = 0; c < sources; ++c) s[c] = e * source[c][i];
            for (std::size_t k = 0; k < width; ++k) out[k][i] += s[taps[k].source] * gain[k];
        }
    };
    // A raised cosine by its two-term recurrence, 0.5 + y.
    const auto play_curved = [&](std::int64_t &count, double cos2, double &last, double &before) {
        double y1 = last, y2 = before;
        play(count, [&](double a) {
            const double y = cos2 * y1 - y2;
            y2 = y1;
            y1 = y;
            return (0.5 + y) * a;
        });
        last = y1;
        before = y2;
    };
    play_curved(fog->tex_count, fog->tex_cos2, fog->tex_y1, fog->tex_y2);
    play(fog->sustain, [](double a) { return a; });
    play_curved(fog->atten_count, fog->atten_cos2, fog->atten_y1, fog->atten_y2);
    fog->amp = amp;
    return vorb_sounds(fog);
}
