// The fast path: fogs side by side in the lanes of vectors. Every sample comes from the operations
// of the plain readers and renderers in their order, and fogs are summed in the order of the list,
// so every bit is theirs. Compiled once for each instruction set, see VORB_LANES.
//
// The plain loops spend most of their time waiting for the envelope's recurrences (two products and
// a difference a sample, in sequence) and the lowpass's. These are exact only one after another,
// but those of different fogs are independent: here many advance at once.
#include "k_vorb_block.h"

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace {

// ---- Vectors ------------------------------------------------------------------------------------

#ifdef __AVX2__
constexpr int width = 4;
#else
constexpr int width = 2;
#endif

typedef double row __attribute__((vector_size(8 * width)));
typedef double loose_row __attribute__((vector_size(8 * width), aligned(8), may_alias));
typedef std::int64_t row_mask __attribute__((vector_size(8 * width)));
typedef float quad __attribute__((vector_size(16)));
typedef float loose_quad __attribute__((vector_size(16), aligned(4), may_alias));

#define VORB_INLINE __attribute__((always_inline)) static inline
#define VORB_UNROLL _Pragma("GCC unroll 16")

VORB_INLINE row load(const double *from) { return *reinterpret_cast<const loose_row *>(from); }
VORB_INLINE void store(double *to, row v) { *reinterpret_cast<loose_row *>(to) = v; }
VORB_INLINE quad load(const float *from) { return *reinterpret_cast<const loose_quad *>(from); }

#ifdef __AVX2__
VORB_INLINE void transpose(row (&m)[width])
{
    const row a = __builtin_shufflevector(m[0], m[1], 0, 4, 2, 6);
    const row b = __builtin_shufflevector(m[0], m[1], 1, 5, 3, 7);
    const row c = __builtin_shufflevector(m[2], m[3], 0, 4, 2, 6);
    const row d = __builtin_shufflevector(m[2], m[3], 1, 5, 3, 7);
    m[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
    m[1] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
    m[2] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
    m[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}

/// As many samples as are interpolated at once, in halves of four.
typedef float batch __attribute__((vector_size(32)));

VORB_INLINE batch join(quad low, quad high)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}

VORB_INLINE void store(double *to, batch v)
{
    store(to, __builtin_convertvector(__builtin_shufflevector(v, v, 0, 1, 2, 3), row));
    store(to + 4, __builtin_convertvector(__builtin_shufflevector(v, v, 4, 5, 6, 7), row));
}

/// Each half by itself.
VORB_INLINE void transpose(batch (&m)[4])
{
    const batch a = __builtin_shufflevector(m[0], m[1], 0, 8, 1, 9, 4, 12, 5, 13);
    const batch b = __builtin_shufflevector(m[0], m[1], 2, 10, 3, 11, 6, 14, 7, 15);
    const batch c = __builtin_shufflevector(m[2], m[3], 0, 8, 1, 9, 4, 12, 5, 13);
    const batch d = __builtin_shufflevector(m[2], m[3], 2, 10, 3, 11, 6, 14, 7, 15);
    m[0] = __builtin_shufflevector(a, c, 0, 1, 8, 9, 4, 5, 12, 13);
    m[1] = __builtin_shufflevector(a, c, 2, 3, 10, 11, 6, 7, 14, 15);
    m[2] = __builtin_shufflevector(b, d, 0, 1, 8, 9, 4, 5, 12, 13);
    m[3] = __builtin_shufflevector(b, d, 2, 3, 10, 11, 6, 7, 14, 15);
}
#else
VORB_INLINE void transpose(row (&m)[width])
{
    const row a = __builtin_shufflevector(m[0], m[1], 0, 2);
    m[1] = __builtin_shufflevector(m[0], m[1], 1, 3);
    m[0] = a;
}

typedef quad batch;

VORB_INLINE void store(double *to, batch v)
{
    store(to, __builtin_convertvector(__builtin_shufflevector(v, v, 0, 1), row));
    store(to + 2, __builtin_convertvector(__builtin_shufflevector(v, v, 2, 3), row));
}

VORB_INLINE void transpose(batch (&m)[4])
{
    const quad a = __builtin_shufflevector(m[0], m[1], 0, 4, 1, 5);
    const quad b = __builtin_shufflevector(m[0], m[1], 2, 6, 3, 7);
    const quad c = __builtin_shufflevector(m[2], m[3], 0, 4, 1, 5);
    const quad d = __builtin_shufflevector(m[2], m[3], 2, 6, 3, 7);
    m[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
    m[1] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
    m[2] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
    m[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}
#endif

constexpr int batch_size = int(sizeof(batch) / sizeof(float));
static_assert(vorb_lane_batch % batch_size == 0);

constexpr int stretch = 64; // samples of a fog in hand at a time

/// What so many lanes have of one stretch.
template <int sources, int lanes>
struct work {
    alignas(64) double source[sources][lanes][stretch];
    alignas(64) double envelope[stretch][lanes];
    int begin[lanes], end[lanes]; // where each fog sounds
    bool filtered[lanes];
};

// ---- Sources ------------------------------------------------------------------------------------

/// Interpolates one fog's sources. True when none of them can be other than finite.
template <int sources, int lanes>
VORB_INLINE bool interpolate(const vorb_lane &lane, double (*out)[lanes][stretch], int l, int from,
                             int n)
{
    const float *const frames = lane.frames;
    const k_sampfilt_row *const table = k_sampfilt_tab;
    const std::int64_t step = lane.step;
    std::int64_t at = lane.frac + from * step;
    const auto products = [=](std::int64_t frac, quad(&p)[sources]) {
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
    batch sum{}; // of everything: not finite where one value is not
    for (int i = 0; i < n; i += batch_size) {
        batch p[sources][4];
        VORB_UNROLL
        for (int m = 0; m < 4; ++m) {
            quad low[sources];
            products(at, low);
#ifdef __AVX2__
            quad high[sources];
            products(at + 4 * step, high);
            VORB_UNROLL
            for (int c = 0; c < sources; ++c) p[c][m] = join(low[c], high[c]);
#else
            VORB_UNROLL
            for (int c = 0; c < sources; ++c) p[c][m] = low[c];
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
    sum -= sum;
    bool finite = true;
    for (int m = 0; m < batch_size; ++m) finite = finite && sum[m] == 0;
    return finite;
}

/// The lowpasses of all lanes.
template <int sources, int lanes>
VORB_INLINE void filter(work<sources, lanes> &w, const vorb_lane *lane, int n)
{
    constexpr int rows = lanes / width;
    alignas(64) double a0[lanes], am10[lanes], k0[lanes], y0[sources][lanes];
    for (int l = 0; l < lanes; ++l) {
        static const vorb_fogread open = {nullptr, 0, 0, 0, 0, 0, 0, {}, 1, 0, 1};
        const vorb_fogread &r = w.filtered[l] ? lane[l].fog->reader : open;
        a0[l] = r.lp_a;
        am10[l] = r.lp_am1;
        k0[l] = r.lp_k;
        for (int c = 0; c < sources; ++c) y0[c][l] = r.lp_y[c];
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

/// The sources of one stretch. Through an open lowpass finite ones pass unchanged.
template <int sources, int lanes>
VORB_INLINE void read(work<sources, lanes> &w, const vorb_lane *lane, int count, int from, int n)
{
    bool any = false;
    for (int l = 0; l < lanes; ++l) w.filtered[l] = false;
    for (int l = 0; l < count; ++l) {
        if (!lane[l].frames) {
            for (int c = 0; c < sources; ++c)
                for (int i = 0; i < n; i += width) store(&w.source[c][l][i], row{});
            continue;
        }
        vorb_fogread &r = lane[l].fog->reader;
        bool open = interpolate<sources, lanes>(lane[l], w.source, l, from, n);
        open = open && r.lp_a == 1 && r.lp_am1 == 0 && r.lp_k == 1;
        for (int c = 0; c < sources; ++c) open = open && r.lp_y[c] - r.lp_y[c] == 0;
        any |= w.filtered[l] = !open;
        for (int c = 0; open && c < sources; ++c) r.lp_y[c] = w.source[c][l][n - 1];
    }
    if (any) filter(w, lane, n);
}

// ---- Envelopes ----------------------------------------------------------------------------------

enum phase { waits, rises, holds, falls, ended };

/// The state of the recurrences. A fog that holds has the curve 0.5 + 0.5, one that waits or has
/// ended keeps its amplitude, too: no branch tells them apart sample by sample.
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

/// Takes what is left of a phase, as far as the stretch goes. Where it then ends.
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
    for (int i = 0, next = 0; i < n; i = next) {
        bool curved = false;
        next = n;
        for (int l = 0; l < lanes; ++l) {
            int now = s.now[l] < 0 ? int(waits) : s.now[l];
            while (s.until[l][now] <= i) ++now;
            if (now != s.now[l]) {
                if (l < count) s.leave(lane[l].fog, l);
                s.enter(l < count ? lane[l].fog : nullptr, l, now);
            }
            if (s.until[l][now] < next) next = s.until[l][now];
            curved = curved || now == rises || now == falls;
        }
        run(s, w.envelope, i, next, curved);
    }
    for (int l = 0; l < count; ++l) {
        s.leave(lane[l].fog, l);
        lane[l].fog->amp = s.amp[l];
    }
}

// ---- Mixing -------------------------------------------------------------------------------------

template <const auto &taps>
VORB_INLINE void gather_gains(const vorb_lane *lane, int count,
                              row (*gain)[vorb_count_outlets(taps)])
{
    for (int l = 0; l < count; ++l)
        for (int k = 0; k < vorb_count_outlets(taps); ++k)
            gain[l][k] = (taps[k].slot < 0 ? 1.0 : lane[l].fog->gains[taps[k].slot]) - row{};
}

/// So many fogs of a row, from the one `at` on, over samples in which all of them sound.
template <const auto &taps, int count, int sources, int lanes>
VORB_INLINE void mix_all(const work<sources, lanes> &w, int first, int at,
                         const row (*gain)[vorb_count_outlets(taps)], double *const *outs, int from,
                         int to)
{
    constexpr int outlets = vorb_count_outlets(taps);
    for (int i = from; i < to; i += width) {
        row e[width], sum[outlets];
        VORB_UNROLL
        for (int m = 0; m < width; ++m) e[m] = load(&w.envelope[i + m][first]);
        transpose(e);
        VORB_UNROLL
        for (int k = 0; k < outlets; ++k) sum[k] = load(outs[k] + i);
        VORB_UNROLL
        for (int l = 0; l < count; ++l) {
            row s[sources];
            VORB_UNROLL
            for (int c = 0; c < sources; ++c)
                s[c] = e[at + l] * load(&w.source[c][first + at + l][i]);
            VORB_UNROLL
            for (int k = 0; k < outlets; ++k) sum[k] += s[taps[k].source] * gain[at + l][k];
        }
        VORB_UNROLL
        for (int k = 0; k < outlets; ++k) store(outs[k] + i, sum[k]);
    }
}

/// The same where some wait or have ended: these must not even add a zero, since a source or a gain
/// may be beyond all numbers.
template <const auto &taps, int sources, int lanes>
VORB_INLINE void mix_some(const work<sources, lanes> &w, int first, int count,
                          const row (*gain)[vorb_count_outlets(taps)], double *const *outs,
                          int from, int to)
{
    for (int l = 0; l < count; ++l) {
        const int begin = w.begin[first + l] > from ? w.begin[first + l] : from;
        const int end = w.end[first + l] < to ? w.end[first + l] : to;
        for (int i = begin; i < end; ++i) {
            double s[sources];
            for (int c = 0; c < sources; ++c)
                s[c] = w.envelope[i][first + l] * w.source[c][first + l][i];
            for (int k = 0; k < vorb_count_outlets(taps); ++k)
                outs[k][i] += s[taps[k].source] * gain[l][k][0];
        }
    }
}

template <const auto &taps, int sources, int lanes>
VORB_INLINE void mix(const work<sources, lanes> &w, const vorb_lane *lane, int count,
                     double *const *outs, int n)
{
    constexpr int outlets = vorb_count_outlets(taps);
    for (int first = 0; first < count; first += width) {
        const int some = count - first < width ? count - first : width;
        row gain[width][outlets];
        gather_gains<taps>(lane + first, some, gain);
        int from = 0, to = n;
        for (int l = 0; l < some; ++l) {
            if (w.begin[first + l] > from) from = w.begin[first + l];
            if (w.end[first + l] < to) to = w.end[first + l];
        }
        from = (from + width - 1) / width * width;
        to = to / width * width;
        if (to < from) from = to = n;
        mix_some<taps>(w, first, some, gain, outs, 0, from);
        if (some == width) mix_all<taps, width>(w, first, 0, gain, outs, from, to);
        else
            for (int l = 0; l < some; ++l) mix_all<taps, 1>(w, first, l, gain, outs, from, to);
        mix_some<taps>(w, first, some, gain, outs, to, n);
    }
}

/// Envelope and mix in one for fogs that all only hold.
template <const auto &taps, int sources, int lanes>
VORB_INLINE void mix_steady(const work<sources, lanes> &w, const vorb_lane *lane,
                            double *const *outs, int n)
{
    constexpr int outlets = vorb_count_outlets(taps), rows = lanes / width;
    row gain[lanes][outlets];
    gather_gains<taps>(lane, lanes, gain);
    alignas(64) double amps[lanes], decays[lanes];
    for (int l = 0; l < lanes; ++l) {
        vorb_fog *fog = lane[l].fog;
        fog->sustain -= n;
        amps[l] = fog->amp;
        decays[l] = fog->bw_decay;
    }
    row amp[rows], decay[rows];
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) {
        amp[v] = load(amps + v * width);
        decay[v] = load(decays + v * width);
    }
    for (int i = 0; i < n; i += width) {
        row e[rows][width], sum[outlets];
        VORB_UNROLL
        for (int k = 0; k < outlets; ++k) sum[k] = load(outs[k] + i);
        VORB_UNROLL
        for (int v = 0; v < rows; ++v) {
            VORB_UNROLL
            for (int m = 0; m < width; ++m) e[v][m] = amp[v] *= decay[v];
            transpose(e[v]);
            VORB_UNROLL
            for (int l = 0; l < width; ++l) {
                row s[sources];
                VORB_UNROLL
                for (int c = 0; c < sources; ++c)
                    s[c] = e[v][l] * load(&w.source[c][v * width + l][i]);
                VORB_UNROLL
                for (int k = 0; k < outlets; ++k)
                    sum[k] += s[taps[k].source] * gain[v * width + l][k];
            }
        }
        VORB_UNROLL
        for (int k = 0; k < outlets; ++k) store(outs[k] + i, sum[k]);
    }
    VORB_UNROLL
    for (int v = 0; v < rows; ++v) store(amps + v * width, amp[v]);
    for (int l = 0; l < lanes; ++l) lane[l].fog->amp = amps[l];
}

template <const auto &taps, int lanes>
void play_stretches(const vorb_lane *lane, int count, double *const *outs, double *const *scratch,
                    std::int64_t n)
{
    constexpr int sources = vorb_count_sources(taps), outlets = vorb_count_outlets(taps);
    work<sources, lanes> w;
    for (int from = 0; from < n; from += stretch) {
        const int m = n - from < stretch ? int(n - from) : stretch;
        double *out[outlets];
        for (int k = 0; k < outlets; ++k) out[k] = outs[k] + from;
        read(w, lane, count, from, m);
        bool steady = count == lanes;
        for (int l = 0; l < count; ++l) steady = steady && holds_through(lane[l].fog, m);
        if (steady) mix_steady<taps>(w, lane, out, m);
        else {
            shape(w, lane, count, m);
            mix<taps>(w, lane, count, out, m);
        }
        for (int c = 0; c < sources; ++c)
            for (int i = 0; i < m; i += width)
                store(scratch[c] + from + i, load(&w.source[c][count - 1][i]));
    }
}

template <const auto &taps>
void play(const vorb_lane *lane, int count, double *const *outs, double *const *scratch,
          std::int64_t n)
{
    if (count > width) play_stretches<taps, vorb_lanes>(lane, count, outs, scratch, n);
    else play_stretches<taps, width>(lane, count, outs, scratch, n);
}

} // namespace

extern const vorb_lanes_players VORB_LANES;
const vorb_lanes_players VORB_LANES = {play<taps1>,  play<taps2>, play<taps2s>, play<taps4>,
                                       play<taps4s>, play<taps6>, play<taps6q>, play<taps10>};
