// The pool of fogs: its two lists, starting one, the density limit, and the messages about it.
#include "k_vorb.h"

#include <algorithm>
#include <cstring>
#include <limits>

void vorb_init_list(vorb_pool *pool)
{
    pool->nfree = pool->maxfogs;
    pool->free = pool->fogs;
    pool->used = nullptr;
    for (std::int64_t k = 1; k < pool->maxfogs; ++k) pool->fogs[k - 1].next = &pool->fogs[k];
    pool->fogs[pool->maxfogs - 1].next = nullptr;
}

static vorb_fog *vorb_take(vorb_pool *pool)
{
    vorb_fog *fog = pool->free;
    pool->nfree = pool->nfree - 1;
    pool->free = fog->next;
    fog->next = pool->used;
    return pool->used = fog;
}

/// Returns the fog behind `link`, a link of the used list, to the free list.
void vorb_release(vorb_pool *pool, vorb_fog **link)
{
    vorb_fog *fog = *link;
    *link = fog->next;
    fog->next = pool->free;
    pool->free = fog;
    pool->nfree = pool->nfree + 1;
}

// ---- Warnings, at most one of a kind a second over all instances --------------------------------

// Several threads may warn at once: a count may then be lost, a row come twice.
k_shared<std::int32_t> vorb_error_count = 0, vorb_limitwarning_count = 0;
k_shared<std::int64_t> vorb_error_lasttime = 0, vorb_limitwarningr_lasttime = 0,
                       vorb_error_silent = 0;

static void vorb_warn(vorb *x, const char *what, k_shared<std::int32_t> *count,
                      k_shared<std::int64_t> *lasttime)
{
    // Saturates: under a clock that stands still events are counted without end.
    const std::int32_t before = *count, most = std::numeric_limits<std::int32_t>::max();
    const std::int32_t events = before < most ? before + 1 : most;
    *count = events;
    if (long(gettime() - *lasttime) <= 1000) return; // as wide as the clock, which may wrap
    if (!vorb_error_silent)
        object_error(vorb_object(x), "%s: %s (%d)", s_vorb_name, what, int(events));
    *count = 0;
    *lasttime = gettime();
}

void vorb_error(vorb *x) { vorb_warn(x, "out of fogs", &vorb_error_count, &vorb_error_lasttime); }

void vorb_limitwarning(vorb *x)
{
    vorb_warn(x, "fogs upper limit reached", &vorb_limitwarning_count,
              &vorb_limitwarningr_lasttime);
}

// ---- Starting a fog -----------------------------------------------------------------------------

/// Inside the limit band fogs are shortened, at its upper end refused. False: start none.
static bool vorb_apply_limit(vorb *x)
{
    inputs &in = x->inputs;
    const std::int64_t used = x->pool.maxfogs - x->pool.nfree;
    const std::int64_t low = in.limit_low, high = in.limit_high;
    if (high <= 0 || used <= low) return true;
    if (used >= high) {
        vorb_limitwarning(x);
        return false;
    }
    const double scaler = (double(high) - double(used)) / (double(high) - double(low));
    object_post(vorb_object(x), "scaler = %f", scaler);
    // In place: each further fog in the band is shorter still, deliberate.
    in.tex *= scaler;
    in.debatt *= scaler;
    in.atten *= scaler;
    in.changed = 1;
    return true;
}

void vorb_trigger(vorb *x, std::int64_t index, double time)
{
    inputs &in = x->inputs;
    if (!x->pool.free) {
        vorb_error(x);
        return;
    }
    if (!vorb_apply_limit(x)) return;
    vorb_fog *fog = vorb_take(&x->pool);
    if (in.changed) vorb_update(&in);
    fog->channels = in.channels;
    std::memcpy(reinterpret_cast<char *>(fog) + offsetof(vorb_fog, gains),
                reinterpret_cast<char *>(&in) + offsetof(inputs, fog_amps), vorb_snapshot_bytes);
    fog->reader.vs_inv = in.vs_inv;
    fog->reader.vs8 = in.vs8;
    fog->reader.bufref = in.bufref;
    vorb_onset(fog, &in, index, in.sp - time);
    if (in.channels == 1) fog->amp *= fog->gains[0]; // its renderer applies no gain
}

// ---- Messages, at the left inlet ----------------------------------------------------------------

void vorb_reset(vorb *x)
{
    if (vorb_at_inlet(x)) vorb_init_list(&x->pool);
}

void vorb_freefogs(vorb *x)
{
    if (vorb_at_inlet(x)) outlet_int(x->intout, x->pool.nfree);
}

void vorb_usedfogs(vorb *x)
{
    // Never negative: `maxfogs` may come between the two counts.
    if (vorb_at_inlet(x))
        outlet_int(x->intout, std::max<std::int64_t>(x->pool.maxfogs - x->pool.nfree, 0));
}

void vorb_bound_maxfogs(vorb *x, std::int64_t n)
{
    if (n > vorb_pool_size) {
        object_error(vorb_object(x), "%s: maxfogs out of range (%lld), set to %d", s_vorb_name,
                     (long long)n, int(vorb_pool_size));
        n = vorb_pool_size;
    }
    if (n < 1) n = 1; // without a word, deliberate
    x->pool.maxfogs = n;
    vorb_init_list(&x->pool);
}

void vorb_maxfogs(vorb *x, t_atom_long n)
{
    if (vorb_at_inlet(x)) vorb_bound_maxfogs(x, n);
}

void vorb_silent(vorb *x, t_atom_long n)
{
    if (vorb_at_inlet(x)) vorb_error_silent = n;
}

void vorb_limit(vorb *x, t_atom_long low, t_atom_long high)
{
    if (!vorb_at_inlet(x)) return;
    inputs &in = x->inputs;
    if (high == 0) {
        in.limit_high = 0;
    } else if (low < high && high <= x->pool.maxfogs) {
        in.limit_low = low;
        in.limit_high = high;
    } else {
        object_error(vorb_object(x), "%s: limit: limits out of range (low = %lld, high = %lld)",
                     s_vorb_name, (long long)low, (long long)high);
    }
}
