// Classes as externals register them, and instances from the text of a box.
#include "probe.h"

namespace {

// ---- Classes ------------------------------------------------------------------------------------

class host_class : public host_session {
protected:
    static void nothing(t_object *) {}

    static t_max_err add(t_class *c, const char *selector, int type = 0)
    {
        return class_addmethod(c, probe_class::as_method(nothing), selector, type, 0);
    }
};

TEST_F(host_class, is_found_only_after_it_is_registered)
{
    t_class *late = plain_class("late");
    EXPECT_EQ(host::create("late"), nullptr);
    EXPECT_THAT(console(), ElementsAre("!late: No such object"));
    EXPECT_EQ(object_alloc(late), nullptr);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("object_alloc")));
    EXPECT_EQ(class_register(gensym("box"), late), MAX_ERR_NONE);
    EXPECT_NE(host::create("late"), nullptr);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(host_class, registered_again_replaces_the_former_one)
{
    class_register(gensym("box"), plain_class("twin"));
    t_class *later = plain_class("twin");
    add(later, "newcomer");
    EXPECT_EQ(class_register(gensym("box"), later), MAX_ERR_NONE);
    EXPECT_TRUE(host::understands(host::create("twin"), "newcomer"));
}

TEST_F(host_class, may_not_be_touched_once_registered)
{
    t_class *c = plain_class("shut");
    class_register(gensym("box"), c);
    EXPECT_EQ(add(c, "late"), MAX_ERR_INVALID_PTR);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("class_addmethod")));
    class_dspinit(c);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("class_dspinit")));
    EXPECT_EQ(class_register(gensym("box"), c), MAX_ERR_INVALID_PTR);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("class_register")));
}

TEST_F(host_class, a_pointer_that_is_no_class_is_refused)
{
    int stranger = 0;
    const auto c = reinterpret_cast<t_class *>(&stranger);
    EXPECT_EQ(add(c, "x"), MAX_ERR_INVALID_PTR);
    EXPECT_EQ(add(nullptr, "x"), MAX_ERR_INVALID_PTR);
    EXPECT_EQ(class_register(gensym("box"), c), MAX_ERR_INVALID_PTR);
    EXPECT_EQ(object_alloc(nullptr), nullptr);
    EXPECT_EQ(faults().size(), 4u);
}

TEST_F(host_class, registration_out_of_contract_is_a_fault)
{
    class_new("menu", probe_class::as_method(nothing), nullptr, sizeof(probe),
              probe_class::as_method(nothing), A_GIMME, 0);
    EXPECT_EQ(faults().size(), 1u) << "a menu function";
    class_new("typed", probe_class::as_method(nothing), nullptr, sizeof(probe), nullptr, A_LONG, 0);
    EXPECT_EQ(faults().size(), 1u) << "a constructor with a typed argument";
    plain_class("tiny", sizeof(t_object) - 1);
    EXPECT_EQ(faults().size(), 1u) << "no room for the object's header";
    class_register(gensym("nobox"), plain_class("elsewhere"));
    EXPECT_EQ(faults().size(), 1u) << "a name space other than box";
    const auto handler = probe_class::as_method(nothing);
    class_addmethod(plain_class("long"), handler, "m", A_LONG, A_LONG, A_LONG, A_LONG, A_LONG,
                    A_LONG, A_LONG, A_LONG, 0);
    EXPECT_EQ(faults().size(), 1u) << "eight typed arguments";
}

