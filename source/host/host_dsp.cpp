// The signal chain: who plugs in where, when it is rebuilt, and one block through it.
#include "host_denormal.h"
#include "host_state.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace host {

static t_object chain_object; // what dsp64 methods call "dsp_add64" on
static instance *compiling = nullptr;
static signal silence(max_frames + 1); // what unconnected inlets hear

static void check_audio(double sample_rate, long vector_size)
{
    if (!(sample_rate > 0 && sample_rate <= 1e9) || vector_size < 1 || vector_size > max_frames)
        throw error("sample rate or vector size out of range");
}

void set_audio(double sample_rate, long vector_size)
{
    check_audio(sample_rate, vector_size);
    now.sample_rate = sample_rate;
    now.vector_size = vector_size;
    now.chain_stale = true;
}

void set_audio(t_object *x, double sample_rate, long vector_size)
{
    if (sample_rate != 0 || vector_size) check_audio(sample_rate, vector_size);
    get(x).own_rate = sample_rate;
    get(x).own_vector = vector_size;
    now.chain_stale = true;
}

static size_t signal_inlet(const instance &x, int inlet)
{
    if (inlet < 0 || inlet >= x.signal_inlets)
        throw error("no signal inlet " + std::to_string(inlet));
    return static_cast<size_t>(inlet);
}

void connect(t_object *x, int inlet, int cords)
{
    if (cords < 0 || cords > 1000) throw error("no such number of cords");
    instance &i = get(x);
    i.cords[signal_inlet(i, inlet)] = cords;
    now.chain_stale = true;
}

static long vector_size(const instance &x) { return x.own_vector ? x.own_vector : now.vector_size; }

void leave_chain(instance &x)
{
    const between_blocks quiet;
    auto &all = now.playing;
    all.erase(std::remove(all.begin(), all.end(), &x), all.end());
}

/// The vector of signal outlet k: that of inlet k where there is one, as a host is free to choose.
static size_t outlet_wire(const instance &x, size_t k)
{
    const size_t ins = static_cast<size_t>(x.signal_inlets);
    return k < ins && !(x.header()->z_misc & Z_NO_INPLACE) ? k : ins + k;
}

static void lay_wires(instance &x, size_t ins, size_t outs)
{
    if (x.wires.size() != ins + outs) x.wires.assign(ins + outs, signal(max_frames + 1)); // guard
    x.ins.resize(ins);
    x.outs.resize(outs);
    for (size_t k = 0; k < ins; ++k) x.ins[k] = x.cords[k] ? x.wires[k].data() : silence.data();
    for (size_t k = 0; k < outs; ++k) x.outs[k] = x.wires[outlet_wire(x, k)].data();
}

/// Calls the instance's dsp64 method, which adds its perform routine, and lays out its vectors,
/// while the others play on.
static void compile(instance &x)
{
    using handler = void(t_object *, t_object *, short *, double, long, long);
    leave_chain(x);
    x.chain.clear();
    if (!x.has_signals) return;
    const auto dsp64 = method_of<handler>(x, "dsp64");
    if (!dsp64) return;
    const size_t ins = static_cast<size_t>(x.signal_inlets);
    const size_t outs = static_cast<size_t>(signal_outlets(x.memory));
    std::vector<short> counts(ins + outs, 1);
    for (size_t k = 0; k < ins; ++k) counts[k] = static_cast<short>(x.cords[k]);
    compiling = &x;
    dsp64(x.memory, &chain_object, counts.data(), x.own_rate > 0 ? x.own_rate : now.sample_rate,
          vector_size(x), 0);
    compiling = nullptr;
    const between_blocks quiet;
    lay_wires(x, ins, outs);
    x.frames = vector_size(x);
    if (!x.chain.empty()) now.playing.push_back(&x);
}

void start_audio()
{
    const in_context main(context::main);
    for (const auto &x : now.instances) compile(*x);
    now.chain_stale = false;
}

void stop_audio()
{
    const between_blocks quiet;
    now.playing.clear();
    now.chain_stale = true;
}

double *input(t_object *x, int inlet)
{
    instance &i = get(x);
    return i.sources[signal_inlet(i, inlet)].data();
}

const double *output(const t_object *x, int outlet)
{
    const instance &i = get(x);
    if (outlet < 0 || outlet >= signal_outlets(x))
        throw error("no signal outlet " + std::to_string(outlet));
    if (static_cast<size_t>(signal_outlets(x)) != i.outs.size())
        throw error("audio was not started since the outlets were made");
    return i.outs[static_cast<size_t>(outlet)];
}

