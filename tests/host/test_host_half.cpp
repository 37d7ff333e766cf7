// Instances that a constructor left half made, or that were made or set up out of turn.
#include "probe.h"

namespace {

t_class *half_class;

/// What the constructor of "half~" does in the running test, and what else was called since.
std::function<void *()> construct;
std::vector<std::string> done;

using probe_class::as_method;

void half_entry(void *)
{
    half_class =
        class_new("half~", as_method(+[](t_symbol *, long, t_atom *) { return construct(); }),
                  nullptr, sizeof(t_pxobject), nullptr, A_GIMME, 0);
    class_dspinit(half_class);
    const auto notify = [](t_object *, t_symbol *, t_symbol *, void *, void *) -> t_max_err {
        done.push_back("notify");
        return MAX_ERR_NONE;
    };
    const auto dsp64 = [](t_object *, t_object *, short *, double, long, long) {
        done.push_back("dsp64");
    };
    class_addmethod(half_class, as_method(+notify), "notify", A_CANT, 0);
    class_addmethod(half_class, as_method(+dsp64), "dsp64", A_CANT, 0);
    class_register(gensym("box"), half_class);
}

void deferred_job(t_object *, t_symbol *, short, t_atom *) { done.push_back("deferred"); }

class host_half : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        link_once<half_entry>();
        done.clear();
    }

    void TearDown() override
    {
        host_session::TearDown();
        construct = {};
    }

    static t_object *fresh() { return static_cast<t_object *>(object_alloc(half_class)); }

    /// An instance with all that a session may keep for it.
    t_object *furnished()
    {
        t_object *x = fresh();
        z_dsp_setup(reinterpret_cast<t_pxobject *>(x), 2);
        numbers = static_cast<t_outlet *>(intout(x));
        outlet_new(x, "signal");
        ref = buffer_ref_new(x, gensym("b"));
        buffer_ref_new(x, gensym("b"));
        defer(x, as_method(deferred_job), nullptr, 0, nullptr);
        return x;
    }

    /// What is made by a box "half~" whose constructor is this one.
    static t_object *make(std::function<void *()> by)
    {
        construct = std::move(by);
        return host::create("half~");
    }

    t_outlet *numbers = nullptr;
    t_buffer_ref *ref = nullptr;
};

TEST_F(host_half, nothing_is_left_of_an_instance_whose_constructor_returns_null)
{
    t_object *x = nullptr;
    EXPECT_EQ(make([&] {
                  x = furnished();
                  return nullptr;
              }),
              nullptr);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("half an instance")));
    EXPECT_THROW(host::inlets(x), host::error);
    host::set_buffer("b", 1, 44100, {1});
    host::set_buffer("b", 1, 44100, {2});
    host::delete_buffer("b");
    host::drain();
    host::run();
    EXPECT_THAT(done, IsEmpty());
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_EQ(buffer_ref_getobject(ref), nullptr);
    EXPECT_EQ(outlet_int(numbers, 1), nullptr);
    EXPECT_EQ(faults().size(), 2u) << "strangers by now";
}

TEST_F(host_half, of_two_instances_the_returned_one_stays)
{
    for (const int returned : {0, 1}) {
        SCOPED_TRACE(returned);
        t_object *both[2];
        t_object *x = make([&] {
            for (t_object *&one : both) one = furnished();
            return both[returned];
        });
        EXPECT_EQ(x, both[returned]);
        EXPECT_THAT(faults(), ElementsAre(HasSubstr("half an instance")));
        EXPECT_EQ(host::inlets(x), 2);
        EXPECT_THROW(host::inlets(both[1 - returned]), host::error);
        host::run();
        host::drain();
        EXPECT_THAT(std::exchange(done, {}), ElementsAre("dsp64", "deferred")) << "once each";
        z_dsp_free(reinterpret_cast<t_pxobject *>(x));
        host::destroy(x);
    }
}

TEST_F(host_half, an_older_instance_is_not_made_again)
{
    t_object *older = make([] { return fresh(); });
    ASSERT_NE(older, nullptr);
    EXPECT_EQ(make([&] { return older; }), nullptr);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("had not made")));
    EXPECT_EQ(host::inlets(older), 1) << "it lives on";
    t_object *other = nullptr;
    EXPECT_EQ(make([&] {
                  other = fresh();
                  return older;
              }),
              nullptr);
    EXPECT_EQ(faults().size(), 2u) << "the strange one and the half one";
    EXPECT_THROW(host::inlets(other), host::error);
    host::destroy(older);
}

// ---- Out of turn --------------------------------------------------------------------------------

std::function<void()> act; // of deferred calls, which take no state of their own

TEST_F(host_half, is_allocated_in_a_constructor_alone)
{
    t_symbol *b = gensym("b");
    probe *x = create();
    buffer_ref_new(object(x), b);
    const auto later = +[](t_object *, t_symbol *, short, t_atom *) { act(); };
    const auto message = [&] {
        acts.told = [](probe *) { act(); };
        tell(x);
    };
    const std::pair<const char *, std::function<void()>> places[] = {
        {"a message", message},
        {"a message on the main thread",
         [&] {
             host::defer_at_once(true);
             message();
             host::defer_at_once(false);
         }},
        {"a perform routine",
         [] {
             acts.block = [](probe *, double **, double **, long) { act(); };
             host::run();
             acts.block = {};
         }},
        {"dsp64",
         [] {
             acts.started = [](probe *, const short *, double, long) { act(); };
             host::start_audio();
             acts.started = {};
         }},
        {"a deferred call",
         [&] {
             defer(x, as_method(later), nullptr, 0, nullptr);
             host::drain();
         }},
        {"a double click",
         [&] {
             acts.clicked = [](probe *) { act(); };
             host::double_click(object(x));
         }},
        {"the end of an instance",
         [] {
             probe *going = create();
             acts.freed = [](probe *) { act(); };
             host::destroy(object(going));
             acts.freed = {};
         }},
        {"no call of the host's", [] { act(); }},
    };
    for (const auto &[name, go] : places) {
        SCOPED_TRACE(name);
        void *got = x;
        act = [&] { got = object_alloc(probe_class::made); };
        go();
        EXPECT_EQ(got, nullptr);
        EXPECT_THAT(faults(), ElementsAre(HasSubstr("object_alloc")));
    }
    act = {};
}

TEST_F(host_half, signals_are_set_up_only_once)
{
    acts.born = [](probe *x) { z_dsp_setup(&x->header, 3); };
    t_object *x = object(create("2 1"));
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_setup")));
    EXPECT_EQ(host::inlets(x), 2);
    EXPECT_THROW(host::connect(x, 2), host::error);
    host::connect(x, 1);
    host::run();
}

TEST_F(host_half, has_no_negative_number_of_signals)
{
    acts.keeps_signals = true; // it has none to free
    t_object *x = object(create("-1 1"));
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_setup")));
    EXPECT_EQ(host::inlets(x), 1) << "for messages";
    EXPECT_THROW(host::connect(x, 0), host::error);
    host::run();
    host::destroy(x);
    EXPECT_THAT(faults(), IsEmpty()) << "never set up";
}

TEST_F(host_half, has_no_signals_where_its_class_has_none)
{
    class_register(gensym("box"), plain_class("mute", sizeof(t_pxobject)));
    t_object *x = host::create("mute");
    const auto header = reinterpret_cast<t_pxobject *>(x);
    z_dsp_setup(header, 2);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_setup")));
    EXPECT_EQ(host::inlets(x), 1);
    EXPECT_THROW(host::connect(x, 0), host::error);
    z_dsp_free(header);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_free"))) << "never set up";
}

} // namespace
