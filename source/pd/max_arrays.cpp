// Pd's arrays as sample buffers. The object wants contiguous, interleaved floats, Pd keeps one
// array for each channel, in wider cells, and tells nobody when one is written. So every name has a
// shadow, one for all instances, into which each block copies what its fogs are about to read and
// nothing else: whatever was written is heard at once, at a cost that no array's length changes.
#include "host_state.h"
#include "k_vorb_plan.h"
#include "pd_bridge.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <set>

namespace host {

/// What stands for the array, or the arrays, of a name.
struct shadow : buffer {
    enum { most_channels = 4 };

    void *symbol = nullptr;                 // of the array that is a mono sample
    void *channel_symbols[most_channels]{}; // 0-NAME, 1-NAME ...: where there is no such array
    const void *elements[most_channels]{};  // as last looked up
    bool several = false, said = false;     // arrays of one name; and on the console
    double looked_up = std::nan("");        // when; outside of the audio tick: never
    t_atom_long room = 0, refused = 0;      // samples: that there is memory for, and was none for
    t_buffer_ref *reader = nullptr;         // who asked last: who asks for the samples next
};

static std::map<std::string, shadow, std::less<>> shadows;
static std::map<std::string, double, std::less<>> rates; // of arrays that do not have Pd's

static shadow *shadow_of(void *object) // of a reference or a buffer~
{
    return static_cast<shadow *>(reinterpret_cast<buffer *>(object));
}

/// One array, or two, or four, as long as the shortest; else no channel.
static void find_arrays(shadow &s)
{
    long lengths[shadow::most_channels];
    if ((s.elements[0] = pd::find_array(s.symbol, lengths, &s.several))) {
        s.channels = 1;
        s.frames = lengths[0];
        return;
    }
    int found = 0;
    for (bool two; found < shadow::most_channels; ++found) {
        s.elements[found] = pd::find_array(s.channel_symbols[found], &lengths[found], &two);
        if (!s.elements[found]) break;
        s.several |= two;
    }
    s.channels = found == 4 ? 4 : found >= 2 ? 2 : 0;
    s.frames = s.channels ? *std::min_element(lengths, lengths + s.channels) : 0;
}

/// Room for exactly what there is, so that sanitizers see its end. Untouched memory costs little:
/// an array of which a minute is played takes the room of that minute.
static void make_room(shadow &s)
{
    const t_atom_long wanted = s.frames * s.channels;
    if (wanted == s.room || wanted == s.refused) return;
    s.samples.reset(); // first, since there may be no room for both
    s.samples.reset(wanted ? new (std::nothrow) float[static_cast<size_t>(wanted)] : nullptr);
    s.room = s.samples ? wanted : 0;
    s.refused = wanted - s.room;
    if (s.refused) object_error(nullptr, "k.vorb~: no memory for %s", s.name->s_name);
}

/// Pd's own objects say so each time they look.
static void warn_of_several(shadow &s)
{
    if (s.several && !s.said)
        object_error(nullptr, "k.vorb~: %s is there twice: the older array is played",
                     s.name->s_name);
    s.said = s.several;
}

/// Looks the arrays up anew, in an audio tick once. The tick must not allocate: there an array that
/// has grown ends at its former length until the tick is over. It happens to those alone that were
/// renamed, since resizing rebuilds the signal chain.
static void update(shadow &s)
{
    const bool in_tick = running == context::audio;
    if (in_tick && s.looked_up == time()) return;
    s.looked_up = in_tick ? time() : std::nan("");
    find_arrays(s);
    const t_atom_long wanted = s.frames * s.channels;
    if (in_tick && wanted > s.room && wanted != s.refused) pd::refresh_soon();
    if (!in_tick) {
        make_room(s);
        warn_of_several(s);
    }
    if (s.channels) s.frames = std::min(s.frames.load(), s.room / s.channels);
}

/// Memory that there was none for may be free by now.
static void retry(shadow &s)
{
    s.refused = 0;
    update(s);
}

/// The shadow of a name, made where there is none yet. It stays where it is.
static shadow *shadow_named(t_symbol *name)
{
    const auto [entry, fresh] = shadows.try_emplace(name->s_name);
    shadow &s = entry->second;
    if (fresh) {
        s.name = name;
        s.symbol = pd::symbol(name->s_name);
        for (int c = 0; c < shadow::most_channels; ++c)
            s.channel_symbols[c] = pd::symbol((std::to_string(c) + "-" + name->s_name).c_str());
    }
    update(s);
    return &s;
}

/// Copies what a fog is about to read.
static void renew(shadow &s, const vorb_fogread &head)
{
    const vorb_plan plan =
        vorb_plan_sweep(head, head.prev_pos, head.pos_ms * head.frames_per_ms, s.frames);
    if (plan.verdict != vorb_verdict::read) return;
    const t_atom_long count = std::min<t_atom_long>(plan.count + 1, s.frames - plan.base);
    for (t_atom_long c = 0; c < s.channels; ++c)
        pd::copy_elements(&s.samples[static_cast<size_t>(plan.base * s.channels + c)],
                          int(s.channels), s.elements[c], long(plan.base), long(count));
}

void check_locks()
{
    for (const auto &entry : shadows)
        if (entry.second.locks) fault("an array is still locked: ", entry.first);
}

} // namespace host

