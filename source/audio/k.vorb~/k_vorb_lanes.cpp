// The fast path: fogs side by side in the lanes of vectors. Every sample comes from the operations
// of the plain readers and renderers in their order, and fogs are summed in the order of the list,
// so every bit of the outlets is theirs (a zero in a record or a scratch block may have another
// sign). Compiled once for each instruction set; the build names the table at the end.
//
// The plain loops spend most of their time waiting for the envelope's recurrences (two products and
// a difference a sample, in sequence) and the lowpass's. These are exact only one after another,
// but those of different fogs are independent: here many advance at once.
#include "k_vorb_lanes_envelope.h"

namespace {

template <const auto &taps>
VORB_INLINE void gather_gains(const vorb_lane *lane, int count,
                              row (*gain)[vorb_count_outlets(taps)])
{
    for (int l = 0; l < count; ++l)
        for (int k = 0; k < vorb_count_outlets(taps); ++k) // less 0: also -0 stays
            gain[l][k] = (taps[k].slot == no_gain ? 1.0 : lane[l].fog->gains[taps[k].slot]) - row{};
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

template <int sources, int lanes>
VORB_INLINE void keep_source(const work<sources, lanes> &w, int l, double *const *scratch, int from,
                             int n)
{
    for (int c = 0; c < sources; ++c)
        for (int i = 0; i < n; i += width) store(scratch[c] + from + i, load(&w.source[c][l][i]));
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
        keep_source(w, count - 1, scratch, from, m);
    }
}

template <const auto &taps>
void play(const vorb_lane *lane, int count, double *const *outs, double *const *scratch,
          std::int64_t n)
{
    if (count > width) play_stretches<taps, vorb_lanes>(lane, count, outs, scratch, n);
    else play_stretches<taps, width>(lane, count, outs, scratch, n);
}

template <int sources>
void read_alone(const vorb_lane &lane, double *const *scratch, std::int64_t n)
{
    work<sources, width> w;
    for (int from = 0; from < n; from += stretch) {
        const int m = n - from < stretch ? int(n - from) : stretch;
        read(w, &lane, 1, from, m);
        keep_source(w, 0, scratch, from, m);
    }
}

} // namespace

extern const vorb_lanes_players VORB_LANES; // a const is local otherwise
const vorb_lanes_players VORB_LANES = {play<taps1>,   play<taps2>,   play<taps2s>, play<taps4>,
                                       play<taps4s>,  play<taps6>,   play<taps6q>, play<taps10>,
                                       read_alone<1>, read_alone<2>, read_alone<4>};