/// What stands behind the last frame of a vector, to see whether it is still there after the block.
static constexpr double guard = 0x1.badc0dep+100;

static bool is_fed(const instance &x, size_t inlet) { return x.ins[inlet] != silence.data(); }

/// Feeds the inlets, and fills the outlets that no inlet shares with garbage.
static void prepare_block(instance &x, size_t frames)
{
    for (signal &wire : x.wires) wire[frames] = guard;
    silence[frames] = guard;
    for (double *out : x.outs) std::fill_n(out, frames, std::numeric_limits<double>::quiet_NaN());
    for (size_t k = 0; k < x.ins.size(); ++k)
        if (is_fed(x, k)) std::copy_n(x.sources[k].begin(), frames, x.ins[k]);
}

static bool is_outlet(const instance &x, const double *wire)
{
    return std::find(x.outs.begin(), x.outs.end(), wire) != x.outs.end();
}

static void check_block(const instance &x, size_t frames)
{
    for (const signal &wire : x.wires)
        if (wire[frames] != guard) fault("a perform routine wrote beyond its vector");
    const bool silent = std::all_of(silence.begin(), silence.begin() + static_cast<long>(frames),
                                    [](double v) { return v == 0; });
    if (!silent || silence[frames] != guard) {
        fault("a perform routine wrote to an unconnected inlet");
        std::fill(silence.begin(), silence.end(), 0.0);
    }
    silence[frames] = 0;
    for (size_t k = 0; k < x.ins.size(); ++k)
        if (is_fed(x, k) && !is_outlet(x, x.ins[k]) &&
            std::memcmp(x.ins[k], x.sources[k].data(), frames * sizeof(double)) != 0)
            fault("a perform routine wrote to an inlet");
    check_locks();
}

static void perform_one(instance &x, long frames)
{
    prepare_block(x, static_cast<size_t>(frames));
    for (const performer &p : x.chain) {
        const in_context audio(context::audio);
        p.routine(x.memory, &chain_object, x.ins.data(), static_cast<long>(x.ins.size()),
                  x.outs.data(), static_cast<long>(x.outs.size()), frames, p.flags, p.userparam);
    }
    check_block(x, static_cast<size_t>(frames));
}

void perform(long frames)
{
    if (frames < 0 || frames > max_frames) throw error("a block has at most 8192 frames");
    const flush_denormals as_audio_threads_do;
    const between_blocks turn;
    for (instance *x : now.playing) perform_one(*x, frames ? frames : x->frames);
}

void run(long frames)
{
    if (now.chain_stale) start_audio();
    perform(frames);
}

} // namespace host

void z_dsp_setup(t_pxobject *header, long nsignals)
{
    host::main_only("z_dsp_setup");
    const host::own_heap_use own;
    host::instance *x = host::find(header, "z_dsp_setup");
    if (!x) return;
    if (!x->type->signal || x->has_signals || nsignals < 0)
        return host::fault(
            "z_dsp_setup: not a signal class, or set up already, or a negative count");
    x->signal_inlets = nsignals;
    x->has_signals = true;
    const size_t count = static_cast<size_t>(nsignals);
    x->cords.assign(count, 0);
    x->sources.assign(count, host::signal(host::max_frames));
}

void z_dsp_free(t_pxobject *header)
{
    host::main_only("z_dsp_free");
    host::instance *x = host::find(header, "z_dsp_free");
    if (!x) return;
    if (!x->has_signals) host::fault("z_dsp_free: never set up, or freed twice");
    host::leave_chain(*x);
    x->signal_inlets = 0;
    x->has_signals = false;
    x->chain.clear();
}

void *object_method_imp(void *x, void *sym, void *p1, void *p2, void *p3, void *p4, void *, void *,
                        void *, void *)
{
    host::main_only("object_method_imp");
    if (x != &host::chain_object || sym != gensym("dsp_add64") || !host::compiling ||
        p1 != host::compiling->memory) {
        host::fault("object_method_imp: only dsp_add64 of oneself, within dsp64, is known here");
        return nullptr;
    }
    if (!p2) {
        host::fault("dsp_add64: no perform routine");
        return nullptr;
    }
    host::compiling->chain.push_back({reinterpret_cast<t_perfroutine64>(p2),
                                      static_cast<long>(reinterpret_cast<intptr_t>(p3)), p4});
    return nullptr;
}

int sys_getblksize(void) { return static_cast<int>(host::now.vector_size); }
float sys_getsr(void) { return static_cast<float>(host::now.sample_rate); }
