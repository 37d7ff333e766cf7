// Three threads in one session: messages, audio, and the main thread's work.
#include "probe.h"

#include <atomic>
#include <thread>

namespace {

class host_threads : public host_session {
protected:
    void SetUp() override
    {
        host_session::SetUp();
        x = create("4 1");
    }

    template <class... Acts>
    static void at_once(Acts... acts)
    {
        std::thread threads[] = {std::thread(acts)...};
        for (std::thread &thread : threads) thread.join();
    }

    /// Lets others run until it is so.
    template <class Condition>
    static void await(Condition met)
    {
        while (!met()) std::this_thread::yield();
    }

    static method nothing()
    {
        return probe_class::as_method(+[](t_object *, t_symbol *, short, t_atom *) {});
    }

    probe *x = nullptr;
};

TEST_F(host_threads, each_is_told_the_inlet_of_its_own_message)
{
    std::atomic<int> inside{0};
    std::atomic<long> sum{0}, squares{0};
    acts.told = [&](probe *p) {
        ++inside;
        await([&] { return inside == 2; });
        const long inlet = proxy_getinlet(object(p));
        sum += inlet;
        squares += inlet * inlet;
    };
    const auto tell_at = [this](int inlet) { return [=] { host::send(object(x), inlet, "act"); }; };
    at_once(tell_at(2), tell_at(3));
    EXPECT_EQ(sum, 5);
    EXPECT_EQ(squares, 4 + 9);
    EXPECT_EQ(proxy_getinlet(object(x)), 0);
}

TEST_F(host_threads, only_the_messages_of_a_thread_that_says_so_are_the_main_one_s)
{
    static std::atomic<int> done;
    done = 0;
    const method job =
        probe_class::as_method(+[](t_object *, t_symbol *, short, t_atom *) { ++done; });
    acts.told = [job](probe *p) { defer(p, job, nullptr, 0, nullptr); };
    host::defer_at_once(true);
    at_once([this] { tell(x); });
    EXPECT_EQ(done, 0) << "of the scheduler";
    tell(x);
    EXPECT_EQ(done, 1);
    host::drain();
    EXPECT_EQ(done, 2);
}

TEST_F(host_threads, nobody_meets_a_block_between_blocks)
{
    long plays = 0; // no two may count at the same moment
    acts.block = [&](probe *, double **, double **, long) { ++plays; };
    host::start_audio();
    const auto count = [&] {
        for (int k = 0; k < 2000; ++k) {
            const host::between_blocks quiet, nested;
            ++plays;
        }
    };
    at_once(
        [] {
            for (int k = 0; k < 2000; ++k) host::perform();
        },
        count, count);
    EXPECT_EQ(plays, 6000);
}

TEST_F(host_threads, a_chain_that_is_rebuilt_or_gone_is_out_of_the_blocks)
{
    std::atomic<bool> over{false};
    std::atomic<const probe *> out{nullptr};
    std::atomic<long> met{0}, blocks{0};
    acts.block = [&](probe *p, double **, double **, long) {
        ++blocks;
        met += p == out;
    };
    acts.started = [&](probe *p, const short *, double, long) {
        out = p;
        const long before = blocks;
        await([&] { return blocks > before + 2; }); // of the other one
        out = nullptr;
    };
    acts.freed = [&](probe *p) { out = p; };
    probe *other = create();
    const auto restless = acts.started;
    acts.started = {};
    host::start_audio();
    acts.started = restless;
    at_once(
        [&] {
            while (!over) host::perform();
        },
        [&] {
            host::start_audio();
            host::destroy(object(other));
            const long before = blocks;
            await([&] { return blocks > before + 2; });
            host::stop_audio();
            over = true;
        });
    EXPECT_EQ(met, 0);
}

TEST_F(host_threads, a_locked_buffer_stays_until_its_block_ends)
{
    host::set_buffer("b", 1, 44100, {1, 1, 1});
    t_buffer_ref *ref = buffer_ref_new(object(x), gensym("b"));
    acts.noticed = [&](probe *, t_symbol *s, t_symbol *msg, void *sender, void *data) {
        return ref ? buffer_ref_notify(ref, s, msg, sender, data) : t_max_err{MAX_ERR_NONE};
    };
    std::atomic<bool> locked{false};
    bool whole = true, refused = false;
    acts.block = [&](probe *, double **, double **, long) {
        t_buffer_obj *b = buffer_ref_getobject(ref);
        const float *samples = buffer_locksamples(b);
        locked = true;
        // Who changes it is met by the lock that fails.
        await([&] {
            refused = !buffer_locksamples(b);
            if (!refused) buffer_unlocksamples(b);
            return refused;
        });
        whole = buffer_getframecount(b) == 3 && samples[0] + samples[1] + samples[2] == 3;
        buffer_unlocksamples(b);
    };
    host::start_audio();
    at_once([] { host::perform(); },
            [&] {
                await([&] { return locked.load(); });
                host::set_buffer("b", 1, 44100, {5});
            });
    EXPECT_TRUE(whole);
    EXPECT_TRUE(refused);
    const float *now = buffer_locksamples(buffer_ref_getobject(ref));
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(*now, 5);
    buffer_unlocksamples(buffer_ref_getobject(ref));
}

TEST_F(host_threads, a_deleted_buffer_answers_whoever_was_handed_it_until_the_block_ends)
{
    host::set_buffer("b", 1, 44100, {1, 1, 1});
    t_buffer_ref *ref = buffer_ref_new(object(x), gensym("b"));
    acts.noticed = [&](probe *, t_symbol *s, t_symbol *msg, void *sender, void *data) {
        return buffer_ref_notify(ref, s, msg, sender, data);
    };
    std::atomic<bool> handed{false};
    t_buffer_obj *b = nullptr;
    long frames = -1;
    float *samples = nullptr;
    acts.block = [&](probe *, double **, double **, long) {
        b = buffer_ref_getobject(ref);
        handed = true;
        await([&] { return !buffer_ref_getobject(ref); });
        frames = buffer_getframecount(b);
        samples = buffer_locksamples(b);
    };
    host::start_audio();
    at_once([] { host::perform(); },
            [&] {
                await([&] { return handed.load(); });
                host::delete_buffer("b");
            });
    EXPECT_EQ(frames, 3);
    EXPECT_EQ(samples, nullptr);
    EXPECT_THAT(faults(), IsEmpty());
    buffer_getframecount(b);
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("no such buffer")));
}