TEST_F(host_class, types_that_no_handler_can_have_are_a_fault_and_not_bound)
{
    t_class *c = plain_class("picky");
    const auto handler = probe_class::as_method(nothing);
    const auto expect_refused = [](t_max_err result, const char *what) {
        EXPECT_EQ(result, MAX_ERR_GENERIC) << what;
        EXPECT_THAT(faults(), ElementsAre(HasSubstr("class_addmethod"))) << what;
    };
    for (const int lonely : {A_GIMME, A_CANT})
        for (const int other : {A_LONG, A_DEFSYM, A_GIMME, A_CANT}) {
            expect_refused(class_addmethod(c, handler, "m", lonely, other, 0), "first");
            expect_refused(class_addmethod(c, handler, "m", other, lonely, 0), "last");
        }
    for (const int unknown : {-1, 13, 99, +A_OBJ, +A_SEMI, +A_COMMA, +A_DOLLAR}) {
        SCOPED_TRACE(unknown);
        expect_refused(add(c, "m", unknown), "alone");
        expect_refused(class_addmethod(c, handler, "m", A_FLOAT, unknown, 0), "last");
    }
    expect_refused(class_addmethod(c, handler, "m", A_LONG, A_LONG, A_LONG, A_LONG, A_LONG, A_LONG,
                                   A_LONG, A_LONG),
                   "eight and no end");
    expect_refused(class_addmethod(c, handler, "m", A_LONG, A_LONG, A_LONG, A_LONG, A_LONG, A_LONG,
                                   A_LONG, A_LONG, A_LONG, A_LONG),
                   "ten and no end");
    class_register(gensym("box"), c);
    EXPECT_FALSE(host::understands(host::create("picky"), "m"));
}

TEST_F(host_class, a_signal_class_needs_room_for_the_signal_header)
{
    class_dspinit(plain_class("narrow", sizeof(t_object)));
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_class, does_not_bind_what_class_dspinit_binds)
{
    for (const char *taken : {"signal", "userconnect", "nsiginlets", "enable"}) {
        t_class *c = plain_class(taken, sizeof(probe));
        class_dspinit(c);
        add(c, taken);
        class_register(gensym("box"), c);
        EXPECT_THAT(faults(), ElementsAre(HasSubstr(taken)));
    }
}

TEST_F(host_class, without_signals_binds_those_names_itself)
{
    t_class *c = plain_class("free");
    const auto names = {"signal", "userconnect", "nsiginlets", "enable"};
    for (const char *name : names) add(c, name);
    class_register(gensym("box"), c);
    EXPECT_THAT(faults(), IsEmpty());
    for (const char *name : names) EXPECT_TRUE(host::understands(host::create("free"), name));
}

TEST_F(host_class, registers_a_selector_anew_over_the_former_one)
{
    t_class *c = plain_class("overwritten");
    for (const method handler :
         {probe_class::as_method(+[](t_object *x) { object_post(x, "first"); }),
          probe_class::as_method(+[](t_object *x) { object_post(x, "second"); })})
        class_addmethod(c, handler, "list", 0);
    class_register(gensym("box"), c);
    t_object *x = host::create("overwritten");
    host::send(x, 0, "list");
    EXPECT_THAT(console(), ElementsAre("second"));
}

// ---- Instances ----------------------------------------------------------------------------------

class host_instance : public host_session {};

TEST_F(host_instance, is_zero_filled_apart_from_the_header)
{
    struct wide {
        t_object header;
        unsigned char rest[1000];
    };
    class_register(gensym("box"), plain_class("wide", sizeof(wide)));
    const auto x = reinterpret_cast<wide *>(host::create("wide"));
    EXPECT_EQ(x->header.o_magic, 1758379419);
    for (const unsigned char byte : x->rest) ASSERT_EQ(byte, 0);
}

TEST_F(host_instance, gets_the_atoms_of_its_box)
{
    static std::vector<std::string> seen;
    const auto make = [](t_symbol *name, long argc, t_atom *argv) -> void * {
        seen = {name->s_name};
        for (long i = 0; i < argc; ++i)
            seen.push_back(argv[i].a_type == A_LONG    ? std::to_string(argv[i].a_w.w_long)
                           : argv[i].a_type == A_FLOAT ? std::to_string(argv[i].a_w.w_float)
                                                       : argv[i].a_w.w_sym->s_name);
        return nullptr;
    };
    class_register(gensym("box"), class_new("reader", probe_class::as_method(+make), nullptr,
                                            sizeof(t_object), nullptr, A_GIMME, 0));
    host::create("  reader 4  sample1 -0.5 \"a b\"");
    EXPECT_THAT(seen, ElementsAre("reader", "4", "sample1", "-0.500000", "a b"));
    host::create("reader");
    EXPECT_THAT(seen, ElementsAre("reader"));
}

