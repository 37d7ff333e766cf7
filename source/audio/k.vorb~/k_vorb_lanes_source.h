// What the lanes read: interpolated and lowpass-filtered, as the plain readers do.
#pragma once

#include "k_vorb_lanes_vector.h"

namespace {

constexpr int stretch = 64; // samples of a fog in hand at a time
static_assert(stretch % vorb_lane_batch == 0);

/// What so many lanes have of one stretch.
template <int sources, int lanes>
struct work {
    alignas(64) double source[sources][lanes][stretch];
    alignas(64) double envelope[stretch][lanes];
    int begin[lanes], end[lanes]; // where each fog sounds
    bool filtered[lanes];
};

/// Interpolates one fog's sources. Returns their sum, which is finite only if all of them are.
template <int sources, int lanes>
VORB_INLINE batch interpolate(const vorb_lane &lane, double (*out)[lanes][stretch], int l, int from,
                              int n)
{
    const float *const frames = lane.frames;
    const k_sampfilt_row *const table = k_sampfilt_tab;
    const std::int64_t step = lane.step;
    std::int64_t at = lane.frac + from * step;
    constexpr int rows = sources == 2 ? 2 : 1; // four sources lie in one row
    const auto products = [=](std::int64_t frac, quad(&p)[rows]) {
        const quad w = load(table[(frac >> 8) & 255]);
        const float *q = frames + (frac >> 16) * sources;
        if constexpr (sources == 1) p[0] = w * load(q);
        else if constexpr (sources == 2) {
            const quad a = __builtin_shufflevector(w, w, 0, 0, 1, 1) * load(q);
            const quad b = __builtin_shufflevector(w, w, 2, 2, 3, 3) * load(q + 4);
            p[0] = __builtin_shufflevector(a, b, 0, 2, 4, 6);
            p[1] = __builtin_shufflevector(a, b, 1, 3, 5, 7);
        } else
            p[0] = w[0] * load(q) + w[1] * load(q + 4) + w[2] * load(q + 8) + w[3] * load(q + 12);
    };
    batch sum{};
    for (int i = 0; i < n; i += batch_size) {
        batch p[rows][4];
        VORB_UNROLL
        for (int m = 0; m < 4; ++m) {
            quad low[rows];
            products(at, low);
#ifdef __AVX2__
            quad high[rows];
            products(at + 4 * step, high);
            VORB_UNROLL
            for (int c = 0; c < rows; ++c) p[c][m] = join(low[c], high[c]);
#else
            VORB_UNROLL
            for (int c = 0; c < rows; ++c) p[c][m] = low[c];
#endif
            at += step;
        }
        at += (batch_size - 4) * step;
        if constexpr (sources == 4) transpose(p[0]);
        VORB_UNROLL
        for (int c = 0; c < sources; ++c) {
            batch v;
            if constexpr (sources == 4) v = p[0][c];
            else {
                transpose(p[c]);
                v = p[c][0] + p[c][1] + p[c][2] + p[c][3];
            }
            sum += v;
            store(&out[c][l][i], v);
        }
    }
    return sum;
}

/// The lowpasses of all lanes.
template <int sources, int lanes>
// NOLINTNEXTLINE(readability-function-cognitive-complexity): compilers want it in one piece
VORB_INLINE void filter(work<sources, lanes> &w, const vorb_lane *lane, int n)
{
    constexpr int rows = lanes / width;
    alignas(64) double a0[lanes], am10[lanes], k0[lanes], y0[sources][lanes];
    for (int l = 0; l < lanes; ++l) {
        const vorb_fogread *r = w.filtered[l] ? &lane[l].fog->reader : nullptr; // null: open
        a0[l] = r ? r->lp_a : 1;
        am10[l] = r ? r->lp_am1 : 0;
        k0[l] = r ? r->lp_k : 1;
        for (int c = 0; c < sources; ++c) y0[c][l] = r ? r->lp_y[c] : 0;
    }
    row a[rows], am1[rows], k[rows], y[sources][rows];
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) {
        a[v] = load(a0 + v * width);
        am1[v] = load(am10 + v * width);
        k[v] = load(k0 + v * width);
        VORB_UNROLL
        for (int c = 0; c < sources; ++c) y[c][v] = load(y0[c] + v * width);
    }
    for (int i = 0; i < n; i += width) {
        row as[width][rows], am1s[width][rows];
        VORB_UNROLL
        for (int m = 0; m < width; ++m) {
            VORB_UNROLL
            for (int v = 0; v < rows; ++v) {
                as[m][v] = a[v];
                am1s[m][v] = am1[v];
                a[v] *= k[v];
                am1[v] = a[v] - 1.0;
            }
        }
        VORB_UNROLL
        for (int c = 0; c < sources; ++c) {
            row x[rows][width];
            VORB_UNROLL
            for (int v = 0; v < rows; ++v) {
                VORB_UNROLL
                for (int l = 0; l < width; ++l) x[v][l] = load(&w.source[c][v * width + l][i]);
                transpose(x[v]);
            }
            VORB_UNROLL
            for (int m = 0; m < width; ++m) {
                VORB_UNROLL
                for (int v = 0; v < rows; ++v)
                    x[v][m] = y[c][v] = x[v][m] * as[m][v] - y[c][v] * am1s[m][v];
            }
            VORB_UNROLL
            for (int v = 0; v < rows; ++v) {
                transpose(x[v]);
                VORB_UNROLL
                for (int l = 0; l < width; ++l) store(&w.source[c][v * width + l][i], x[v][l]);
            }
        }
    }
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) {
        store(a0 + v * width, a[v]);
        store(am10 + v * width, am1[v]);
        VORB_UNROLL
        for (int c = 0; c < sources; ++c) store(y0[c] + v * width, y[c][v]);
    }
    for (int l = 0; l < lanes; ++l) {
        if (!w.filtered[l]) continue;
        vorb_fogread &r = lane[l].fog->reader;
        for (int c = 0; c < sources; ++c) r.lp_y[c] = y0[c][l];
        r.lp_a = a0[l];
        r.lp_am1 = am10[l];
    }
}

