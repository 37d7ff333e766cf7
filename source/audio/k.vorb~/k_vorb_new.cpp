// Birth and death of an instance, and what its creation arguments set.
#include "k_vorb.h"

#include <cmath>

void vorb_init(inputs *in)
{
    in->table = nullptr;
    in->offset = 0;
    in->trans = 1;
    in->bw = 0;
    for (auto &amp : in->amps) amp = 0;
    in->tex = in->debatt = in->atten = 0;
    in->gain = 1;
    in->autoenv = in->autoenv_max = 0;
    in->changed = 1;
    in->vs = double(k_get_vs());
    in->sr = k_get_srate();
    in->nyquist = 0.5 * in->sr;
    in->sp = 1 / in->sr;
    in->pi = 4 * std::atan(1.0);
    in->twopi = 2 * in->pi;
    in->pi_sp = in->pi * in->sp;
    in->latency_ms = (12 + 2 * in->vs) * (1000 * in->sp);
    in->vs_ms = in->vs / in->sr * 1000;
    in->phase = 0;
}

static std::int64_t vorb_read_layout(vorb *x, long argc, t_atom *argv)
{
    if (argc < 1) return 1;
    const std::int64_t channels = k_trunc(double(vorb_get_value(x, &argv[0])));
    if (vorb_find_layout(channels)) return channels;
    object_error(vorb_object(x), "%s: illegal channel count (%lld), set to 1", s_vorb_name,
                 (long long)channels);
    return 1;
}

void vorb_initialize(vorb *x, long argc, t_atom *argv)
{
    x->bufref_list = nullptr;
    if (!k_sampfilt_tab) {
        // Not an error, but on the error channel all the same: deliberate.
        object_error(vorb_object(x), "%s: make samp tab", s_vorb_name);
        if (!k_make_sampfilt_tab())
            object_error(vorb_object(x), "%s: cannot make sample filter table", s_vorb_name);
    }
    vorb_init(&x->inputs);
    x->inputs.channels = vorb_read_layout(x, argc, argv);
    vorb_queue_set(x, argc > 1 && argv[1].a_type == A_SYM ? argv[1].a_w.w_sym : ps_sample1);
    vorb_bound_maxfogs(x, argc > 2 ? k_trunc(double(vorb_get_value(x, &argv[2]))) : 5);

    // Each further argument arrives like a number at its inlet, range check included.
    static const double fallbacks[] = {0, 1, 0, 1, 0, /* `all` */ 0, 0, 1};
    for (int inlet = 1; inlet < vorb_signal_inlets; ++inlet) {
        const int k = inlet + 2; // its argument: after layout, table and maxfogs
        const bool given = argc > k;
        if (inlet == debatt_inlet &&
            (!given || (argv[k].a_type == A_SYM && argv[k].a_w.w_sym == ps_all))) {
            vorb_follow_sample(&x->inputs);
            continue;
        }
        const double value = given ? double(vorb_get_value(x, &argv[k])) : fallbacks[inlet - 1];
        x->forced_inlet = inlet;
        vorb_float(x, value);
    }
}

void *vorb_new(t_symbol *, long argc, t_atom *argv)
{
    const auto x = static_cast<vorb *>(object_alloc(k_vorb_class)); // filled with zeros
    if (!x) {
        object_post(nullptr, "vorb_new: object_alloc failed");
        return nullptr;
    }
    x->forced_inlet = 0;
    z_dsp_setup(&x->header, vorb_signal_inlets);
    vorb_initialize(x, argc, argv);
    // Outlets stand from right to left in the order of their making.
    x->intout = static_cast<t_outlet *>(intout(x));
    for (std::int64_t k = 0; k < x->inputs.channels; ++k) outlet_new(x, "signal");
    return x;
}

void vorb_free(vorb *x)
{
    vorb_bufref_freeall(x);
    z_dsp_free(&x->header);
}
