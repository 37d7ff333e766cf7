// The external's entry point: the class, its messages, its assistance texts.
#include "k_vorb_block.h"

#include <cstdio>

const char s_vorb_name[] = "k.vorb~";
t_class *k_vorb_class = nullptr;
t_symbol *ps_buffer, *ps_all, *ps_sample1, *ps_buffer_modified;

static void vorb_assist(vorb *x, void *, long kind, long index, char *text)
{
    static const char *const inlets[vorb_signal_inlets] = {
        "(various/signal) General Control / F0",
        "(number/signal) Offset in ms",
        "(number) Transposition Factor",
        "(number) Bandwidth in Hz",
        "(number) Linear Amplitude",
        "(number) Temps d'excitations in ms",
        "(number) Debut d'Attenuation in ms",
        "(number) Attenuation in ms",
        "(number) Lowpass Coefficient [0..1]",
    };
    if (index < 0) return;
    if (kind == ASSIST_INLET) {
        if (index < vorb_signal_inlets)
            std::snprintf(text, ASSIST_MAX_STRING_LEN, "%s", inlets[index]);
        return;
    }
    const vorb_layout *layout = vorb_find_layout(x->inputs.channels);
    if (kind != ASSIST_OUTLET || !layout) return;
    if (index < layout->outputs)
        std::snprintf(text, ASSIST_MAX_STRING_LEN, "(signal) Output %ld", index + 1);
    else if (index < layout->channels)
        std::snprintf(text, ASSIST_MAX_STRING_LEN, "(signal) Aux %ld",
                      index - long(layout->outputs) + 1);
    else if (index == layout->channels)
        std::snprintf(text, ASSIST_MAX_STRING_LEN, "(integer) Free or Used Fogs");
}

struct vorb_binding {
    const char *selector;
    method handler;
    int type1, type2;
};

extern "C" C74_EXPORT void ext_main(void *)
{
    static const vorb_binding bindings[] = {
        {"dsp64", (method)vorb_dsp64, A_CANT, 0},
        {"assist", (method)vorb_assist, A_CANT, 0},
        {"dblclick", (method)vorb_dblclick, A_CANT, 0},
        {"notify", (method)vorb_notify, A_CANT, 0},
        {"bang", (method)vorb_bang, 0, 0},
        {"reset", (method)vorb_reset, 0, 0},
        {"freefogs", (method)vorb_freefogs, 0, 0},
        {"usedfogs", (method)vorb_usedfogs, 0, 0},
        {"maxfogs", (method)vorb_maxfogs, A_LONG, 0},
        {"silent", (method)vorb_silent, A_LONG, 0},
        {"set", (method)vorb_set, A_SYM, 0},
        {"offset", (method)vorb_offset, A_GIMME, 0},
        {"transp", (method)vorb_transp, A_GIMME, 0},
        {"bw", (method)vorb_bw, A_GIMME, 0},
        {"amp", (method)vorb_amp, A_GIMME, 0},
        {"list", (method)vorb_amplist, A_GIMME, 0},
        {"tex", (method)vorb_tex, A_GIMME, 0},
        {"debatt", (method)vorb_debatt, A_GIMME, 0},
        {"atten", (method)vorb_atten, A_GIMME, 0},
        {"lp", (method)vorb_lp, A_GIMME, 0},
        {"env", (method)vorb_env, A_GIMME, 0},
        {"autoenv", (method)vorb_autoenv, A_GIMME, 0},
        {"f0phase", (method)vorb_f0phase, A_GIMME, 0},
        {"limit", (method)vorb_limit, A_LONG, A_LONG},
        {"test", (method)vorb_test, A_LONG, 0},
        {"int", (method)vorb_int, A_LONG, 0},
        {"float", (method)vorb_float, A_FLOAT, 0},
        {"list", (method)vorb_amplist, A_GIMME, 0}, // again: a host keeps either, with one effect
        {"gain", (method)vorb_gain, A_GIMME, 0},
        {"pan", (method)vorb_pan, A_GIMME, 0},
        {"pan8", (method)vorb_pan8, A_GIMME, 0},
        {"panb", (method)vorb_panb, A_GIMME, 0},
        {"angle", (method)vorb_angle, A_GIMME, 0},
        {"direction", (method)vorb_direction, A_GIMME, 0},
        {"polar", (method)vorb_polar, A_GIMME, 0},
        {"aux1", (method)vorb_aux1, A_GIMME, 0},
        {"aux2", (method)vorb_aux2, A_GIMME, 0},
        {"all", (method)vorb_all, 0, 0},
    };
    object_post(nullptr, "%s %s", s_vorb_name, VORB_VERSION);
    k_init_utils();
    vorb_choose_players();
    t_class *c = class_new(s_vorb_name, (method)vorb_new, (method)vorb_free, long(sizeof(vorb)),
                           nullptr, A_GIMME, 0);
    for (const vorb_binding &b : bindings)
        class_addmethod(c, b.handler, b.selector, b.type1, b.type2, 0);
    ps_buffer = gensym("buffer~");
    ps_all = gensym("all");
    ps_sample1 = gensym("sample1");
    ps_buffer_modified = gensym("buffer_modified");
    class_dspinit(c);
    class_register(gensym("box"), c);
    k_vorb_class = c;
}