template <int sources, int lanes>
VORB_INLINE void silence(work<sources, lanes> &w, int l, int n)
{
    for (int c = 0; c < sources; ++c)
        for (int i = 0; i < n; i += width) store(&w.source[c][l][i], row{});
}

/// Whether a lowpass passes every finite value unchanged, and holds none that is not finite.
VORB_INLINE bool passes(const vorb_fogread &r, int sources)
{
    double rest = 0;
    for (int c = 0; c < sources; ++c) rest += 0 * r.lp_y[c]; // NaN unless finite
    return r.lp_a == 1 && r.lp_am1 == 0 && r.lp_k == 1 && rest == 0;
}

/// The sources of one stretch. Through an open lowpass finite ones pass unchanged.
template <int sources, int lanes>
VORB_INLINE void read(work<sources, lanes> &w, const vorb_lane *lane, int count, int from, int n)
{
    batch doubt{};
    for (int l = 0; l < count; ++l) {
        if (lane[l].frames) {
            const batch sum = interpolate<sources, lanes>(lane[l], w.source, l, from, n);
            doubt += 0.0F * sum; // NaN unless finite
        } else silence(w, l, n);
    }
    const bool finite = none(doubt != 0);
    bool any = false;
    for (int l = 0; l < lanes; ++l) w.filtered[l] = false;
    for (int l = 0; l < count; ++l) {
        if (!lane[l].frames) continue;
        vorb_fogread &r = lane[l].fog->reader;
        w.filtered[l] = !finite || !passes(r, sources);
        any |= w.filtered[l];
        if (!w.filtered[l])
            for (int c = 0; c < sources; ++c) r.lp_y[c] = w.source[c][l][n - 1];
    }
    if (!any) return;
    for (int l = count; l < lanes; ++l) silence(w, l, n); // it filters them, too
    filter(w, lane, n);
}

} // namespace
