// Blocks of audio: who takes part, with which settings and connections, and in which memory.
#include "host_denormal.h"
#include "probe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace {

class host_audio : public host_session {
protected:
    /// Lets every audio start be told as "rate frames: counts of `ports` inlets and outlets".
    void watch_starts(int ports)
    {
        acts.started = [this, ports](probe *, const short *counts, double rate, long frames) {
            std::string text =
                std::to_string(std::lround(rate)) + " " + std::to_string(frames) + ":";
            for (int i = 0; i < ports; ++i) text += " " + std::to_string(counts[i]);
            starts.push_back(text);
        };
    }

    std::vector<std::string> started() { return std::exchange(starts, {}); }

    std::vector<std::string> starts;
};

TEST_F(host_audio, starts_with_the_first_block_and_goes_on_unchanged)
{
    watch_starts(2);
    create();
    EXPECT_THAT(started(), IsEmpty());
    host::run();
    EXPECT_THAT(started(), ElementsAre("44100 64: 0 1"));
    host::run();
    EXPECT_THAT(started(), IsEmpty());
}

TEST_F(host_audio, tells_how_many_cords_each_inlet_has)
{
    watch_starts(5);
    t_object *x = object(create("3 2"));
    host::connect(x, 1);
    host::connect(x, 2, 3);
    host::run();
    EXPECT_THAT(started(), ElementsAre("44100 64: 0 1 3 1 1"));
    host::connect(x, 1, 0);
    host::run();
    EXPECT_THAT(started(), ElementsAre("44100 64: 0 0 3 1 1"));
}

TEST_F(host_audio, is_rebuilt_when_settings_or_instances_change)
{
    watch_starts(0);
    t_object *first = object(create());
    host::run();
    EXPECT_EQ(started().size(), 1u);
    host::set_audio(96000, 256);
    EXPECT_EQ(sys_getsr(), 96000.f);
    EXPECT_EQ(sys_getblksize(), 256);
    EXPECT_THAT(started(), IsEmpty()) << "only with the next block";
    host::run();
    EXPECT_THAT(started(), ElementsAre("96000 256:"));
    create();
    host::run();
    EXPECT_EQ(started().size(), 2u);
    host::destroy(first);
    host::run();
    EXPECT_EQ(started().size(), 1u);
    host::start_audio();
    EXPECT_EQ(started().size(), 1u) << "on request";
    host::stop_audio();
    host::run();
    EXPECT_EQ(started().size(), 1u) << "after a stop";
}

TEST_F(host_audio, has_settings_of_its_own_in_a_subpatch)
{
    std::vector<long> blocks;
    blocks.reserve(8); // no heap use in a block
    acts.block = [&](probe *, double **, double **, long frames) { blocks.push_back(frames); };
    watch_starts(0);
    create();
    t_object *second = object(create());
    host::set_audio(second, 22050, 16);
    host::run();
    EXPECT_THAT(started(), ElementsAre("44100 64:", "22050 16:"));
    EXPECT_THAT(blocks, ElementsAre(64, 16));
    host::set_audio(48000, 32);
    host::run();
    EXPECT_THAT(started(), ElementsAre("48000 32:", "22050 16:"));
    EXPECT_EQ(sys_getblksize(), 32) << "the session's, also for the second";
}

TEST_F(host_audio, keeps_a_sample_rate_that_is_no_whole_number)
{
    double told = 0;
    acts.started = [&](probe *, const short *, double rate, long) { told = rate; };
    create();
    host::set_audio(48000 / 1.001, 64);
    host::run();
    EXPECT_EQ(told, 48000 / 1.001);
    EXPECT_EQ(sys_getsr(), static_cast<float>(48000 / 1.001));
}

TEST_F(host_audio, runs_instances_in_order_of_creation)
{
    std::vector<probe *> order;
    order.reserve(8);
    acts.block = [&](probe *x, double **, double **, long) { order.push_back(x); };
    probe *a = create(), *b = create(), *c = create();
    host::run();
    EXPECT_THAT(order, ElementsAre(a, b, c));
}

TEST_F(host_audio, a_block_may_have_another_length_than_announced)
{
    std::vector<long> blocks;
    blocks.reserve(8); // no heap use in a block
    acts.block = [&](probe *, double **, double **, long frames) { blocks.push_back(frames); };
    create();
    host::run(1);
    host::run(8192);
    EXPECT_THAT(blocks, ElementsAre(1, 8192));
    EXPECT_THROW(host::run(8193), host::error);
    EXPECT_THROW(host::run(-1), host::error);
}

