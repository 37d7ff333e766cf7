// The class in Pd: birth and death of an object, its inlets and outlets, and what comes in there.
#include "pd_object.h"

#include <cmath>
#include <limits>
#include <vector>

static t_class *object_class, *inlet_class;

// ---- Messages -----------------------------------------------------------------------------------

static std::vector<vorb_pd::atom> plain(int argc, const t_atom *argv)
{
    std::vector<vorb_pd::atom> atoms;
    for (const t_atom *a = argv; a < argv + argc; ++a)
        if (a->a_type == A_FLOAT) atoms.push_back({nullptr, a->a_w.w_float});
        else atoms.push_back({atom_getsymbol(a)->s_name, 0});
    return atoms;
}

/// Stands for: no number has arrived.
static const t_float none = std::numeric_limits<t_float>::quiet_NaN();

void k_vorb_poll_offset(k_vorb_pd *x)
{
    const t_float number = *x->offset_constant;
    if (std::isnan(number)) return;
    *x->offset_constant = none;
    vorb_pd::send_number(x->instance, 1, number);
}

/// rate NAME HZ: the sample rate of what an array holds, since arrays know none.
static void set_rate(k_vorb_pd *x, int argc, const t_atom *argv)
{
    if (argc == 2 && argv[0].a_type == A_SYMBOL && argv[1].a_type == A_FLOAT)
        vorb_pd::set_rate(argv[0].a_w.w_symbol->s_name, argv[1].a_w.w_float);
    else pd_error(x, "k.vorb~: bad arguments for message \"rate\"");
}

static void send(k_vorb_pd *x, int inlet, t_symbol *selector, int argc, const t_atom *argv)
{
    k_vorb_poll_offset(x);
    if (inlet == 0 && selector == gensym("rate")) return set_rate(x, argc, argv);
    if (inlet == 0 && selector == gensym("refresh")) return vorb_pd::refresh(x->instance);
    float number;
    if (vorb_pd::send(x->instance, inlet, selector->s_name, argc, plain(argc, argv).data(),
                      &number))
        outlet_float(x->integers, number); // at the very end: the patch may delete the object
}

static k_vorb_pd *owner_of(k_vorb_pd *x) { return x; }
static k_vorb_pd *owner_of(k_vorb_inlet *inlet) { return inlet->owner; }
static int number_of(k_vorb_pd *) { return 0; }
static int number_of(k_vorb_inlet *inlet) { return inlet->number; }

template <class Inlet>
static void receive(Inlet *inlet, t_symbol *selector, int argc, t_atom *argv)
{
    send(owner_of(inlet), number_of(inlet), selector, argc, argv);
}

template <class Inlet>
static void receive_number(Inlet *inlet, t_float v)
{
    k_vorb_poll_offset(owner_of(inlet));
    vorb_pd::send_number(owner_of(inlet)->instance, number_of(inlet), v);
}

template <class Inlet>
static void receive_bang(Inlet *inlet)
{
    receive(inlet, &s_bang, 0, nullptr);
}

template <class Inlet>
static void receive_symbol(Inlet *inlet, t_symbol *s)
{
    t_atom a;
    SETSYMBOL(&a, s);
    receive(inlet, &s_symbol, 1, &a);
}

/// Objects such as [route], [list] and [pack f] send a bang or a number as a list.
template <class Inlet>
static void receive_list(Inlet *inlet, t_symbol *, int argc, t_atom *argv)
{
    if (argc == 0) receive_bang(inlet);
    else if (argc == 1 && argv->a_type == A_FLOAT) receive_number(inlet, argv->a_w.w_float);
    else receive(inlet, &s_list, argc, argv);
}

/// Everything goes to the object, whose host tells the unknown from the known.
template <class Inlet>
static void answer(t_class *c)
{
    class_addbang(c, receive_bang<Inlet>);
    class_addfloat(c, receive_number<Inlet>);
    class_addsymbol(c, receive_symbol<Inlet>);
    class_addlist(c, receive_list<Inlet>);
    class_addanything(c, receive<Inlet>);
}

/// What comes to the second inlet and is no number: a selector and its arguments.
static void forward(k_vorb_pd *x, t_symbol *, int argc, t_atom *argv)
{
    if (argc > 0) send(x, 1, atom_getsymbol(argv), argc - 1, argv + 1);
}

// ---- Birth and death ----------------------------------------------------------------------------

static void make_inlets(k_vorb_pd *x)
{
    signalinlet_new(&x->object, none);
    x->offset_constant = obj_findsignalscalar(&x->object, 1);
    int number = 2;
    for (k_vorb_inlet &inlet : x->inlets) {
        inlet = {inlet_class, x, number++};
        inlet_new(&x->object, &inlet.pd, nullptr, nullptr);
    }
}

static void *make(t_symbol *, int argc, t_atom *argv)
{
    const auto x = reinterpret_cast<k_vorb_pd *>(pd_new(object_class)); // filled with zeros
    x->patch = canvas_getcurrent();
    make_inlets(x);
    x->instance = vorb_pd::create(x, argc, plain(argc, argv).data());
    if (!x->instance) {
        pd_free(&x->object.ob_pd);
        return nullptr;
    }
    for (int k = 0; k < vorb_pd::signal_outlets(x->instance); ++k)
        outlet_new(&x->object, &s_signal);
    x->integers = outlet_new(&x->object, &s_float);
    return x;
}

static void end(k_vorb_pd *x)
{
    if (x->instance) vorb_pd::destroy(x->instance);
}

#ifdef _WIN32
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

extern "C" EXPORT void setup_k0x2evorb_tilde()
{
    vorb_pd::load();
    inlet_class = class_new(gensym("k.vorb~ inlet"), nullptr, nullptr, sizeof(k_vorb_inlet),
                            CLASS_PD, A_NULL);
    answer<k_vorb_inlet>(inlet_class);
    t_class *c = class_new(gensym("k.vorb~"), t_newmethod(make), t_method(end), sizeof(k_vorb_pd),
                           CLASS_DEFAULT, A_GIMME, A_NULL);
    CLASS_MAINSIGNALIN(c, k_vorb_pd, no_constant);
    answer<k_vorb_pd>(c);
    class_addmethod(c, t_method(forward), gensym("fwd"), A_GIMME, A_NULL);
    class_addmethod(c, t_method(k_vorb_dsp), gensym("dsp"), A_CANT, A_NULL);
    object_class = c;
    pd::refresh_soon(); // makes its clock, which the audio tick must not
}
