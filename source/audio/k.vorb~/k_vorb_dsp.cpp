// Audio start, and one block of audio: phasor, silence, fogs.
#include "k_vorb.h"

#include <algorithm>
#include <iterator>

void vorb_clear(double *vector, std::int64_t count) { std::fill_n(vector, count, 0.0); }

// [audio] Inlets and outlets may share memory: the phasor has read its inlets before any is
// cleared.
template <int channels, void mix(inputs *, double **, std::int64_t)>
static void vorb_perform(t_object *object, t_object *, double **ins, long, double **outs, long,
                         long n, long, void *)
{
    vorb *x = reinterpret_cast<vorb *>(object);
    inputs &in = x->inputs;
    const bool debug = x->debug;
    if (debug) {
        object_post(vorb_object(x), "ctl->inputs.sig_f0=%d", int(in.sig_f0));
        object_post(vorb_object(x), "ctl->inputs.sig_offset=%d", int(in.sig_offset));
    }
    if (in.sig_f0) vorb_run_phasor(x, ins[0], ins[1], n);
    for (int k = 0; k < channels; ++k) vorb_clear(outs[k], n);
    mix(&in, outs, n);
    if (debug) x->debug = 0;
}

constexpr t_perfroutine64 vorb_dsp_perform1 = vorb_perform<1, vorb_run_all1>;
constexpr t_perfroutine64 vorb_dsp_perform2 = vorb_perform<2, vorb_run_all2>;
constexpr t_perfroutine64 vorb_dsp_perform4 = vorb_perform<4, vorb_run_all4>;
constexpr t_perfroutine64 vorb_dsp_perform6 = vorb_perform<6, vorb_run_all6>;
constexpr t_perfroutine64 vorb_dsp_perform10 = vorb_perform<10, vorb_run_all10>;

static const vorb_layout layouts[] = {{1, 1, vorb_dsp_perform1},
                                      {2, 2, vorb_dsp_perform2},
                                      {4, 2, vorb_dsp_perform4},
                                      {6, 4, vorb_dsp_perform6},
                                      {10, 8, vorb_dsp_perform10}};

const vorb_layout *vorb_find_layout(std::int64_t channels)
{
    const auto found = std::find_if(std::begin(layouts), std::end(layouts),
                                    [=](const vorb_layout &l) { return l.channels == channels; });
    return found == std::end(layouts) ? nullptr : found;
}

void vorb_dsp64(vorb *x, t_object *dsp64, short *count, double samplerate, long maxvectorsize, long)
{
    inputs &in = x->inputs;
    in.sig_f0 = count[0] > 0;
    in.sig_offset = count[1] > 0;
    if (const vorb_layout *layout = vorb_find_layout(in.channels))
        object_method_imp(dsp64, gensym("dsp_add64"), x, (void *)layout->perform, nullptr, nullptr,
                          nullptr, nullptr, nullptr, nullptr);
    else object_error(vorb_object(x), "%s: illegal internal channel count", s_vorb_name);
    if (maxvectorsize > 64)
        object_error(vorb_object(x),
                     "%s: signal vector size = %ld (required to be smaller or equal to 64)",
                     s_vorb_name, maxvectorsize);
    // The derived onset values stay those of the old rate until a parameter changes, and sounding
    // fogs keep theirs: deliberate.
    in.vs = double(maxvectorsize);
    in.sr = samplerate;
    in.nyquist = 0.5 * in.sr;
    in.sp = 1 / in.sr;
    in.pi_sp = in.pi * in.sp;
    in.vs_ms = in.vs * in.sp * 1000;
    in.vs8 = 8 * in.vs;
    in.vs_inv = 1 / in.vs;
    in.latency_ms = (2 * in.vs + 12) * in.sp * 1000;
    vorb_size_scratch(in.vs);
}