TEST_F(host_audio, a_vector_size_without_room_or_sense_is_the_users_error)
{
    t_object *x = object(create());
    for (const long size : {-1L, 8193L}) {
        EXPECT_THROW(host::set_audio(44100, size), host::error) << size;
        EXPECT_THROW(host::set_audio(x, 44100, size), host::error) << size;
    }
    EXPECT_THROW(host::set_audio(44100, 0), host::error);
    EXPECT_THROW(host::set_audio(0, 64), host::error);
}

TEST_F(host_audio, feeds_connected_inlets_and_silence_elsewhere)
{
    std::array<double, 3> heard{};
    acts.block = [&](probe *, double **in, double **out, long frames) {
        heard = {in[0][0], in[1][0], in[1][frames - 1]};
        std::fill_n(out[0], frames, 0.0);
    };
    t_object *x = object(create("2 1"));
    std::fill_n(host::input(x, 0), 64, 7.0);
    std::fill_n(host::input(x, 1), 64, 5.0);
    host::input(x, 1)[63] = 6;
    host::connect(x, 1);
    host::run();
    EXPECT_THAT(heard, ElementsAre(0, 5, 6));
    host::run();
    EXPECT_THAT(heard, ElementsAre(0, 5, 6)) << "the source keeps its values";
    host::connect(x, 0);
    host::connect(x, 1, 0);
    host::run();
    EXPECT_THAT(heard, ElementsAre(7, 0, 0));
}

TEST_F(host_audio, outlets_share_memory_with_connected_inlets)
{
    acts.block = [](probe *, double **in, double **out, long frames) {
        EXPECT_EQ(in[0], out[0]);
        EXPECT_EQ(in[1], out[1]);
        for (int k = 0; k < 3; ++k)
            for (long i = 0; i < frames; ++i) out[k][i] = k;
        EXPECT_EQ(in[1][0], 1) << "clearing an outlet before reading destroys the inlet";
    };
    t_object *x = object(create("2 3"));
    host::connect(x, 0);
    host::connect(x, 1);
    host::run();
    for (int k = 0; k < 3; ++k) EXPECT_EQ(host::output(x, k)[63], k);
}

TEST_F(host_audio, outlets_stand_apart_where_the_instance_forbids_sharing)
{
    acts.born = [](probe *x) { x->header.z_misc |= Z_NO_INPLACE; };
    acts.block = [](probe *, double **in, double **out, long frames) {
        std::fill_n(out[0], frames, -1.0);
        EXPECT_EQ(in[0][0], 3);
    };
    t_object *x = object(create());
    host::connect(x, 0);
    host::input(x, 0)[0] = 3;
    host::run();
    EXPECT_EQ(host::output(x, 0)[0], -1);
}

TEST_F(host_audio, an_outlet_that_is_not_written_holds_garbage)
{
    acts.block = [](probe *, double **, double **out, long frames) {
        std::fill_n(out[0], frames, 0.0);
    };
    t_object *x = object(create("1 2"));
    host::run();
    EXPECT_EQ(host::output(x, 0)[10], 0);
    EXPECT_TRUE(std::isnan(host::output(x, 1)[10]));
    acts.block = {};
    host::run();
    EXPECT_TRUE(std::isnan(host::output(x, 0)[10])) << "no rest of the block before";
}

TEST_F(host_audio, instances_do_not_hear_each_other)
{
    acts.block = [](probe *, double **in, double **out, long frames) {
        for (long i = 0; i < frames; ++i) out[0][i] = 10 * in[0][i];
    };
    t_object *a = object(create()), *b = object(create());
    for (t_object *x : {a, b}) host::connect(x, 0);
    std::fill_n(host::input(a, 0), 64, 1.0);
    std::fill_n(host::input(b, 0), 64, 2.0);
    host::run();
    EXPECT_EQ(host::output(a, 0)[63], 10);
    EXPECT_EQ(host::output(b, 0)[63], 20);
}

