// Rendering: every sounding fog, under its envelope and times its gains, into the outlets.
#include "k_vorb_block.h"

#include <algorithm>
#include <array>
#include <iterator>

/// The delay is not asked: a fog of three zero counts ends before its time comes.
static bool vorb_sounds(const vorb_fog *fog)
{
    return fog->atten_count > 0 || fog->sustain > 0 || fog->tex_count > 0;
}

/// Renders one fog for one block from the scratch blocks.
template <const auto &taps>
static std::int32_t vorb_play(vorb_fog *fog, double *const *out, std::int64_t n)
{
    constexpr std::size_t width = std::size(taps);
    constexpr int sources = vorb_count_sources(taps);
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
    return vorb_sounds(fog);
}

/// Reads one fog's block into the scratch blocks and renders it: the definition of what a fog adds
/// to the outlets, by which the lanes are tested.
template <const auto &taps>
static std::int32_t vorb_render(vorb_fog *fog, const std::array<double *, std::size(taps)> &out,
                                std::int64_t n)
{
    constexpr int sources = vorb_count_sources(taps);
    if constexpr (sources == 1) vorb_read(&fog->reader, temp1, n);
    else if constexpr (sources == 2) vorb_read_stereo(&fog->reader, temp1, temp2, n);
    else vorb_read_quadro(&fog->reader, temp1, temp2, temp3, temp4, n);
    fog->reader.pos_ms += fog->reader.pos_step_ms; // once a block, also while the fog waits

    return vorb_play<taps>(fog, out.data(), n);
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

// ---- Every fog ----------------------------------------------------------------------------------

const vorb_lanes_players *vorb_players = nullptr;

void vorb_choose_players()
{
    vorb_players = &vorb_lanes_baseline;
#ifdef VORB_WITH_AVX2
    if (__builtin_cpu_supports("avx2")) vorb_players = &vorb_lanes_avx2;
#endif
}

/// How a layout renders fogs whose sample has so many channels.
struct vorb_kind {
    t_atom_long channels;
    vorb_lanes_player vorb_lanes_players::*lanes;
    std::int32_t (*plain)(vorb_fog *fog, double *const *outs, std::int64_t n);
};

template <const auto &taps, vorb_lanes_player vorb_lanes_players::*lanes>
constexpr vorb_kind vorb_kind_of = {vorb_count_sources(taps), lanes, vorb_play<taps>};

/// Fogs of one kind that wait to be rendered, in the order of the list, and the buffers that they
/// read, each locked once until the block is done.
class vorb_group {
public:
    vorb_group(double *const *to, std::int64_t frames) : outs(to), n(frames) {}
    vorb_group(const vorb_group &) = delete;
    ~vorb_group() { close(); }

    /// The buffer of a reference if it is open already.
    const vorb_source *find(const t_buffer_ref *ref) const
    {
        for (int k = 0; k < opened; ++k)
            if (sources[k].ref == ref) return &sources[k];
        return nullptr;
    }

    void add(vorb_fog *fog, const vorb_kind &fog_kind)
    {
        if (kind != &fog_kind || count == vorb_lanes) flush();
        kind = &fog_kind;
        const vorb_source *known = find(fog->reader.bufref);
        if (!known && opened == most_sources) close();
        const vorb_source source =
            known ? *known : vorb_open_source(fog->reader.bufref, kind->channels);
        const vorb_plan plan = vorb_plan_block(&fog->reader, source);
        if (fits(plan)) {
            const bool reads = plan.verdict == vorb_verdict::read;
            lane[count++] = {fog, reads ? source.samples + plan.base * source.channels : nullptr,
                             plan.frac, plan.step};
        } else {
            flush();
            vorb_fill_scratch(&fog->reader, source, plan, n);
            vorb_report_unwritten(plan, source.channels);
            kind->plain(fog, outs, n);
        }
        fog->reader.pos_ms += fog->reader.pos_step_ms; // once a block, also while the fog waits
        if (known) return;
        if (source.open) sources[opened++] = source;
        else vorb_close_source(source); // the next fog asks anew, and is refused with its own word
    }

private:
    enum { most_sources = 4 };

    /// Whether a lane can play it: the plain reader alone copes with unwritten blocks, and with
    /// fogs that outlive a change of vector size, whose heads leave the frames of the block.
    bool fits(const vorb_plan &plan) const
    {
        if (!vorb_players || n % vorb_lane_batch != 0) return false;
        if (plan.verdict != vorb_verdict::read) return plan.verdict == vorb_verdict::silent;
        const std::int64_t first = plan.frac >> 16, last = (plan.frac + (n - 1) * plan.step) >> 16;
        return first >= 0 && first <= plan.count - 3 && last >= 0 && last <= plan.count - 3;
    }

    void flush()
    {
        double *const scratch[] = {temp1, temp2, temp3, temp4};
        if (count > 0) (vorb_players->*kind->lanes)(lane, count, outs, scratch, n);
        count = 0;
    }

    void close()
    {
        flush();
        while (opened > 0) vorb_close_source(sources[--opened]);
    }

    double *const *outs;
    std::int64_t n;
    const vorb_kind *kind = nullptr;
    int count = 0, opened = 0;
    vorb_lane lane[vorb_lanes];
    vorb_source sources[most_sources];
};

/// A record fills several lines of the cache, and the next one may lie anywhere.
static void vorb_prefetch(const vorb_fog *fog)
{
    for (std::size_t at = 0; fog && at < sizeof *fog; at += 64)
        __builtin_prefetch(reinterpret_cast<const char *>(fog) + at);
}

/// Renders the used list, newest fog first, and frees those that have ended: also those for which
/// `choose` has no kind.
template <class Choose>
static void vorb_walk(inputs *in, double *const *outs, std::int64_t n, Choose choose)
{
    if (!vorb_scratch_holds(n)) return; // no memory, or a block larger than announced
    vorb_pool &pool = vorb_owner(in)->pool;
    bool ended[vorb_pool_size] = {}; // by record
    {
        vorb_group group(outs, n);
        for (vorb_fog *fog = pool.used; fog; fog = fog->next) {
            vorb_prefetch(fog->next);
            const vorb_kind *kind = choose(fog->reader.bufref, group);
            if (kind) group.add(fog, *kind);
            else ended[fog - pool.fogs] = true;
        }
    }
    for (vorb_fog **link = &pool.used; vorb_fog *fog = *link;) {
        if (!ended[fog - pool.fogs] && vorb_sounds(fog)) link = &fog->next;
        else vorb_release(&pool, link);
    }
}

/// In the layouts of 2, 4 and 6 outlets a fog whose buffer is gone ends at once, and the buffer's
/// channels choose the renderer anew in every block.
template <const vorb_kind &mono, const vorb_kind &multi>
static void vorb_walk_by_source(inputs *in, double *const *outs, std::int64_t n)
{
    vorb_walk(in, outs, n, [](t_buffer_ref *ref, const vorb_group &group) -> const vorb_kind * {
        if (const vorb_source *known = group.find(ref))
            return known->channels == 1 ? &mono : &multi;
        t_buffer_obj *b = vorb_buffer(ref);
        return !b ? nullptr : buffer_getchannelcount(b) == 1 ? &mono : &multi;
    });
}

void vorb_run_all1(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk(in, outs, n, [](t_buffer_ref *, const vorb_group &) {
        return &vorb_kind_of<taps1, &vorb_lanes_players::run1>;
    });
}

void vorb_run_all2(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk_by_source<vorb_kind_of<taps2, &vorb_lanes_players::run2>,
                        vorb_kind_of<taps2s, &vorb_lanes_players::run2s>>(in, outs, n);
}

void vorb_run_all4(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk_by_source<vorb_kind_of<taps4, &vorb_lanes_players::run4>,
                        vorb_kind_of<taps4s, &vorb_lanes_players::run4s>>(in, outs, n);
}

void vorb_run_all6(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk_by_source<vorb_kind_of<taps6, &vorb_lanes_players::run6>,
                        vorb_kind_of<taps6q, &vorb_lanes_players::run6q>>(in, outs, n);
}

/// In the layout of 10 only a fog that never had a reference ends early.
void vorb_run_all10(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk(in, outs, n, [](t_buffer_ref *ref, const vorb_group &) {
        return ref ? &vorb_kind_of<taps10, &vorb_lanes_players::run10> : nullptr;
    });
}