void vorb_pd::set_rate(const char *array, float hz)
{
    if (hz > 0) host::rates[array] = double(hz);
    else host::rates.erase(array);
}

void vorb_pd::refresh(const instance *x)
{
    if (x) {
        for (const auto &ref : host::now.references)
            if (ref->owner == x) host::retry(*host::shadow_of(ref->bound));
        return;
    }
    prune();
    for (auto &entry : host::shadows) host::update(entry.second);
}

void vorb_pd::prune()
{
    if (host::now.instances.empty()) host::rates.clear();
    std::set<const host::buffer *> used;
    for (const auto &ref : host::now.references) used.insert(ref->bound);
    for (auto s = host::shadows.begin(); s != host::shadows.end();)
        s = used.count(&s->second) ? std::next(s) : host::shadows.erase(s);
}

t_buffer_ref *buffer_ref_new(t_object *self, t_symbol *name)
{
    host::instance *owner = host::find(self, "buffer_ref_new");
    if (!owner) return nullptr;
    host::shadow *s = host::shadow_named(name);
    return host::now.references.emplace_back(new t_buffer_ref{owner, name, {s}}).get();
}

void buffer_ref_set(t_buffer_ref *ref, t_symbol *name)
{
    ref->name = name;
    ref->bound = host::shadow_named(name);
}

t_buffer_obj *buffer_ref_getobject(t_buffer_ref *ref)
{
    host::shadow &s = *host::shadow_of(ref->bound);
    host::update(s);
    s.reader = ref;
    return s.channels && s.samples ? &s.object : nullptr;
}

/// References look for themselves: no notice has anything to tell them, and none is sent.
t_max_err buffer_ref_notify(t_buffer_ref *, t_symbol *, t_symbol *, void *, void *)
{
    return MAX_ERR_NONE;
}

void buffer_view(t_buffer_obj *) {} // a double click, which Pd does not pass on

/// The reader's fogs are those that its instance plays in this block, also those just begun.
float *buffer_locksamples(t_buffer_obj *object)
{
    host::shadow &s = *host::shadow_of(object);
    const auto x = reinterpret_cast<const vorb *>(s.reader->owner->memory);
    for (const vorb_fog *fog = x->pool.used; fog; fog = fog->next)
        if (fog->reader.bufref == s.reader) host::renew(s, fog->reader);
    ++s.locks;
    return s.samples.get();
}

void buffer_unlocksamples(t_buffer_obj *object) { --host::shadow_of(object)->locks; }

t_atom_long buffer_getframecount(t_buffer_obj *object) { return host::shadow_of(object)->frames; }

t_atom_long buffer_getchannelcount(t_buffer_obj *object)
{
    return host::shadow_of(object)->channels;
}

t_atom_float buffer_getsamplerate(t_buffer_obj *object)
{
    const auto own = host::rates.find(host::shadow_of(object)->name->s_name);
    return own == host::rates.end() ? pd::sample_rate() : own->second;
}
