// What the host's own files share: the session's records, the running context and the rules.
#pragma once

#include "ext_buffer.h"
#include "ext_obex.h"
#include "host.h"
#include "host_shared.h"
#include "z_dsp.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace host {

struct instance;
struct buffer;

/// What a message is bound to.
struct binding {
    method handler;
    std::vector<int> types; // type codes without the closing 0
};

} // namespace host

struct t_class {
    std::string name;
    method make, free;
    size_t size;
    std::map<std::string, host::binding, std::less<>> methods;
    bool signal = false;
    bool registered = false;
    bool from_file = false;
};

struct t_outlet {
    host::instance *owner;
    std::string type;
};

namespace host {

constexpr long max_frames = 8192; // room of every signal vector

using signal = std::vector<double>;

/// The thread a call stands for. One real thread may play all three in turn.
enum class context { main, scheduler, audio };

struct performer {
    t_perfroutine64 routine;
    long flags;
    void *userparam;
};

/// A queued call: what defer() was given, its atoms copied.
struct deferred {
    t_object *object;
    method fn;
    t_symbol *symbol;
    bool has_atoms;
    short count;
    atoms args;
};

/// An object of the session and the host's side of it.
struct instance {
    t_class *type = nullptr;
    t_object *memory = nullptr; // what the external sees
    long signal_inlets = 0;
    bool has_signals = false;          // between z_dsp_setup and z_dsp_free
    std::deque<t_outlet> outlets_made; // in order of creation: from the right
    double own_rate = 0;               // 0: the session's
    long own_vector = 0;
    std::vector<int> cords;      // per inlet
    std::vector<signal> sources; // what the user feeds each inlet

    // As of the last chain; audio reads it.
    long frames = 0;
    std::vector<signal> wires; // what the perform routine sees: inlets, outlets
    std::vector<double *> ins, outs;
    std::vector<performer> chain;

    t_pxobject *header() const { return reinterpret_cast<t_pxobject *>(memory); }
};

/// A buffer~: its object is what externals are handed. The main thread alone changes it.
struct buffer {
    t_object object{};
    t_symbol *name = nullptr;
    std::atomic<t_atom_long> channels{1};
    std::atomic<double> sample_rate{44100};
    std::unique_ptr<float[]> samples; // no more room than frames, so that sanitizers see its end
    std::atomic<t_atom_long> frames{0};
    std::atomic<int> locks{0};
    std::atomic<bool> changing{false}, refuses_locks{false}; // either: nobody can lock it
};

} // namespace host

struct t_buffer_ref {
    host::instance *owner;
    t_symbol *name;
    std::atomic<host::buffer *> bound; // as the notices that the owner forwarded tell it
};

namespace host {

/// What only the main thread touches, but for `playing`.
struct session {
    std::vector<std::unique_ptr<instance>> instances; // in order of creation
    std::vector<std::unique_ptr<t_buffer_ref>> references;
    std::map<std::string, std::unique_ptr<buffer>, std::less<>> buffers;
    std::map<std::string, int, std::less<>> views; // by buffer name
    double sample_rate = 44100;
    long vector_size = 64;
    bool chain_stale = true;         // to be built before the next run()
    std::vector<instance *> playing; // in the chain; changed between blocks
};

extern session now;
extern journal<line> console;
extern journal<number> numbers;
extern journal<std::string> faults;
extern roll<instance> known_instances; // by their memory
extern roll<t_outlet> known_outlets;
extern roll<buffer> known_buffers; // by their object
extern roll<t_buffer_ref> known_references;
extern thread_local bool at_once; // the deferred calls of this thread's messages
extern thread_local context running;

/// Runs a piece of work in another context and returns to the former one.
struct in_context {
    explicit in_context(context c) : before(running) { running = c; }
    ~in_context() { running = before; }
    in_context(const in_context &) = delete;

    const context before;
};

/// While it lives, heap use inside a perform routine is the host's own and no fault.
struct own_heap_use {
    own_heap_use();
    ~own_heap_use();
    own_heap_use(const own_heap_use &) = delete;
};

/// The text is given in pieces, so that the caller needs no heap to put it together.
void fault(std::string_view text, std::string_view more = {}, std::string_view end = {});
/// The call named is a fault elsewhere.
bool main_only(const char *call);
void not_in_audio(const char *call);

extern bool loading; // what registers now comes from a file
extern bool linked_any;

/// The instance behind a pointer, or null, which is a fault of the call named.
instance *find(const void *x, const char *call);
/// The same without a fault, for the host's user: throws error.
instance &get(const t_object *x);

/// The method bound to a name, as a function of type F; null if there is none.
template <class F>
F *method_of(const instance &x, std::string_view name)
{
    const auto found = x.type->methods.find(name);
    return found == x.type->methods.end() ? nullptr : reinterpret_cast<F *>(found->second.handler);
}

enum class memory_kind { plain, instance };
void *allocate(size_t size, int fill, memory_kind kind); // counted, may be told to fail, null then
void release(void *memory, memory_kind kind, const char *call);
void release_everything();

t_class *find_class(std::string_view name);
bool is_registered(const t_class *c);
const binding *find_method(const instance &x, std::string_view selector); // one a patch may send
void load_class(const std::string &name);
void forget_classes(); // of unloaded files

void deliver(instance &x, int inlet, const char *selector, const atoms &args);
void deliver_number(instance &x, int inlet, double v); // a float, without the heap
void leave_chain(instance &x);                         // back with the next start of audio
void notify(t_symbol *name, const char *message, buffer *sender);
void stop_deferred(const t_object *x);
void check_locks();

} // namespace host