TEST_F(host_audio, an_instance_without_signal_inlets_sounds_too)
{
    acts.block = [](probe *, double **, double **out, long frames) {
        std::fill_n(out[0], frames, 0.25);
    };
    t_object *x = object(create("0 1"));
    EXPECT_EQ(host::inlets(x), 1) << "for messages";
    EXPECT_THROW(host::connect(x, 0), host::error);
    host::run();
    const auto first = [&] { return host::output(x, 0)[0]; };
    EXPECT_EXIT(std::_Exit(first() == 0.25 ? 0 : 1), ::testing::ExitedWithCode(0), "");
    host::destroy(x);
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(host_audio, an_outlet_can_be_asked_before_the_first_block)
{
    const t_object *x = object(create());
    const auto asked = [&] {
        try {
            return host::output(x, 0)[0] == 0 ? 0 : 1;
        } catch (const host::error &) {
            return 0;
        }
    };
    EXPECT_EXIT(std::_Exit(asked()), ::testing::ExitedWithCode(0), "");
}

TEST_F(host_audio, ports_that_are_not_there_are_the_users_error)
{
    t_object *x = object(create("2 1"));
    for (int inlet : {-1, 2}) {
        EXPECT_THROW(host::connect(x, inlet), host::error);
        EXPECT_THROW(host::input(x, inlet), host::error);
    }
    for (int outlet : {-1, 1}) EXPECT_THROW(host::output(x, outlet), host::error);
}

TEST_F(host_audio, a_freed_instance_takes_no_part)
{
    int blocks = 0;
    acts.block = [&](probe *, double **, double **, long) { ++blocks; };
    t_object *a = object(create());
    create();
    host::run();
    host::destroy(a);
    host::run();
    EXPECT_EQ(blocks, 3);
}

TEST_F(host_audio, an_outlet_made_later_is_heard_after_the_next_block)
{
    acts.block = [](probe *, double **, double **out, long) { *out[0] = 1; };
    probe *x = create();
    host::run();
    EXPECT_EQ(host::output(object(x), 0)[0], 1);
    outlet_new(x, "signal"); // on the left: the former one is number 1 now
    EXPECT_THROW(host::output(object(x), 0), host::error) << "the new one had no block yet";
    EXPECT_THROW(host::output(object(x), 1), host::error);
    acts.block = [](probe *, double **, double **out, long) { *out[0] = 2, *out[1] = 3; };
    host::run();
    EXPECT_EQ(host::output(object(x), 0)[0], 2);
    EXPECT_EQ(host::output(object(x), 1)[0], 3);
}

TEST_F(host_audio, a_rate_or_a_number_of_cords_beyond_sense_is_the_users_error)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    t_object *x = object(create());
    watch_starts(1);
    for (const double rate : {inf, -inf, std::nan(""), -44100.0}) {
        EXPECT_THROW(host::set_audio(rate, 32), host::error) << rate;
        EXPECT_THROW(host::set_audio(x, rate, 32), host::error) << rate;
    }
    for (const int cords : {-1, std::numeric_limits<int>::min()})
        EXPECT_THROW(host::connect(x, 0, cords), host::error) << cords;
    host::run();
    EXPECT_THAT(started(), ElementsAre("44100 64: 0")) << "all as before";
}

/// Whether a denormal result and a denormal operand, each computed now, are kept.
std::array<bool, 2> denormals_kept()
{
    using limits = std::numeric_limits<double>;
    const volatile double small = limits::min(), denormal = limits::denorm_min();
    return {small * 0.5 > 0, denormal * 1e300 > 0};
}

TEST_F(host_audio, denormals_are_0_in_a_block_and_nowhere_else)
{
    std::array<bool, 2> kept{};
    acts.block = [&](probe *, double **, double **, long) { kept = denormals_kept(); };
    acts.started = [&](probe *, const short *, double, long) {
        EXPECT_THAT(denormals_kept(), ElementsAre(true, true)) << "the main thread's";
    };
    create();
    kept = denormals_kept();
    ASSERT_THAT(kept, ElementsAre(true, true));
    host::run();
    EXPECT_THAT(kept, ElementsAre(false, false));
    EXPECT_THAT(denormals_kept(), ElementsAre(true, true));
    const host::flush_denormals already;
    host::run();
    EXPECT_THAT(denormals_kept(), ElementsAre(false, false)) << "a mode of the caller's own";
}

TEST_F(host_audio, denormals_return_when_a_block_ends_early)
{
    acts.block = [](probe *, double **, double **, long) { throw std::runtime_error("enough"); };
    create();
    EXPECT_THROW(host::run(), std::runtime_error);
    EXPECT_THAT(denormals_kept(), ElementsAre(true, true));
    faults(); // an exception takes heap
}

} // namespace
