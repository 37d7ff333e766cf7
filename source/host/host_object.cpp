// Instances: made from the text of a box, or its atoms, with their inlets and outlets.
#include "host_state.h"

#include <algorithm>
#include <cstring>

static constexpr t_ptr_int magic = 1758379419; // every object of the host carries it

namespace host {

instance *find(const void *x, const char *call)
{
    instance *found = known_instances.find(x);
    if (!found) fault(call, ": no such object");
    return found;
}

instance &get(const t_object *x)
{
    if (instance *found = known_instances.find(x)) return *found;
    throw error("no such object");
}

static bool creating = false; // a constructor is at work

/// Removes an instance and what the session keeps for it.
static void drop(instance &going)
{
    leave_chain(going);
    stop_deferred(going.memory);
    known_instances.remove(going.memory);
    for (const t_outlet &outlet : going.outlets_made) known_outlets.remove(&outlet);
    // References that the external keeps for ever end with their owner here.
    auto &references = now.references;
    const auto ends = [&](auto &ref) {
        if (ref->owner != &going) return false;
        known_references.remove(ref.get());
        return true;
    };
    references.erase(std::remove_if(references.begin(), references.end(), ends), references.end());
    release(going.memory, memory_kind::instance, "object_free");
    auto &all = now.instances;
    all.erase(std::find_if(all.begin(), all.end(), [&](auto &i) { return i.get() == &going; }));
    now.chain_stale = true;
}

/// Of the instances made since there were `before`, only the one that the constructor returned
/// stays.
static t_object *keep_only(t_object *x, size_t before)
{
    bool found = false;
    for (size_t i = now.instances.size(); i-- > before;)
        if (now.instances[i]->memory == x) {
            found = true;
        } else {
            fault("a constructor left half an instance behind");
            drop(*now.instances[i]);
        }
    if (x && !found) fault("a constructor returned what it had not made");
    return found ? x : nullptr;
}

t_object *create(std::string_view box)
{
    atoms words = parse(box);
    if (words.empty() || words[0].a_type != A_SYM) return create("", {});
    return create(words[0].a_w.w_sym->s_name, {words.begin() + 1, words.end()});
}

t_object *create(const std::string &name, atoms arguments)
{
    using constructor = t_object *(*)(t_symbol *, long, t_atom *);
    t_class *c = find_class(name);
    if (!c && !name.empty()) {
        load_class(name);
        c = find_class(name);
    }
    if (!c) {
        object_error(nullptr, "%s: No such object", name.c_str());
        return nullptr;
    }
    const in_context main(context::main);
    const size_t before = now.instances.size();
    creating = true;
    t_object *x = reinterpret_cast<constructor>(c->make)(
        gensym(name.c_str()), static_cast<long>(arguments.size()), arguments.data());
    creating = false;
    now.chain_stale = true;
    return keep_only(x, before);
}

void destroy(t_object *x)
{
    instance &going = get(x);
    const in_context main(context::main);
    leave_chain(going);
    if (going.type->free) reinterpret_cast<void (*)(t_object *)>(going.type->free)(x);
    if (going.has_signals) fault("the instance was freed without z_dsp_free");
    drop(going);
}

int inlets(const t_object *x) { return std::max(1, static_cast<int>(get(x).signal_inlets)); }

std::vector<std::string> outlets(const t_object *x)
{
    std::vector<std::string> types;
    for (const t_outlet &outlet : get(x).outlets_made) types.insert(types.begin(), outlet.type);
    return types;
}

int signal_outlets(const t_object *x)
{
    const auto &made = get(x).outlets_made;
    return static_cast<int>(
        std::count_if(made.begin(), made.end(), [](auto &o) { return o.type == "signal"; }));
}

std::string assist(t_object *x, long kind, long index)
{
    using handler = void(t_object *, void *, long, long, char *);
    const auto answer = method_of<handler>(get(x), "assist");
    if (!answer) return "";
    const in_context main(context::main);
    char text[4 * ASSIST_MAX_STRING_LEN] = "";
    answer(x, nullptr, kind, index, text);
    if (std::strlen(text) >= ASSIST_MAX_STRING_LEN) fault("assist: the text is too long");
    return text;
}

void double_click(t_object *x)
{
    const in_context main(context::main);
    if (const auto open = method_of<void(t_object *)>(get(x), "dblclick")) open(x);
}

/// Adds an outlet of the type named to an instance; null when that is a fault.
static t_outlet *add_outlet(void *x, const char *type, const char *call)
{
    main_only(call);
    const own_heap_use own;
    instance *owner = find(x, call);
    if (!owner) return nullptr;
    now.chain_stale = true;
    owner->outlets_made.push_back({owner, type});
    t_outlet &made = owner->outlets_made.back();
    known_outlets.add(&made, &made);
    return &made;
}

} // namespace host

void *object_alloc(t_class *c)
{
    if (!host::main_only("object_alloc")) return nullptr;
    if (!host::is_registered(c) || !host::creating) {
        host::fault("object_alloc: not a registered class, or not in a constructor");
        return nullptr;
    }
    void *memory = host::allocate(c->size, 0, host::memory_kind::instance);
    if (!memory) return nullptr;
    auto fresh = std::make_unique<host::instance>();
    fresh->type = c;
    fresh->memory = static_cast<t_object *>(memory);
    fresh->memory->o_magic = magic;
    host::known_instances.add(memory, fresh.get());
    host::now.instances.push_back(std::move(fresh));
    return memory;
}

void *intout(void *x) { return host::add_outlet(x, "int", "intout"); }

void *outlet_new(void *x, C74_CONST char *type) { return host::add_outlet(x, type, "outlet_new"); }

void *outlet_int(t_outlet *o, t_atom_long n)
{
    host::not_in_audio("outlet_int");
    const host::own_heap_use own;
    const t_outlet *known = host::known_outlets.find(o);
    if (!known || known->type != "int") {
        host::fault("outlet_int: no such integer outlet");
        return nullptr;
    }
    const auto &made = known->owner->outlets_made;
    const auto from_left =
        std::find_if(made.rbegin(), made.rend(), [=](auto &outlet) { return &outlet == known; }) -
        made.rbegin();
    host::numbers.add({host::time(), known->owner->memory, static_cast<int>(from_left), n});
    return reinterpret_cast<void *>(1);
}