TEST_F(host_instance, of_an_unknown_class_is_null_and_the_console_says_why)
{
    EXPECT_EQ(host::create("nobody 1 2"), nullptr);
    EXPECT_THAT(console(), ElementsAre("!nobody: No such object"));
    for (const char *box : {"", "   ", "17 probe~"}) {
        EXPECT_EQ(host::create(box), nullptr);
        EXPECT_EQ(console().size(), 1u) << box;
    }
}

TEST_F(host_instance, that_its_constructor_declines_is_null)
{
    acts.declines = true;
    EXPECT_EQ(create(), nullptr);
    acts.declines = false;
    EXPECT_NE(create(), nullptr);
}

TEST_F(host_instance, that_gets_no_memory_is_null)
{
    host::fail_allocation(1);
    EXPECT_EQ(create(), nullptr);
    console();
    EXPECT_NE(create(), nullptr) << "only one request fails";
}

TEST_F(host_instance, that_is_none_of_the_host_is_a_fault)
{
    static t_object own;
    const auto make = [](t_symbol *, long, t_atom *) -> void * { return &own; };
    class_register(gensym("box"), class_new("foreign", probe_class::as_method(+make), nullptr,
                                            sizeof(t_object), nullptr, A_GIMME, 0));
    host::create("foreign");
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_instance, has_its_outlets_from_right_to_left)
{
    acts.born = [](probe *x) {
        outlet_new(x, "bang");
        outlet_new(x, "signal");
    };
    probe *x = create("3 2");
    EXPECT_EQ(host::inlets(object(x)), 3);
    EXPECT_THAT(host::outlets(object(x)), ElementsAre("signal", "bang", "signal", "signal", "int"));
    EXPECT_EQ(host::signal_outlets(object(x)), 3);
}

TEST_F(host_instance, numbers_leave_with_outlet_object_and_time)
{
    t_outlet *second = nullptr;
    acts.born = [&](probe *x) { second = static_cast<t_outlet *>(intout(x)); };
    acts.told = [&](probe *x) {
        EXPECT_EQ(outlet_int(x->numbers, -7), reinterpret_cast<void *>(1));
        EXPECT_NE(outlet_int(second, t_atom_long{1} << 40), nullptr);
    };
    probe *x = create("1 2"); // from the left: the late int, two signals, the first int
    host::set_time(12.5);
    tell(x);
    const std::vector<host::number> out = host::take_numbers();
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].outlet, 3);
    EXPECT_EQ(out[0].value, -7);
    EXPECT_EQ(out[0].object, object(x));
    EXPECT_EQ(out[0].ms, 12.5);
    EXPECT_EQ(out[1].outlet, 0);
    EXPECT_EQ(out[1].value, 1099511627776);
    EXPECT_THAT(host::take_numbers(), IsEmpty());
}

TEST_F(host_instance, is_freed_once_and_then_unknown)
{
    int freed = 0;
    acts.freed = [&](probe *) { ++freed; };
    t_object *x = object(create());
    host::destroy(x);
    EXPECT_EQ(freed, 1);
    EXPECT_THROW(host::destroy(x), host::error);
    EXPECT_THROW(host::send(x, 0, "act"), host::error);
    EXPECT_THROW(host::inlets(x), host::error);
    EXPECT_THROW(host::outlets(nullptr), host::error);
}

TEST_F(host_instance, a_reset_frees_all_and_starts_afresh)
{
    std::vector<probe *> freed;
    acts.freed = [&](probe *x) { freed.push_back(x); };
    probe *a = create(), *b = create();
    host::set_buffer("b", 1, 8000, {1, 2});
    host::set_time(99);
    host::set_audio(8000, 16);
    object_post(nullptr, "line");
    host::fail_allocation(1);
    host::reset();
    EXPECT_THAT(freed, ::testing::UnorderedElementsAre(a, b));
    EXPECT_THAT(console(), IsEmpty());
    EXPECT_EQ(host::time(), 0);
    EXPECT_EQ(sys_getsr(), 44100);
    EXPECT_EQ(sys_getblksize(), 64);
    EXPECT_THROW(host::delete_buffer("b"), host::error);
    EXPECT_NE(create(), nullptr) << "classes stay, and no request fails any more";
}

TEST_F(host_instance, of_a_linked_class_can_be_made_after_unload)
{
    create();
    host::unload();
    EXPECT_NE(create(), nullptr);
}

} // namespace
