// A small external of the tests' own, "probe~ INLETS OUTLETS", whose behaviour each test fills in,
// and a fixture of a host that knows nothing else.
#pragma once

#include "common.h"
#include "ext_buffer.h"
#include "ext_obex.h"
#include "z_dsp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct probe {
    t_pxobject header;
    t_outlet *numbers; // the rightmost outlet
};

/// What the probes of the running test do; a null entry does nothing.
struct probe_acts {
    std::function<void(probe *)> born, freed, told, clicked;
    std::function<void(probe *, const short *counts, double rate, long frames)> started;
    std::function<void(probe *, double **in, double **out, long frames)> block;
    std::function<t_max_err(probe *, t_symbol *, t_symbol *, void *, void *)> noticed;
    bool declines = false, keeps_signals = false;
};

inline probe_acts acts;

namespace probe_class {

inline t_class *made;

inline t_object *object(probe *x) { return &x->header.z_ob; }

inline void perform(probe *x, t_object *, double **in, long, double **out, long, long frames, long,
                    void *)
{
    if (acts.block) acts.block(x, in, out, frames);
}

inline void dsp64(probe *x, t_object *chain, short *counts, double rate, long frames, long)
{
    if (acts.started) acts.started(x, counts, rate, frames);
    object_method_imp(chain, gensym("dsp_add64"), x, reinterpret_cast<void *>(perform), nullptr,
                      nullptr, nullptr, nullptr, nullptr, nullptr);
}

inline t_max_err notify(probe *x, t_symbol *s, t_symbol *msg, void *sender, void *data)
{
    return acts.noticed ? acts.noticed(x, s, msg, sender, data) : t_max_err{MAX_ERR_NONE};
}

inline void act(probe *x)
{
    if (acts.told) acts.told(x);
}

inline void click(probe *x)
{
    if (acts.clicked) acts.clicked(x);
}

inline void free(probe *x)
{
    if (acts.freed) acts.freed(x);
    if (!acts.keeps_signals) z_dsp_free(&x->header);
}

inline void *make(t_symbol *, long argc, t_atom *argv)
{
    if (acts.declines) return nullptr;
    const auto x = static_cast<probe *>(object_alloc(made));
    if (!x) return nullptr;
    z_dsp_setup(&x->header, argc > 0 ? static_cast<long>(argv[0].a_w.w_long) : 1);
    x->numbers = static_cast<t_outlet *>(intout(x));
    for (t_atom_long k = argc > 1 ? argv[1].a_w.w_long : 1; k > 0; --k) outlet_new(x, "signal");
    if (acts.born) acts.born(x);
    return x;
}

template <class F>
method as_method(F *f)
{
    return reinterpret_cast<method>(f);
}

inline void entry(void *)
{
    made =
        class_new("probe~", as_method(make), as_method(free), sizeof(probe), nullptr, A_GIMME, 0);
    class_addmethod(made, as_method(dsp64), "dsp64", A_CANT, 0);
    class_addmethod(made, as_method(notify), "notify", A_CANT, 0);
    class_addmethod(made, as_method(click), "dblclick", A_CANT, 0);
    class_addmethod(made, as_method(act), "act", 0);
    class_dspinit(made);
    class_register(gensym("box"), made);
}

} // namespace probe_class

/// A class without signals, still open, whose instances are bare headers.
inline t_class *plain_class(const char *name, long size = sizeof(t_object))
{
    static std::map<std::string, t_class *> known;
    const auto make = [](t_symbol *own_name, long, t_atom *) {
        return object_alloc(known[own_name->s_name]);
    };
    return known[name] =
               class_new(name, probe_class::as_method(+make), nullptr, size, nullptr, A_GIMME, 0);
}

/// Brings in an external once per process.
template <void (*entry)(void *)>
void link_once()
{
    static const bool linked = (host::link(entry), true);
    static_cast<void>(linked);
}

class host_session : public ::testing::Test {
protected:
    void SetUp() override
    {
        link_once<probe_class::entry>();
        host::reset();
    }

    void TearDown() override
    {
        acts = {}; // what they refer to ends with the test
        EXPECT_THAT(host::take_faults(), IsEmpty());
        host::reset();
        EXPECT_THAT(host::take_faults(), IsEmpty()) << "at the end of the instances";
    }

    static probe *create(const std::string &arguments = "1 1")
    {
        return reinterpret_cast<probe *>(host::create("probe~ " + arguments));
    }

    static t_object *object(probe *x) { return probe_class::object(x); }

    /// Lets a probe act in a message handler.
    static void tell(probe *x) { host::send(object(x), 0, "act"); }

    static std::vector<std::string> faults() { return host::take_faults(); }
};
