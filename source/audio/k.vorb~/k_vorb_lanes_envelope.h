// The envelopes of the lanes, phase by phase.
#pragma once

#include "k_vorb_lanes_source.h"

namespace {

enum phase { waits, rises, holds, falls, ended };

/// The state of the recurrences. A fog that holds has the curve 0.5 + 0.5, one that waits or has
/// ended decays by 1: no branch tells them apart sample by sample.
template <int lanes>
struct course {
    alignas(64) double amp[lanes], decay[lanes], cos2[lanes], last[lanes], before[lanes];
    int until[lanes][5]; // where each phase ends in the stretch
    int now[lanes];

    void leave(vorb_fog *fog, int l) const
    {
        if (now[l] == rises) {
            fog->tex_y1 = last[l];
            fog->tex_y2 = before[l];
        } else if (now[l] == falls) {
            fog->atten_y1 = last[l];
            fog->atten_y2 = before[l];
        }
    }

    void enter(const vorb_fog *fog, int l, int next)
    {
        now[l] = next;
        decay[l] = next == waits || next == ended ? 1 : fog->bw_decay;
        cos2[l] = next == rises ? fog->tex_cos2 : next == falls ? fog->atten_cos2 : 2;
        last[l] = next == rises ? fog->tex_y1 : next == falls ? fog->atten_y1 : 0.5;
        before[l] = next == rises ? fog->tex_y2 : next == falls ? fog->atten_y2 : 0.5;
    }
};

/// Takes what is left of a phase, as far as the stretch goes. Returns where it ends.
VORB_INLINE int consume(std::int64_t &left, int from, int n)
{
    if (left <= 0) return from;
    const std::int64_t run = left < n - from ? left : n - from;
    left -= run;
    return from + int(run);
}

template <int lanes>
VORB_INLINE void run(course<lanes> &s, double (*out)[lanes], int from, int to, bool curved)
{
    constexpr int rows = lanes / width;
    row amp[rows], decay[rows], cos2[rows], last[rows], before[rows];
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) {
        amp[v] = load(&s.amp[v * width]);
        decay[v] = load(&s.decay[v * width]);
    }
    if (curved) {
        VORB_UNROLL
        for (int v = 0; v < rows; ++v) {
            cos2[v] = load(&s.cos2[v * width]);
            last[v] = load(&s.last[v * width]);
            before[v] = load(&s.before[v * width]);
        }
        for (int i = from; i < to; ++i) {
            VORB_UNROLL
            for (int v = 0; v < rows; ++v) {
                amp[v] *= decay[v];
                const row y = cos2[v] * last[v] - before[v];
                before[v] = last[v];
                last[v] = y;
                store(&out[i][v * width], (0.5 + y) * amp[v]);
            }
        }
        VORB_UNROLL
        for (int v = 0; v < rows; ++v) {
            store(&s.last[v * width], last[v]);
            store(&s.before[v * width], before[v]);
        }
    } else {
        for (int i = from; i < to; ++i) {
            VORB_UNROLL
            for (int v = 0; v < rows; ++v) {
                amp[v] *= decay[v];
                store(&out[i][v * width], amp[v]);
            }
        }
    }
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) store(&s.amp[v * width], amp[v]);
}

/// Whether a fog only holds, as most do in most blocks.
VORB_INLINE bool holds_through(const vorb_fog *fog, int n)
{
    return fog->delay <= 0 && fog->tex_count <= 0 && fog->sustain >= n;
}

template <int sources, int lanes>
VORB_INLINE void shape(work<sources, lanes> &w, const vorb_lane *lane, int count, int n)
{
    course<lanes> s;
    for (int l = 0; l < lanes; ++l) {
        int *until = s.until[l];
        until[waits] = until[rises] = until[holds] = until[falls] = 0;
        until[ended] = n;
        s.amp[l] = 0;
        s.now[l] = -1;
        if (l < count) {
            vorb_fog *fog = lane[l].fog;
            s.amp[l] = fog->amp;
            until[waits] = consume(fog->delay, 0, n);
            until[rises] = consume(fog->tex_count, until[waits], n);
            until[holds] = consume(fog->sustain, until[rises], n);
            until[falls] = consume(fog->atten_count, until[holds], n);
        }
        w.begin[l] = until[waits];
        w.end[l] = until[falls];
    }
    int end[lanes] = {}; // of the phase that each is in
    int curved = 0;      // how many are in one that curves
    for (int i = 0, next = 0; i < n; i = next) {
        next = n;
        for (int l = 0; l < lanes; ++l) {
            if (end[l] <= i) {
                int now = s.now[l];
                curved -= now == rises || now == falls;
                do ++now;
                while (s.until[l][now] <= i);
                if (l < count) s.leave(lane[l].fog, l);
                s.enter(l < count ? lane[l].fog : nullptr, l, now);
                curved += now == rises || now == falls;
                end[l] = s.until[l][now];
            }
            if (end[l] < next) next = end[l];
        }
        run(s, w.envelope, i, next, curved > 0);
    }
    for (int l = 0; l < count; ++l) {
        s.leave(lane[l].fog, l);
        // Where it is silent its decay by 1 would still flush a denormal amplitude.
        if (w.end[l] > w.begin[l]) lane[l].fog->amp = s.amp[l];
    }
}

} // namespace
