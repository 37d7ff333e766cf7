// Blocks of audio: Pd's floats become the object's doubles, slice by slice, and floats again.
#include "host_denormal.h"
#include "host_state.h"
#include "pd_bridge.h"

#include <algorithm>
#include <iterator>

namespace host {

/// The object is made for vectors of this size; Pd's larger blocks are played in slices.
constexpr int longest = 64;
constexpr size_t most_inlets = 9, most_outlets = 10;

static t_object chain_object; // what dsp64 methods call "dsp_add64" on
static instance *compiling = nullptr;

/// One slice of every inlet and outlet, of whichever instance is at work.
static double inlets_now[most_inlets][longest], outlets_now[most_outlets][longest];

/// All slices of a block are of one size.
static int slice_of(int frames)
{
    int slice = std::min(frames, longest);
    while (frames % slice) --slice;
    return slice;
}

void leave_chain(instance &) {} // Pd has taken it out by then

} // namespace host

void vorb_pd::start(instance *x, bool f0, bool offset, double rate, int frames)
{
    using handler = void(t_object *, t_object *, short *, double, long, long);
    refresh(x);
    short counts[host::most_inlets + host::most_outlets] = {f0, offset};
    const size_t ins = static_cast<size_t>(x->signal_inlets);
    const size_t outs = static_cast<size_t>(signal_outlets(x));
    std::fill_n(counts + ins, outs, short{1});
    x->chain.clear();
    x->own_vector = host::slice_of(frames);
    host::compiling = x;
    host::method_of<handler>(*x, "dsp64")(x->memory, &host::chain_object, counts, rate,
                                          x->own_vector, 0);
    host::compiling = nullptr;
    x->ins.clear();
    x->outs.clear();
    for (size_t k = 0; k < ins; ++k) x->ins.push_back(host::inlets_now[k]);
    for (size_t k = 0; k < outs; ++k) x->outs.push_back(host::outlets_now[k]);
}

void vorb_pd::run(instance *x, const float *const ins[2], float *const *outs, int frames)
{
    const host::flush_denormals as_audio_threads_do;
    const host::in_context audio(host::context::audio);
    const long slice = x->own_vector;
    host::set_time(pd::time_ms());
    for (long from = 0; from < frames; from += slice) {
        for (int k = 0; k < 2; ++k)
            if (ins[k]) std::copy_n(ins[k] + from, slice, host::inlets_now[k]);
            else std::fill_n(host::inlets_now[k], slice, 0.0);
        for (const host::performer &p : x->chain)
            p.routine(x->memory, &host::chain_object, x->ins.data(), long(x->ins.size()),
                      x->outs.data(), long(x->outs.size()), slice, p.flags, p.userparam);
        for (size_t k = 0; k < x->outs.size(); ++k)
            std::transform(x->outs[k], x->outs[k] + slice, outs[k] + from,
                           [](double v) { return float(v); });
    }
}

void z_dsp_setup(t_pxobject *header, long nsignals)
{
    host::instance *x = host::find(header, "z_dsp_setup");
    if (!x) return;
    x->signal_inlets = std::min(nsignals, long(host::most_inlets));
    x->has_signals = true;
}

void z_dsp_free(t_pxobject *header)
{
    host::instance *x = host::find(header, "z_dsp_free");
    if (!x) return;
    x->signal_inlets = 0;
    x->has_signals = false;
    x->chain.clear();
}

void *object_method_imp(void *x, void *, void *, void *p2, void *p3, void *p4, void *, void *,
                        void *, void *)
{
    if (x == &host::chain_object && host::compiling) // "dsp_add64", the one method that it has
        host::compiling->chain.push_back({reinterpret_cast<t_perfroutine64>(p2),
                                          static_cast<long>(reinterpret_cast<intptr_t>(p3)), p4});
    return nullptr;
}

int sys_getblksize(void) { return host::slice_of(pd::block_size()); }
float sys_getsr(void) { return float(pd::sample_rate()); }
