// The object in Pd's signal chain: what is plugged in, and one block.
#include "pd_object.h"

#include "g_canvas.h"

/// Whether a signal cord leads to an inlet: Pd does not tell, and fills the others with a constant.
/// The cords of the patch are all there is to ask.
static bool is_plugged(k_vorb_pd *x, int inlet)
{
    for (t_gobj *g = x->patch->gl_list; g; g = g->g_next) {
        t_object *from = pd_checkobject(&g->g_pd);
        for (int k = 0; from && k < obj_noutlets(from); ++k) {
            if (!obj_issignaloutlet(from, k)) continue;
            t_outlet *outlet;
            for (t_outconnect *cord = obj_starttraverseoutlet(from, &outlet, k); cord;) {
                t_object *to;
                t_inlet *in;
                int number;
                cord = obj_nexttraverseoutlet(cord, &to, &in, &number);
                if (to == &x->object && number == inlet) return true;
            }
        }
    }
    return false;
}

static t_int *perform(t_int *w)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): so Pd hands it over
    const auto x = reinterpret_cast<k_vorb_pd *>(w[1]);
    k_vorb_poll_offset(x);
    vorb_pd::run(x->instance, x->ins, x->outs, x->frames);
    return w + 2;
}

void k_vorb_dsp(k_vorb_pd *x, t_signal **signals)
{
    const int outs = vorb_pd::signal_outlets(x->instance);
    for (int k = 0; k < 2; ++k) x->ins[k] = is_plugged(x, k) ? signals[k]->s_vec : nullptr;
    for (int k = 0; k < outs; ++k) x->outs[k] = signals[2 + k]->s_vec;
    x->frames = signals[0]->s_n;
    vorb_pd::start(x->instance, x->ins[0], x->ins[1], double(signals[0]->s_sr), x->frames);
    dsp_add(perform, 1, x);
}
