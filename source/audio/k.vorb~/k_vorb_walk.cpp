// Every sounding fog, newest first, into the outlets: side by side in lanes where that can be.
#include "k_vorb_plan.h"
#include "k_vorb_play.h"

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
    vorb_lane_reader vorb_lanes_players::*reader;
    std::int32_t (*plain)(vorb_fog *fog, double *const *scratch, double *const *outs,
                          std::int64_t n);
};

template <const auto &taps, vorb_lanes_player vorb_lanes_players::*lanes>
constexpr vorb_kind vorb_kind_of = {vorb_count_sources(taps), lanes,
                                    vorb_count_sources(taps) == 1   ? &vorb_lanes_players::read1
                                    : vorb_count_sources(taps) == 2 ? &vorb_lanes_players::read2
                                                                    : &vorb_lanes_players::read4,
                                    vorb_play<taps>};

/// Fogs of one kind that wait to be rendered, in the order of the list, and the buffers that they
/// read. A buffer stays locked from its first fog on, so that the others find it as that one did;
/// when there are too many, all are unlocked.
class vorb_group {
public:
    vorb_group(double *const *to, std::int64_t frames) : outs(to), n(frames) {}

    /// `choose` tells the kind of a fog whose buffer is not open yet. Without one it is not
    /// rendered: false.
    template <class Choose>
    bool add(vorb_fog *fog, Choose choose)
    {
        t_buffer_ref *ref = fog->reader.bufref;
        const vorb_opened *known = find(ref);
        const vorb_kind *fog_kind = known ? known->kind : choose(ref);
        if (!fog_kind) return false;
        if (kind != fog_kind || count == vorb_lanes) flush();
        kind = fog_kind;
        if (!known) {
            if (opened == most_sources) close();
            known = &sources[opened++];
            sources[opened - 1] = {vorb_open_source(ref, kind->channels), kind};
        }
        play(fog, known->source);
        // The next fog asks for such a one anew, and is refused with its own word.
        if (!known->source.open) vorb_close_source(sources[--opened].source);
        return true;
    }

    /// Renders what waits, and unlocks. Whether a fog has ended in this block.
    bool close()
    {
        flush();
        while (opened > 0) vorb_close_source(sources[--opened].source);
        return ended;
    }

private:
    enum { most_sources = 4 };

    struct vorb_opened {
        vorb_source source;
        const vorb_kind *kind;
    };

    const vorb_opened *find(const t_buffer_ref *ref) const
    {
        for (int k = 0; k < opened; ++k)
            if (sources[k].source.ref == ref) return &sources[k];
        return nullptr;
    }

    void play(vorb_fog *fog, const vorb_source &source)
    {
        const vorb_plan plan = vorb_plan_block(&fog->reader, source);
        if (fits(plan)) {
            const bool reads = plan.verdict == vorb_verdict::read;
            lane[count++] = {fog, reads ? source.samples + plan.base * source.channels : nullptr,
                             plan.frac, plan.step};
        } else {
            flush();
            vorb_fill_scratch(&fog->reader, source, plan, scratch, n);
            if (plan.verdict == vorb_verdict::unwritten) {
                if (source.channels == 4) close(); // it reports when nothing is locked: deliberate
                vorb_report_unwritten(plan, source.channels);
            }
            if (!kind->plain(fog, scratch, outs, n)) ended = true;
        }
        fog->reader.pos_ms += fog->reader.pos_step_ms; // once a block, also while the fog waits
    }

    /// Whether a lane can play it: the plain reader alone copes with unwritten blocks, with blocks
    /// of uneven size, and with fogs that outlive a change of vector size or play a block longer
    /// than announced, whose heads leave the frames of the block.
    bool fits(const vorb_plan &plan) const
    {
        if (!vorb_players || n % vorb_lane_batch != 0) return false;
        if (plan.verdict != vorb_verdict::read) return plan.verdict == vorb_verdict::silent;
        const std::int64_t last =
            (plan.frac + (n - 1) * plan.step) >> 16; // the first one is inside
        return last >= 0 && last <= plan.count - 3;
    }

    void flush()
    {
        if (count == 1) { // alone it is faster without lanes
            (vorb_players->*kind->reader)(lane[0], scratch, n);
            kind->plain(lane[0].fog, scratch, outs, n);
        } else if (count > 1) (vorb_players->*kind->lanes)(lane, count, outs, scratch, n);
        for (int l = 0; l < count; ++l) ended = ended || !vorb_sounds(lane[l].fog);
        count = 0;
    }

    double *const scratch[vorb_max_sources] = {temp1, temp2, temp3, temp4}; // for the whole block
    double *const *outs;
    std::int64_t n;
    const vorb_kind *kind = nullptr;
    int count = 0, opened = 0;
    bool ended = false;
    vorb_lane lane[vorb_lanes];
    vorb_opened sources[most_sources];
};

/// Renders the used list, newest fog first, and frees those that have ended: also those for which
/// `choose` has no kind.
template <class Choose>
static void vorb_walk(inputs *in, double *const *outs, std::int64_t n, Choose choose)
{
    if (!vorb_scratch_holds(n)) return; // no memory, or a block larger than announced
    vorb_pool &pool = vorb_owner(in)->pool;
    bool lost[vorb_pool_size] = {}; // by record
    bool any_lost = false;
    vorb_group group(outs, n);
    for (vorb_fog *fog = pool.used; fog; fog = fog->next)
        if (!group.add(fog, choose)) lost[fog - pool.fogs] = any_lost = true;
    if (!group.close() && !any_lost) return;
    for (vorb_fog **link = &pool.used; vorb_fog *fog = *link;) {
        if (!lost[fog - pool.fogs] && vorb_sounds(fog)) link = &fog->next;
        else vorb_release(&pool, link);
    }
}

/// In the layouts of 2, 4 and 6 outlets a fog whose buffer is gone ends at once, and the buffer's
/// channels choose the renderer anew in every block.
template <const vorb_kind &mono, const vorb_kind &multi>
static void vorb_walk_by_source(inputs *in, double *const *outs, std::int64_t n)
{
    vorb_walk(in, outs, n, [](t_buffer_ref *ref) -> const vorb_kind * {
        t_buffer_obj *b = vorb_buffer(ref);
        return !b ? nullptr : buffer_getchannelcount(b) == 1 ? &mono : &multi;
    });
}

void vorb_run_all1(inputs *in, double **outs, std::int64_t n)
{
    vorb_walk(in, outs, n,
              [](t_buffer_ref *) { return &vorb_kind_of<taps1, &vorb_lanes_players::run1>; });
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
    vorb_walk(in, outs, n, [](t_buffer_ref *ref) {
        return ref ? &vorb_kind_of<taps10, &vorb_lanes_players::run10> : nullptr;
    });
}
