// Deferred calls, the clock and the console.
#include "probe.h"

#include <cmath>
#include <limits>
#include <utility>

namespace {

std::vector<std::string> done;

void job(probe *, t_symbol *name, short argc, t_atom *argv)
{
    std::string text = (name ? name->s_name : "-") + (" " + std::to_string(argc));
    for (short i = 0; argv && i < argc; ++i) text += " " + std::to_string(argv[i].a_w.w_long);
    done.push_back(text);
}

class host_time : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        done.clear();
    }

    static void later(probe *x, const char *name, host::atoms arguments = {})
    {
        defer(x, probe_class::as_method(job), gensym(name), static_cast<short>(arguments.size()),
              arguments.empty() ? nullptr : arguments.data());
    }
};

TEST_F(host_time, deferred_calls_wait_for_the_drain_and_keep_their_order)
{
    acts.born = [](probe *x) { later(x, "born"); };
    acts.told = [](probe *x) {
        later(x, "first");
        later(x, "second");
    };
    probe *a = create(), *b = create();
    tell(b);
    tell(a);
    EXPECT_THAT(done, IsEmpty());
    host::run();
    EXPECT_THAT(done, IsEmpty());
    host::drain();
    EXPECT_THAT(done,
                ElementsAre("born 0", "born 0", "first 0", "second 0", "first 0", "second 0"));
    host::drain();
    EXPECT_EQ(done.size(), 6u) << "each once";
}

TEST_F(host_time, a_deferred_call_gets_a_copy_of_its_atoms)
{
    acts.told = [](probe *x) {
        host::atoms short_lived = {host::atom(t_atom_long{4}), host::atom(t_atom_long{5})};
        later(x, "copy", short_lived);
        short_lived[0] = host::atom(t_atom_long{9});
    };
    tell(create());
    host::drain();
    EXPECT_THAT(done, ElementsAre("copy 2 4 5"));
}

TEST_F(host_time, a_deferred_call_without_atoms_keeps_its_count)
{
    acts.told = [](probe *x) { defer(x, probe_class::as_method(job), nullptr, 3, nullptr); };
    tell(create());
    host::drain();
    EXPECT_THAT(done, ElementsAre("- 3"));
}

TEST_F(host_time, deferred_calls_of_a_freed_object_are_dropped)
{
    acts.told = [](probe *x) { later(x, "told"); };
    acts.freed = [](probe *x) { later(x, "dying"); };
    probe *going = create(), *staying = create();
    tell(going);
    tell(staying);
    host::destroy(object(going));
    host::drain();
    EXPECT_THAT(done, ElementsAre("told 0"));
}

TEST_F(host_time, a_deferred_call_may_defer_and_does_so_on_the_main_thread)
{
    acts.told = [](probe *x) {
        const auto outer = [](probe *p, t_symbol *, short, t_atom *) {
            buffer_ref_new(&p->header.z_ob, gensym("b")); // allowed here only
            later(p, "inner");
            done.push_back("outer");
        };
        defer(x, probe_class::as_method(+outer), nullptr, 0, nullptr);
    };
    tell(create());
    host::drain();
    EXPECT_THAT(done, ElementsAre("outer", "inner 0"));
}

TEST_F(host_time, calls_deferred_on_the_main_thread_may_run_at_once)
{
    acts.born = [](probe *x) {
        later(x, "born");
        done.push_back("constructed");
    };
    acts.told = [](probe *x) { later(x, "told"); };
    host::defer_at_once(true);
    probe *x = create();
    EXPECT_THAT(done, ElementsAre("born 0", "constructed"));
    tell(x);
    EXPECT_EQ(done.size(), 3u) << "messages run on the main thread too";
    host::defer_at_once(false);
    tell(x);
    EXPECT_EQ(done.size(), 3u) << "the scheduler's calls wait";
    host::drain();
    EXPECT_EQ(done.size(), 4u);
    create();
    EXPECT_EQ(done.back(), "constructed");
    host::reset();
    host::drain();
    EXPECT_EQ(done.back(), "constructed") << "a reset drops what waits";
}

TEST_F(host_time, the_clock_stands_until_it_is_set)
{
    EXPECT_EQ(gettime(), 0);
    host::set_time(1234.9);
    EXPECT_EQ(gettime(), 1234);
    EXPECT_EQ(host::time(), 1234.9);
    create();
    host::run();
    host::drain();
    EXPECT_EQ(gettime(), 1234);
    host::set_time(3e9); // beyond 32 bits
    EXPECT_EQ(gettime(), static_cast<long>(3000000000));
    host::set_time(10);
    EXPECT_EQ(gettime(), 10) << "it may go back";
}

TEST_F(host_time, the_console_keeps_channel_time_object_and_text_in_order)
{
    probe *x = create();
    host::set_time(5);
    object_post(object(x), "%s %d%%", "some", 50);
    host::set_time(6);
    object_error(nullptr, "%s", std::string(3000, 'x').c_str());
    const std::vector<host::line> rows = host::take_console();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_FALSE(rows[0].error);
    EXPECT_EQ(rows[0].text, "some 50%");
    EXPECT_EQ(rows[0].object, object(x));
    EXPECT_EQ(rows[0].ms, 5);
    EXPECT_TRUE(rows[1].error);
    EXPECT_EQ(rows[1].text, std::string(3000, 'x'));
    EXPECT_EQ(rows[1].object, nullptr);
    EXPECT_EQ(rows[1].ms, 6);
    EXPECT_THAT(host::take_console(), IsEmpty());
}

TEST_F(host_time, a_call_without_a_function_or_with_a_negative_count_is_not_deferred)
{
    const method some = probe_class::as_method(job);
    t_atom one = host::atom(1);
    struct row {
        method fn;
        short count;
        t_atom *atoms;
    };
    for (const bool at_once : {false, true}) {
        host::defer_at_once(at_once);
        probe *x = create();
        for (const auto &[fn, count, atoms] : {row{nullptr, 0, nullptr}, row{nullptr, 1, &one},
                                               row{some, -1, &one}, row{some, -1, nullptr}}) {
            defer(x, fn, nullptr, count, atoms);
            EXPECT_THAT(faults(), ElementsAre(HasSubstr("defer")))
                << count << (atoms ? " atoms" : " of none") << (fn ? "" : ", no function");
        }
        host::drain();
        EXPECT_THAT(std::exchange(done, {}), IsEmpty());
    }
}

TEST_F(host_time, the_clock_refuses_what_is_no_time)
{
    constexpr double inf = std::numeric_limits<double>::infinity(), end = 9e15;
    host::set_time(7);
    for (const double ms : {std::nan(""), inf, -inf, std::nextafter(end, inf),
                            std::nextafter(-end, -inf), std::numeric_limits<double>::max()}) {
        EXPECT_THROW(host::set_time(ms), host::error) << ms;
        EXPECT_EQ(host::time(), 7);
    }
    for (const double ms : {end, -end}) {
        host::set_time(ms);
        EXPECT_EQ(host::time(), ms);
    }
}

TEST_F(host_time, a_strangers_line_is_printed_and_a_fault)
{
    t_object stranger{};
    object_post(&stranger, "post %d", 1);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("object_post")));
    object_error(&stranger, "error %d", 2);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("object_error")));
    EXPECT_THAT(console(), ElementsAre("post 1", "!error 2"));
}

} // namespace
