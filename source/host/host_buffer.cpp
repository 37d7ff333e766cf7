// buffer~ objects, references to them, and the notices that keep references true.
#include "host_state.h"

#include <algorithm>
#include <set>

#if defined(__SANITIZE_ADDRESS__)
#define WITH_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_ASAN 1
#endif
#endif
#ifdef WITH_ASAN
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(p, n) (static_cast<void>(p), static_cast<void>(n))
#define ASAN_UNPOISON_MEMORY_REGION(p, n) (static_cast<void>(p), static_cast<void>(n))
#endif

namespace host {

static buffer *find_buffer(const t_symbol *name)
{
    if (!name) return nullptr;
    const auto found = now.buffers.find(name->s_name);
    return found == now.buffers.end() ? nullptr : found->second.get();
}

/// The buffer an external was handed, or null, which is a fault of the call named.
static buffer *checked(const t_buffer_obj *object, const char *call)
{
    buffer *known = known_buffers.find(object);
    if (!known) fault(call, ": no such buffer");
    return known;
}

static size_t bytes(const buffer &b)
{
    return static_cast<size_t>(b.frames * b.channels) * sizeof(float);
}

/// Outside a lock the samples must not be touched; the address sanitizer, where built in, sees to
/// it.
static void close_samples(const buffer &b) { ASAN_POISON_MEMORY_REGION(b.samples.get(), bytes(b)); }
static void open_samples(const buffer &b)
{
    ASAN_UNPOISON_MEMORY_REGION(b.samples.get(), bytes(b));
}

static void check_unlocked(const buffer &b)
{
    if (b.locks) fault("buffer ", b.name->s_name, " is still locked");
}

void check_locks() { known_buffers.each(check_unlocked); }

/// While it lives, the buffer cannot be locked, and who had locked it has let go of it: at the end
/// of the block in progress at the latest.
struct shut {
    explicit shut(buffer &which) : b(which)
    {
        b.changing = true;
        if (b.locks) {
            const between_blocks over; // else a block may try the lock as this looks
            check_unlocked(b);
        }
        open_samples(b);
    }
    ~shut() { b.changing = false; }
    shut(const shut &) = delete;

    buffer &b;
};

/// The notice under way, and the references that have processed it.
static struct notice {
    t_symbol *name, *message;
    buffer *sender;
    std::vector<t_buffer_ref *> told;
} current;

static int notice_data; // what a notice carries besides

/// Tells every owner of references to that name, once, and sees that it hands the notice on.
void notify(t_symbol *name, const char *message, buffer *sender)
{
    using handler = t_max_err(t_object *, t_symbol *, t_symbol *, void *, void *);
    const in_context main(context::main);
    std::vector<t_buffer_ref *> concerned;
    std::vector<instance *> owners;
    for (const auto &ref : now.references)
        if (ref->name == name) {
            concerned.push_back(ref.get());
            if (!std::count(owners.begin(), owners.end(), ref->owner)) owners.push_back(ref->owner);
        }
    current = {name, gensym(message), sender, {}};
    for (instance *owner : owners)
        if (const auto tell = method_of<handler>(*owner, "notify"))
            tell(owner->memory, name, current.message, &sender->object, &notice_data);
    for (t_buffer_ref *ref : concerned) {
        if (!std::count(current.told.begin(), current.told.end(), ref))
            fault("a notice was not forwarded to its buffer reference");
        ref->bound = find_buffer(ref->name);
    }
    current = {};
}

void set_buffer(const std::string &name, long channels, double sample_rate,
                const std::vector<float> &samples)
{
    if (channels < 1 || samples.size() % static_cast<size_t>(channels))
        throw error("buffer " + name + ": the samples are not whole frames");
    auto &slot = now.buffers[name];
    const bool fresh = !slot;
    if (fresh) {
        slot = std::make_unique<buffer>();
        slot->name = gensym(name.c_str());
        known_buffers.add(&slot->object, slot.get());
    }
    buffer &b = *slot;
    {
        const shut meanwhile(b);
        b.samples.reset(new float[samples.size()]);
        std::copy(samples.begin(), samples.end(), b.samples.get());
        b.channels = channels;
        b.frames = static_cast<t_atom_long>(samples.size()) / channels;
        b.sample_rate = sample_rate;
        close_samples(b);
    }
    notify(b.name, fresh ? "globalsymbol_binding" : "buffer_modified", &b);
}

void delete_buffer(const std::string &name)
{
    const auto found = now.buffers.find(name);
    if (found == now.buffers.end()) throw error("no buffer " + name);
    const auto going = std::move(found->second);
    now.buffers.erase(found);
    const shut for_ever(*going);
    notify(going->name, "globalsymbol_unbinding", going.get());
    const between_blocks over; // a routine may have been handed it before the notice
    known_buffers.remove(&going->object);
}

void refuse_locks(const std::string &name, bool yes)
{
    const auto found = now.buffers.find(name);
    if (found == now.buffers.end()) throw error("no buffer " + name);
    found->second->refuses_locks = yes;
}

std::vector<std::string> unresolved()
{
    std::set<std::string> names;
    for (const auto &ref : now.references)
        if (ref->name && !ref->bound) names.insert(ref->name->s_name);
    return {names.begin(), names.end()};
}

int views(const std::string &name) { return now.views[name]; }

/// The reference behind a handle, or null, which is a fault of the call named.
static t_buffer_ref *checked(const t_buffer_ref *ref, const char *call)
{
    t_buffer_ref *known = known_references.find(ref);
    if (!known) fault(call, ": no such buffer reference");
    return known;
}

} // namespace host

