// What an external must not do, deferred calls, the clock, and memory that fails or holds rubbish.
#include "probe.h"

#include <cstdlib>
#include <memory>
#include <new>

namespace {

/// Keeps the compiler from dropping a pair of request and release.
void *volatile kept;

class host_rules : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        host::set_buffer("b", 1, 44100, {1, 2, 3});
        x = create();
        ref = buffer_ref_new(object(x), gensym("b"));
        host::start_audio();
    }

    using deed = std::function<void()>;

    /// Faults of an act done in a perform routine, or in a message handler.
    std::vector<std::string> in_block(const deed &act)
    {
        acts.block = [&](probe *, double **, double **, long) { act(); };
        host::run();
        acts.block = {};
        return faults();
    }

    std::vector<std::string> in_message(const deed &act)
    {
        acts.told = [&](probe *) { act(); };
        tell(x);
        return faults();
    }

    static method nothing()
    {
        return probe_class::as_method(+[](t_object *, t_symbol *, short, t_atom *) {});
    }

    t_buffer_obj *buffer() const { return buffer_ref_getobject(ref); }

    probe *x = nullptr;
    t_buffer_ref *ref = nullptr;
};

struct named {
    const char *name;
    std::function<void()> act;
};

TEST_F(host_rules, a_routine_that_keeps_to_them_is_fine)
{
    EXPECT_THAT(in_block([this] {
                    double on_the_stack[512] = {};
                    kept = on_the_stack;
                    t_buffer_obj *b = buffer();
                    if (buffer_locksamples(b)) buffer_unlocksamples(b);
                    buffer_getframecount(b);
                    buffer_getchannelcount(b);
                    buffer_getsamplerate(b);
                    gettime();
                    object_post(object(x), "a line of more than a short string's letters: %d", 1);
                    object_error(nullptr, "and another one, without an object");
                }),
                IsEmpty());
    EXPECT_EQ(console().size(), 2u);
}

TEST_F(host_rules, calls_of_other_threads_are_faults_in_a_perform_routine)
{
    probe *p = x;
    t_class *c = probe_class::made;
    const std::vector<named> calls = {
        {"gensym", [] { gensym("b"); }},
        {"gensym", [] { gensym("a name that is longer than a short string and new"); }},
        {"outlet_int", [p] { outlet_int(p->numbers, 1); }},
        {"defer", [p] { defer(p, nothing(), nullptr, 0, nullptr); }},
        {"sysmem_newptr", [] { kept = sysmem_newptr(8); }},
        {"sysmem_freeptr", [] { sysmem_freeptr(kept); }},
        {"intout", [p] { intout(p); }},
        {"outlet_new", [p] { outlet_new(p, "signal"); }},
        {"buffer_ref_new", [this] { buffer_ref_new(object(x), nullptr); }},
        {"buffer_ref_set", [this] { buffer_ref_set(ref, nullptr); }},
        {"buffer_view", [this] { buffer_view(buffer()); }},
        {"z_dsp_setup", [p] { z_dsp_setup(&p->header, 1); }},
        {"class_dspinit", [c] { class_dspinit(c); }},
    };
    for (const named &call : calls) {
        const auto broken = in_block(call.act);
        ASSERT_FALSE(broken.empty()) << call.name;
        EXPECT_EQ(broken[0], std::string(call.name) + " called from the audio thread");
        for (const std::string &text : broken) // the host's own book-keeping is no sin of theirs
            EXPECT_THAT(text, ::testing::Not(HasSubstr("heap"))) << call.name;
    }
    host::take_numbers();
    host::drain();
}

TEST_F(host_rules, calls_of_the_main_thread_are_faults_in_a_message)
{
    t_class *bare = plain_class("bare");
    class_register(gensym("box"), bare);
    const std::vector<named> calls = {
        {"buffer_ref_new", [this] { buffer_ref_new(object(x), gensym("b")); }},
        {"buffer_ref_set", [this] { buffer_ref_set(ref, gensym("b")); }},
        {"buffer_view", [this] { buffer_view(buffer()); }},
        {"intout", [this] { intout(x); }},
        {"outlet_new", [this] { outlet_new(x, "signal"); }},
        {"object_alloc", [bare] { object_alloc(bare); }},
    };
    for (const named &call : calls)
        EXPECT_THAT(in_message(call.act),
                    ElementsAre(std::string(call.name) + " called from the scheduler thread"));
}

