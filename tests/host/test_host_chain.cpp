// The signal chain: which routine it takes from whom, and where a routine may write.
#include "probe.h"

#include <algorithm>

namespace {

using probe_class::as_method;

/// What the dsp64 method of "adder~" does in the running test.
std::function<void(t_object *x, t_object *chain)> add;

void adder_entry(void *)
{
    static t_class *c;
    const auto make = [](t_symbol *, long, t_atom *) {
        const auto x = static_cast<t_pxobject *>(object_alloc(c));
        z_dsp_setup(x, 1);
        return x;
    };
    const auto dsp64 = [](t_object *x, t_object *chain, short *, double, long, long) {
        add(x, chain);
    };
    c = class_new("adder~", as_method(+make), as_method(z_dsp_free), sizeof(t_pxobject), nullptr,
                  A_GIMME, 0);
    class_addmethod(c, as_method(+dsp64), "dsp64", A_CANT, 0);
    class_dspinit(c);
    class_register(gensym("box"), c);
}

class host_chain : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        link_once<adder_entry>();
        blocks = 0;
    }

    void TearDown() override
    {
        host_session::TearDown();
        add = {};
    }

    static void count(t_object *, t_object *, double **, long, double **, long, long, long, void *)
    {
        ++blocks;
    }

    /// Adds a counting routine, or none, to a chain.
    static void join(t_object *chain, t_object *x, const char *word = "dsp_add64",
                     t_perfroutine64 routine = count)
    {
        object_method_imp(chain, gensym(word), x, reinterpret_cast<void *>(routine), nullptr,
                          nullptr, nullptr, nullptr, nullptr, nullptr);
    }

    static inline int blocks;
};

TEST_F(host_chain, takes_a_routine_from_its_own_object_within_its_start_alone)
{
    t_object *chain = nullptr, *other = host::create("adder~"), *x = nullptr;
    const std::pair<const char *, std::function<void()>> breaches[] = {
        {"not the chain", [&] { join(other, x); }},
        {"another object", [&] { join(chain, other); }},
        {"no object", [&] { join(chain, nullptr); }},
        {"another message", [&] { join(chain, x, "dsp_add"); }},
    };
    add = [&](t_object *, t_object *own) { chain = own; };
    x = host::create("adder~");
    host::start_audio();
    for (const auto &[name, act] : breaches) {
        SCOPED_TRACE(name);
        add = [&, &breach = act](t_object *starting, t_object *) {
            if (starting == x) breach();
        };
        host::start_audio();
        EXPECT_THAT(faults(), ElementsAre(HasSubstr("dsp_add64")));
    }
    join(chain, x);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("dsp_add64"))) << "outside of the start";
    host::run();
    EXPECT_EQ(blocks, 0);
    add = [&](t_object *starting, t_object *) { join(chain, starting); };
    host::start_audio();
    host::run();
    EXPECT_EQ(blocks, 2);
}

TEST_F(host_chain, takes_no_empty_routine)
{
    add = [](t_object *x, t_object *chain) { join(chain, x, "dsp_add64", nullptr); };
    host::create("adder~");
    host::run();
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("dsp_add64")));
    host::run();
    EXPECT_THAT(faults(), IsEmpty()) << "it takes no part";
}

TEST_F(host_chain, writing_to_a_connected_inlet_is_a_fault_unless_an_outlet_shares_it)
{
    struct row {
        int inlet, outlets;
        bool apart, broken;
    };
    for (const auto &[inlet, outlets, apart, broken] :
         {row{1, 1, false, true}, row{0, 1, false, false}, row{1, 2, false, false},
          row{0, 1, true, true}, row{0, 0, false, true}}) {
        SCOPED_TRACE(testing::Message() << inlet << " of 2 " << outlets << (apart ? " apart" : ""));
        for (const long at : {0, 63}) {
            acts.born = [apart = apart](probe *x) { x->header.z_misc |= apart ? Z_NO_INPLACE : 0; };
            t_object *x = object(create("2 " + std::to_string(outlets)));
            for (const int k : {0, 1}) host::connect(x, k);
            acts.block = {};
            host::run();
            EXPECT_THAT(faults(), IsEmpty());
            acts.block = [&, inlet = inlet](probe *, double **in, double **, long) {
                in[inlet][at] = 0.5;
            };
            host::run();
            if (broken) EXPECT_THAT(faults(), ElementsAre(HasSubstr("wrote to an inlet")));
            else EXPECT_THAT(faults(), IsEmpty());
            host::destroy(x);
        }
    }
}

TEST_F(host_chain, writing_beyond_a_silent_inlet_is_a_fault_in_that_very_block)
{
    create();
    for (const long frames : {1L, 64L, 8192L}) {
        acts.block = [](probe *, double **in, double **, long n) { in[0][n] = 0; };
        host::run(frames);
        EXPECT_EQ(faults().size(), 1u) << frames;
        acts.block = [](probe *, double **in, double **, long n) {
            EXPECT_TRUE(std::all_of(in[0], in[0] + n, [](double v) { return v == 0; }));
        };
        host::run(8192);
        EXPECT_THAT(faults(), IsEmpty()) << "no harm done";
    }
}

TEST_F(host_chain, writing_beyond_a_vector_is_a_fault_in_that_very_block)
{
    acts.born = [](probe *x) { x->header.z_misc |= Z_NO_INPLACE; };
    t_object *x = object(create("1 2"));
    host::connect(x, 0);
    for (const long frames : {1L, 64L, 8192L})
        for (int port = 0; port < 3; ++port) {
            SCOPED_TRACE(testing::Message() << "port " << port << ", " << frames << " frames");
            const auto write = [&](long at) {
                acts.block = [=](probe *, double **in, double **out, long) {
                    (port ? out[port - 1] : in[0])[at] = 0;
                };
                host::run(frames);
            };
            write(frames - 1);
            EXPECT_THAT(faults(), IsEmpty());
            write(frames);
            EXPECT_THAT(faults(), ElementsAre(HasSubstr("beyond its vector")));
        }
}

} // namespace
