// The signal chain: who plugs in where, when it is rebuilt, and one block through it.
#include "host_state.h"

#include <algorithm>
#include <limits>

namespace host {

static t_object chain_object; // what dsp64 methods call "dsp_add64" on
static instance *compiling = nullptr;
static signal silence(max_frames); // what unconnected inlets hear

static void check_audio(double sample_rate, long vector_size)
{
    if (!(sample_rate > 0) || vector_size < 1 || vector_size > max_frames)
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
    if (sample_rate || vector_size) check_audio(sample_rate, vector_size);
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
    instance &i = get(x);
    i.cords[signal_inlet(i, inlet)] = cords;
    now.chain_stale = true;
}

static long vector_size(const instance &x) { return x.own_vector ? x.own_vector : now.vector_size; }

/// Calls the instance's dsp64 method, which adds its perform routine, and lays out its vectors.
static void compile(instance &x)
{
    using handler = void(t_object *, t_object *, short *, double, long, long);
    x.chain.clear();
    if (!x.has_signals) return;
    const auto dsp64 = method_of<handler>(x, "dsp64");
    if (!dsp64) return;
    const size_t ins = static_cast<size_t>(x.signal_inlets);
    const size_t outs = static_cast<size_t>(signal_outlets(x.memory));
    std::vector<short> counts(ins + outs, 1);
    std::copy(x.cords.begin(), x.cords.end(), counts.begin());
    x.wires.assign(ins + outs, signal(max_frames + 1)); // one for the guard
    compiling = &x;
    dsp64(x.memory, &chain_object, counts.data(), x.own_rate > 0 ? x.own_rate : now.sample_rate,
          vector_size(x), 0);
    compiling = nullptr;
}

void start_audio()
{
    const in_context main(context::main);
    for (const auto &x : now.instances) compile(*x);
    now.audio_on = true;
    now.chain_stale = false;
}

void stop_audio()
{
    now.audio_on = false;
    now.chain_stale = true;
}

/// The vector of signal outlet k: that of inlet k where there is one, as a host is free to choose.
static size_t outlet_wire(const instance &x, size_t k)
{
    const size_t ins = static_cast<size_t>(x.signal_inlets);
    return k < ins && !(x.header()->z_misc & Z_NO_INPLACE) ? k : ins + k;
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
    if (i.wires.empty()) throw error("audio was not started yet");
    return i.wires[outlet_wire(i, static_cast<size_t>(outlet))].data();
}

/// What stands behind the last frame of a vector, to see whether it is still there after the block.
static constexpr double guard = 0x1.badc0dep+100;

static void check_block(instance &x, long frames)
{
    const size_t end = static_cast<size_t>(frames);
    for (const signal &wire : x.wires)
        if (wire[end] != guard) fault("a perform routine wrote beyond its vector");
    const auto first = silence.begin(), last = first + frames;
    if (std::any_of(first, last, [](double v) { return v != 0; })) {
        fault("a perform routine wrote to an unconnected inlet");
        std::fill(first, last, 0.0);
    }
    check_locks();
}

static void perform(instance &x, long frames)
{
    const size_t ins = static_cast<size_t>(x.signal_inlets), outs = x.wires.size() - ins;
    std::vector<double *> in(ins), out(outs);
    for (signal &wire : x.wires) wire[static_cast<size_t>(frames)] = guard;
    for (size_t k = 0; k < outs; ++k) {
        out[k] = x.wires[outlet_wire(x, k)].data();
        std::fill_n(out[k], frames, std::numeric_limits<double>::quiet_NaN());
    }
    for (size_t k = 0; k < ins; ++k) {
        in[k] = x.cords[k] ? x.wires[k].data() : silence.data();
        if (x.cords[k]) std::copy_n(x.sources[k].begin(), frames, in[k]);
    }
    for (const performer &p : x.chain) {
        const in_context audio(context::audio);
        p.routine(x.memory, &chain_object, in.data(), static_cast<long>(ins), out.data(),
                  static_cast<long>(outs), frames, p.flags, p.userparam);
    }
    check_block(x, frames);
}

void run(long frames)
{
    if (frames < 0 || frames > max_frames) throw error("a block has at most 8192 frames");
    if (!now.audio_on || now.chain_stale) start_audio();
    for (const auto &x : now.instances)
        if (!x->chain.empty()) perform(*x, frames ? frames : vector_size(*x));
}

} // namespace host

void z_dsp_setup(t_pxobject *header, long nsignals)
{
    host::main_only("z_dsp_setup");
    const host::own_heap_use own;
    host::instance *x = host::find(header, "z_dsp_setup");
    if (!x) return;
    if (!x->type->signal) host::fault("z_dsp_setup: the class was not given to class_dspinit");
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
    host::compiling->chain.push_back({reinterpret_cast<t_perfroutine64>(p2),
                                      static_cast<long>(reinterpret_cast<intptr_t>(p3)), p4});
    return nullptr;
}

int sys_getblksize(void) { return static_cast<int>(host::now.vector_size); }
float sys_getsr(void) { return static_cast<float>(host::now.sample_rate); }
