// Rendering: every sounding fog, under its envelope and times its gains, into the outlets.
#include "k_vorb.h"

#include <algorithm>
#include <array>
#include <iterator>

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

template <std::size_t width>
constexpr int vorb_count_sources(const vorb_tap (&taps)[width])
{
    int sources = 0;
    for (const vorb_tap &tap : taps) sources = std::max(sources, tap.source + 1);
    return sources;
}

/// Renders one fog for one block, reading its source into the scratch blocks first.
template <const auto &taps>
static std::int32_t vorb_render(vorb_fog *fog, const std::array<double *, std::size(taps)> &out,
                                std::int64_t n)
{
    constexpr std::size_t width = std::size(taps);
    constexpr int sources = vorb_count_sources(taps);
    if constexpr (sources == 1) vorb_read(&fog->reader, temp1, n);
    else if constexpr (sources == 2) vorb_read_stereo(&fog->reader, temp1, temp2, n);
    else vorb_read_quadro(&fog->reader, temp1, temp2, temp3, temp4, n);
    fog->reader.pos_ms += fog->reader.pos_step_ms; // once a block, also while the fog waits

    const double *const source[] = {temp1, temp2, temp3, temp4};
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
    // The delay is not asked: a fog of three zero counts ends before its time comes.
    return fog->atten_count > 0 || fog->sustain > 0 || fog->tex_count > 0;
}

std::int32_t vorb_run_one1(vorb_fog *fog, double *out1, std::int64_t n)
{
    return vorb_render<taps1>(fog, {out1}, n);
}

std::int32_t vorb_run_one2(vorb_fog *fog, double *out1, double *out2, std::int64_t n)
{
    return vorb_render<taps2>(fog, {out1, out2}, n);
}

std::int32_t vorb_run_one2s(vorb_fog *fog, double *out1, double *out2, std::int64_t n)
{
    return vorb_render<taps2s>(fog, {out1, out2}, n);
}

std::int32_t vorb_run_one4(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           std::int64_t n)
{
    return vorb_render<taps4>(fog, {out1, out2, out3, out4}, n);
}

std::int32_t vorb_run_one4s(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            std::int64_t n)
{
    return vorb_render<taps4s>(fog, {out1, out2, out3, out4}, n);
}

std::int32_t vorb_run_one6(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           double *out5, double *out6, std::int64_t n)
{
    return vorb_render<taps6>(fog, {out1, out2, out3, out4, out5, out6}, n);
}

std::int32_t vorb_run_one6q(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, std::int64_t n)
{
    return vorb_render<taps6q>(fog, {out1, out2, out3, out4, out5, out6}, n);
}

std::int32_t vorb_run_one10(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, double *out7, double *out8, double *out9,
                            double *out10, std::int64_t n)
{
    return vorb_render<taps10>(fog, {out1, out2, out3, out4, out5, out6, out7, out8, out9, out10},
                               n);
}

/// Walks the used list, newest fog first, and frees those that `sounds` says have ended.
template <class Sounds>
static void vorb_walk(inputs *in, std::int64_t n, Sounds sounds)
{
    if (!vorb_scratch_holds(n)) return; // no memory, or a block larger than announced
    vorb_pool &pool = vorb_owner(in)->pool;
    for (vorb_fog **link = &pool.used; vorb_fog *fog = *link;) {
        if (sounds(fog)) link = &fog->next;
        else vorb_release(&pool, link);
    }
}

/// In the layouts of 2, 4 and 6 outlets a fog whose buffer is gone ends at once, and the buffer's
/// channels choose the renderer anew in every block.
template <class Renderer, class... Out>
static bool vorb_run_by_source(vorb_fog *fog, Renderer mono, Renderer multi, std::int64_t n,
                               Out... out)
{
    t_buffer_obj *b = vorb_buffer(fog->reader.bufref);
    return b && (buffer_getchannelcount(b) == 1 ? mono : multi)(fog, out..., n);
}

void vorb_run_all1(inputs *in, double **o, std::int64_t n)
{
    vorb_walk(in, n, [=](vorb_fog *fog) { return vorb_run_one1(fog, o[0], n); });
}

void vorb_run_all2(inputs *in, double **o, std::int64_t n)
{
    vorb_walk(in, n, [=](vorb_fog *fog) {
        return vorb_run_by_source(fog, vorb_run_one2, vorb_run_one2s, n, o[0], o[1]);
    });
}

void vorb_run_all4(inputs *in, double **o, std::int64_t n)
{
    vorb_walk(in, n, [=](vorb_fog *fog) {
        return vorb_run_by_source(fog, vorb_run_one4, vorb_run_one4s, n, o[0], o[1], o[2], o[3]);
    });
}

void vorb_run_all6(inputs *in, double **o, std::int64_t n)
{
    vorb_walk(in, n, [=](vorb_fog *fog) {
        return vorb_run_by_source(fog, vorb_run_one6, vorb_run_one6q, n, o[0], o[1], o[2], o[3],
                                  o[4], o[5]);
    });
}

/// In the layout of 10 only a fog that never had a reference ends early.
void vorb_run_all10(inputs *in, double **o, std::int64_t n)
{
    vorb_walk(in, n, [=](vorb_fog *fog) {
        return fog->reader.bufref &&
               vorb_run_one10(fog, o[0], o[1], o[2], o[3], o[4], o[5], o[6], o[7], o[8], o[9], n);
    });
}