TEST_F(host_threads, all_that_they_say_is_kept_in_each_one_s_order)
{
    acts.block = [](probe *p, double **, double **, long) { object_post(object(p), "audio"); };
    acts.told = [](probe *p) {
        object_error(object(p), "scheduler");
        outlet_int(p->numbers, 1);
        defer(p, nothing(), nullptr, 0, nullptr);
        sysmem_freeptr(sysmem_newptr(8));
    };
    host::start_audio();
    constexpr int times = 500;
    at_once(
        [] {
            for (int k = 0; k < times; ++k) host::perform();
        },
        [this] {
            for (int k = 0; k < times; ++k) {
                host::set_time(k);
                tell(x);
            }
        },
        [] {
            for (int k = 0; k < times; ++k) {
                host::drain();
                const std::string name = "name " + std::to_string(k);
                object_post(nullptr, "%s", gensym(name.c_str())->s_name);
            }
        });
    std::vector<std::string> names;
    double scheduler_ms = -1;
    int audio = 0;
    for (const host::line &row : host::take_console())
        if (row.text == "audio") ++audio;
        else if (!row.error) names.push_back(row.text);
        else EXPECT_EQ(row.ms, ++scheduler_ms);
    EXPECT_EQ(audio, times);
    EXPECT_EQ(scheduler_ms, times - 1);
    ASSERT_EQ(names.size(), std::size_t{times});
    for (std::size_t k = 0; k < names.size(); ++k) EXPECT_EQ(names[k], "name " + std::to_string(k));
    EXPECT_EQ(host::take_numbers().size(), std::size_t{times});
}

} // namespace