t_buffer_ref *buffer_ref_new(t_object *self, t_symbol *name)
{
    host::main_only("buffer_ref_new");
    const host::own_heap_use own;
    host::instance *owner = host::find(self, "buffer_ref_new");
    if (!owner) return nullptr;
    const auto ref = new t_buffer_ref{owner, name, host::find_buffer(name)};
    host::known_references.add(ref, ref);
    return host::now.references.emplace_back(ref).get();
}

void buffer_ref_set(t_buffer_ref *ref, t_symbol *name)
{
    host::main_only("buffer_ref_set");
    t_buffer_ref *known = host::checked(ref, "buffer_ref_set");
    if (!known) return;
    known->name = name;
    known->bound = host::find_buffer(name);
}

t_buffer_obj *buffer_ref_getobject(t_buffer_ref *ref)
{
    const t_buffer_ref *known = host::checked(ref, "buffer_ref_getobject");
    host::buffer *bound = known ? known->bound.load(std::memory_order_acquire) : nullptr;
    return bound ? &bound->object : nullptr;
}

t_max_err buffer_ref_notify(t_buffer_ref *ref, t_symbol *s, t_symbol *msg, void *sender, void *data)
{
    host::main_only("buffer_ref_notify");
    t_buffer_ref *known = host::checked(ref, "buffer_ref_notify");
    if (!known || !s || !msg) return MAX_ERR_INVALID_PTR;
    const host::notice &sent = host::current;
    if (!sent.sender) return MAX_ERR_NONE; // no notice of the host's
    if (s != sent.name || msg != sent.message || sender != &sent.sender->object ||
        data != &host::notice_data) {
        host::fault("buffer_ref_notify: not the notice that was sent");
        return MAX_ERR_GENERIC;
    }
    if (known->name != s) return MAX_ERR_NONE; // another buffer's notice
    host::current.told.push_back(known);
    known->bound = host::find_buffer(s);
    return MAX_ERR_NONE;
}

void buffer_view(t_buffer_obj *object)
{
    host::main_only("buffer_view");
    if (!object) return;
    if (host::buffer *b = host::checked(object, "buffer_view")) ++host::now.views[b->name->s_name];
}

float *buffer_locksamples(t_buffer_obj *object)
{
    if (!object) return nullptr;
    host::buffer *b = host::checked(object, "buffer_locksamples");
    if (!b || b->refuses_locks) return nullptr;
    const bool first = b->locks++ == 0;
    if (b->changing) {
        --b->locks;
        return nullptr;
    }
    if (first) host::open_samples(*b);
    return b->samples.get();
}

void buffer_unlocksamples(t_buffer_obj *object)
{
    host::buffer *b = host::checked(object, "buffer_unlocksamples");
    if (!b) return;
    if (b->locks == 0) return host::fault("buffer_unlocksamples: the buffer is not locked");
    if (b->locks == 1) host::close_samples(*b);
    --b->locks;
}

t_atom_long buffer_getframecount(t_buffer_obj *object)
{
    const host::buffer *b = host::checked(object, "buffer_getframecount");
    return b ? b->frames.load(std::memory_order_relaxed) : 0;
}

t_atom_long buffer_getchannelcount(t_buffer_obj *object)
{
    const host::buffer *b = host::checked(object, "buffer_getchannelcount");
    return b ? b->channels.load(std::memory_order_relaxed) : 0;
}

t_atom_float buffer_getsamplerate(t_buffer_obj *object)
{
    const host::buffer *b = host::checked(object, "buffer_getsamplerate");
    return b ? b->sample_rate.load(std::memory_order_relaxed) : 0;
}