TEST_F(host_rules, what_the_scheduler_may_call_is_fine_in_a_message)
{
    EXPECT_THAT(in_message([this] {
                    gensym("fresh in a message");
                    outlet_int(x->numbers, 1);
                    defer(x, nothing(), nullptr, 0, nullptr);
                    sysmem_freeptr(sysmem_newptr(100));
                    delete new int;
                    object_post(object(x), "line");
                }),
                IsEmpty());
}

TEST_F(host_rules, heap_use_in_a_perform_routine_is_a_fault)
{
    void *held = std::malloc(16), *made = nullptr;
    const std::vector<named> uses = {
        {"malloc", [&] { kept = std::malloc(16); }},
        {"calloc", [&] { kept = std::calloc(4, 4); }},
        {"realloc", [&] { held = std::realloc(held, 4096); }},
        {"new", [&] { made = ::operator new(16); }},
        {"aligned_alloc", [&] { kept = std::aligned_alloc(64, 64); }},
    };
    for (const named &use : uses) {
        EXPECT_FALSE(in_block(use.act).empty()) << use.name;
        std::free(std::exchange(kept, nullptr));
    }
    EXPECT_FALSE(in_block([&] { std::free(held); }).empty());
    EXPECT_FALSE(in_block([&] { ::operator delete(made); }).empty());
    EXPECT_FALSE(in_block([] {
                     std::vector<double> local(64);
                     kept = local.data();
                 }).empty());
}

TEST_F(host_rules, a_lock_that_outlives_its_block_is_a_fault_in_that_very_block)
{
    create(); // its block comes next, and gives back what the first one's kept
    acts.block = [this](probe *p, double **, double **, long) {
        if (p == x) buffer_locksamples(buffer());
        else buffer_unlocksamples(buffer());
    };
    host::run();
    EXPECT_THAT(faults(), ElementsAre("buffer b is still locked"));
}

TEST_F(host_rules, a_handler_that_changes_its_arguments_is_a_fault)
{
    static std::function<void(t_atom *)> change;
    const auto handler = +[](t_object *, t_symbol *, long, t_atom *argv) { change(argv); };
    t_class *c = plain_class("vandal");
    class_addmethod(c, probe_class::as_method(handler), "take", A_GIMME, 0);
    class_register(gensym("box"), c);
    t_object *vandal = host::create("vandal");
    const std::function<void(t_atom *)> changes[] = {
        [](t_atom *argv) { argv[0].a_w.w_long = 2; },
        [](t_atom *argv) { argv[0].a_type = A_FLOAT; },
        [](t_atom *argv) { argv[2].a_w.w_sym = nullptr; },
    };
    for (const auto &one : changes) {
        change = one;
        host::send(vandal, 0, "take 1 2. three");
        EXPECT_THAT(faults(), ElementsAre(HasSubstr("changed its arguments")));
    }
    change = [](t_atom *) {};
    host::send(vandal, 0, "take 1 2. three");
    host::send(vandal, 0, "take");
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(host_rules, writing_to_an_unconnected_inlet_is_a_fault_and_does_no_harm)
{
    double heard = -1;
    acts.block = [&](probe *, double **in, double **, long frames) {
        heard = in[0][frames - 1];
        in[0][frames - 1] = 0.5;
    };
    host::run();
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("unconnected inlet")));
    host::run();
    EXPECT_EQ(heard, 0);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_rules, a_stranger_pointer_is_a_fault)
{
    t_pxobject stranger{};
    t_object *s = &stranger.z_ob;
    EXPECT_EQ(proxy_getinlet(s), 0);
    EXPECT_EQ(intout(s), nullptr);
    EXPECT_EQ(outlet_new(s, "signal"), nullptr);
    EXPECT_EQ(outlet_int(reinterpret_cast<t_outlet *>(s), 1), nullptr);
    defer(s, nothing(), nullptr, 0, nullptr);
    z_dsp_setup(&stranger, 1);
    z_dsp_free(&stranger);
    EXPECT_EQ(faults().size(), 7u);
    EXPECT_EQ(in_block([s] { proxy_getinlet(s); }).size(), 1u);
}

TEST_F(host_rules, a_number_leaves_only_an_integer_outlet)
{
    void *signal = outlet_new(x, "signal");
    EXPECT_EQ(outlet_int(static_cast<t_outlet *>(signal), 1), nullptr);
    EXPECT_EQ(faults().size(), 1u);
    EXPECT_THAT(host::take_numbers(), IsEmpty());
}

TEST_F(host_rules, signals_are_freed_exactly_once)
{
    acts.keeps_signals = true;
    host::destroy(object(x));
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_free")));
    acts.keeps_signals = false;
    acts.freed = [](probe *p) { z_dsp_free(&p->header); };
    host::destroy(object(create()));
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("z_dsp_free")));
}

