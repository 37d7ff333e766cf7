// An external for tests of the program, "through~ OUTLETS": its first outlet repeats its inlet, and
// the message `rude` breaks a rule of the host.
#include <ext.h>
#include <ext_obex.h>
#include <z_dsp.h>

#include <algorithm>

static t_class *through_class;

static void *through_new(t_symbol *, long count, t_atom *arguments)
{
    auto *x = static_cast<t_pxobject *>(object_alloc(through_class));
    if (!x) return nullptr;
    z_dsp_setup(x, 1);
    for (t_atom_long k = count ? arguments[0].a_w.w_long : 1; k > 0; --k) outlet_new(x, "signal");
    return x;
}

static void through_free(t_pxobject *x) { z_dsp_free(x); }

static void through_perform(t_object *, t_object *, double **ins, long, double **outs, long numouts,
                            long frames, long, void *)
{
    if (numouts) std::copy_n(ins[0], frames, outs[0]);
}

static void through_dsp64(t_object *x, t_object *dsp64, short *, double, long, long)
{
    object_method_imp(dsp64, gensym("dsp_add64"), x, (void *)through_perform, nullptr, nullptr,
                      nullptr, nullptr, nullptr, nullptr);
}

static void through_rude(t_object *) { outlet_int(nullptr, 1); }

extern "C" C74_EXPORT void ext_main(void *)
{
    through_class = class_new("through~", (method)through_new, (method)through_free,
                              long(sizeof(t_pxobject)), nullptr, A_GIMME, 0);
    class_addmethod(through_class, (method)through_dsp64, "dsp64", A_CANT, 0);
    class_addmethod(through_class, (method)through_rude, "rude", 0);
    class_dspinit(through_class);
    class_register(gensym("box"), through_class);
}