TEST_F(host_rules, an_assistance_text_has_fewer_than_500_bytes)
{
    static size_t length;
    const auto assist = [](t_object *, void *, long kind, long index, char *text) {
        const std::string words = (kind == ASSIST_INLET ? "in " : "out ") + std::to_string(index);
        words.copy(text, words.size());
        for (size_t i = words.size(); i < length; ++i) text[i] = '.';
        text[std::max(length, words.size())] = 0;
    };
    t_class *c = plain_class("helpful");
    class_addmethod(c, probe_class::as_method(+assist), "assist", A_CANT, 0);
    class_register(gensym("box"), c);
    t_object *helpful = host::create("helpful");
    EXPECT_EQ(host::assist(helpful, ASSIST_INLET, 3), "in 3");
    EXPECT_EQ(host::assist(helpful, ASSIST_OUTLET, 10), "out 10");
    EXPECT_EQ(host::assist(object(x), ASSIST_INLET, 0), "") << "no handler, no text";
    length = 499;
    host::assist(helpful, ASSIST_INLET, 0);
    EXPECT_THAT(faults(), IsEmpty());
    length = 500;
    host::assist(helpful, ASSIST_INLET, 0);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_rules, breaches_during_a_reset_are_not_forgotten)
{
    acts.keeps_signals = true;
    host::reset();
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_rules, only_the_first_thousand_breaches_are_kept)
{
    int own = 0;
    const auto breach = [&own](int times) {
        for (int i = 0; i < times; ++i) sysmem_freeptr(&own);
    };
    gensym(nullptr);
    breach(999);
    EXPECT_EQ(faults().size(), 1000u);
    gensym(nullptr);
    breach(1500);
    const auto kept_ones = faults();
    ASSERT_EQ(kept_ones.size(), 1000u);
    EXPECT_THAT(kept_ones.front(), HasSubstr("gensym"));
    EXPECT_THAT(kept_ones.back(), HasSubstr("sysmem_freeptr"));
    breach(1);
    EXPECT_EQ(faults().size(), 1u) << "room again";
}

// ---- Memory -------------------------------------------------------------------------------------

TEST_F(host_rules, fresh_memory_holds_rubbish)
{
    const auto memory = reinterpret_cast<unsigned char *>(sysmem_newptr(1000));
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(memory[i], 0xA5);
    sysmem_freeptr(memory);
}

TEST_F(host_rules, only_what_the_host_gave_is_given_back_and_only_once)
{
    int own = 0;
    sysmem_freeptr(&own);
    EXPECT_EQ(faults().size(), 1u);
    char *memory = sysmem_newptr(8);
    sysmem_freeptr(memory);
    sysmem_freeptr(memory);
    EXPECT_EQ(faults().size(), 1u);
    sysmem_freeptr(nullptr);
    EXPECT_THAT(faults(), IsEmpty());
    char *empty = sysmem_newptr(0);
    EXPECT_NE(empty, nullptr);
    sysmem_freeptr(empty);
}

TEST_F(host_rules, an_instance_is_not_given_back_as_plain_memory)
{
    const auto faults_of_it = [this] {
        sysmem_freeptr(x);
        return faults().size();
    };
    EXPECT_EXIT(std::_Exit(faults_of_it() == 1 ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(host_rules, the_chosen_request_fails_and_no_other)
{
    for (const long k : {1, 2, 5}) {
        host::fail_allocation(k);
        for (long i = 1; i <= 6; ++i) {
            char *memory = sysmem_newptr(8);
            EXPECT_EQ(memory == nullptr, i == k) << i << " of " << k;
            sysmem_freeptr(memory);
        }
    }
    host::fail_allocation(1);
    host::fail_allocation(0);
    char *memory = sysmem_newptr(8);
    EXPECT_NE(memory, nullptr) << "taken back";
    sysmem_freeptr(memory);
}

TEST_F(host_rules, a_new_request_to_fail_tells_what_was_left_of_the_former)
{
    EXPECT_EQ(host::fail_allocation(5), 0);
    for (int i = 0; i < 2; ++i) sysmem_freeptr(sysmem_newptr(8));
    EXPECT_EQ(host::fail_allocation(2), 3);
    create(); // an instance counts too
    EXPECT_EQ(host::fail_allocation(1), 1);
    EXPECT_EQ(sysmem_newptr(8), nullptr);
    EXPECT_EQ(host::fail_allocation(0), 0) << "it has struck";
    sysmem_freeptr(sysmem_newptr(8));
    EXPECT_EQ(host::fail_allocation(0), 0);
}

} // namespace
