// Whole renders through the loaded module with other audio settings on the way, beside other
// instances, and in vectors that inlets and outlets share.
#include "module_session.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr double pi = 3.14159265358979323846;

class surroundings : public module_session {
protected:
    void SetUp() override
    {
        module_session::SetUp();
        level("sample1", 1);
    }

    static bool same_bytes(const std::vector<signal> &a, const std::vector<signal> &b)
    {
        if (a.size() != b.size()) return false;
        for (std::size_t o = 0; o < a.size(); ++o)
            if (a[o].size() != b[o].size() ||
                std::memcmp(a[o].data(), b[o].data(), a[o].size() * sizeof(double)) != 0)
                return false;
        return true;
    }
};

// ---- Audio settings -----------------------------------------------------------------------------

TEST_F(surroundings, a_large_vector_is_reported_and_plays)
{
    host::set_audio(44100, 128);
    t_object *x = create("1 sample1 5 0 1 0 1 0 50 0");
    host::start_audio();
    EXPECT_THAT(console(),
                ::testing::ElementsAre("!k.vorb~: signal vector size = 128 (required to be smaller "
                                       "or equal to 64)"));
    host::send(x, 0, "bang");
    EXPECT_NEAR(play(x, 1, 128)[0][127], 1, near_one);
}

TEST_F(surroundings, fogs_that_sound_through_a_restart_at_another_rate_do_not_notice_it)
{
    mono_buffer("sample1", 44100, [](long i) { return std::sin(static_cast<double>(i) * 0.1); });
    const auto sound = [](double second_rate) {
        host::set_audio(44100, 64);
        t_object *x = create("2 sample1 5 0 1.3 40 1 5 20 20");
        host::start_audio();
        host::send(x, 0, "bang");
        std::vector<signal> out = play(x, 40, 64, [&](long b) {
            if (b == 8) host::set_audio(second_rate, 64);
        });
        host::destroy(x);
        return out;
    };
    const std::vector<signal> plain = sound(44100);
    EXPECT_GT(*std::max_element(plain[0].begin(), plain[0].end()), 0.1);
    EXPECT_TRUE(same_bytes(plain, sound(96000)));
}

TEST_F(surroundings, derived_values_keep_the_old_rate_until_a_parameter_changes)
{
    t_object *x = create("1 sample1 5 0 1 200 1 0 20 0");
    host::start_audio();
    const auto decay = [x] {
        host::send(x, 0, "bang");
        const signal out = play(x, 40, 64)[0];
        return out[41] / out[40];
    };
    EXPECT_NEAR(decay(), std::exp(-pi * 200 / 44100), near_one);
    host::set_audio(88200, 64);
    host::start_audio();
    EXPECT_NEAR(decay(), std::exp(-pi * 200 / 44100), near_one);
    host::send(x, 7, "0."); // any parameter
    EXPECT_NEAR(decay(), std::exp(-pi * 200 / 88200), near_one);
}

TEST_F(surroundings, fogs_survive_any_change_of_vector_size_and_end)
{
    for (const long first : {1L, 16L, 64L, 512L})
        for (const long second : {1L, 16L, 64L, 1024L, 4096L}) {
            host::set_audio(44100, first);
            t_object *x = create("1 sample1 20 0 1.5 0 1 5 50 20");
            host::connect(x, 0);
            std::fill_n(host::input(x, 0), 4096, 300.0);
            play(x, 1000 / first + 1, first);
            EXPECT_GT(ask(x, "usedfogs"), 1);
            host::set_audio(48000, second);
            const signal out = play(x, 2000 / second + 1, second)[0];
            EXPECT_TRUE(
                std::all_of(out.begin(), out.end(), [](double v) { return std::isfinite(v); }));
            host::connect(x, 0, 0);
            play(x, 6000 / second + 2, second);
            EXPECT_EQ(ask(x, "freefogs"), 20) << first << ' ' << second;
            host::destroy(x);
        }
}

// ---- Signals ------------------------------------------------------------------------------------

TEST_F(surroundings, the_offset_signal_sets_the_position_without_latency_and_stays_set)
{
    mono_buffer("sample1", 44100, [](long i) { return static_cast<double>(i) / 44100; });
    t_object *x = player(1);
    // The second block of a fog begins one frame behind its offset.
    const auto start_frame = [x] {
        host::send(x, 0, "reset, bang");
        return play(x, 2, 64)[0][64] * 44100 - 1;
    };
    const double latency_ms = (2 * 64 + 12) / 44.1;
    host::send(x, 1, "30.");
    EXPECT_NEAR(start_frame(), (30 + latency_ms) * 44.1, 0.01);
    host::connect(x, 1);
    std::fill_n(host::input(x, 1), 64, 50.0);
    EXPECT_NEAR(start_frame(), (30 + latency_ms) * 44.1, 0.01); // heard by the phasor alone
    host::connect(x, 0);
    std::fill_n(host::input(x, 0), 64, 441.0);
    play(x, 2, 64);
    host::connect(x, 0, 0);
    host::connect(x, 1, 0);
    EXPECT_NEAR(start_frame(), 50 * 44.1, 0.01);
    host::send(x, 0, "offset 30");
    EXPECT_NEAR(start_frame(), (30 + latency_ms) * 44.1, 0.01);
}

// ---- Instances and vectors ----------------------------------------------------------------------

/// Everything at once: signals, messages, several tables.
std::vector<std::vector<double>> busy(t_object *x)
{
    host::connect(x, 0);
    host::connect(x, 1);
    std::vector<std::vector<double>> out(static_cast<std::size_t>(host::signal_outlets(x)));
    for (int b = 0; b < 120; ++b) {
        for (int i = 0; i < 64; ++i) {
            host::input(x, 0)[i] = 200 + b + i * 0.01;
            host::input(x, 1)[i] = 30 + b * 0.5 + i * 0.003;
        }
        if (b == 40) host::send(x, 0, "env 60 1 80 2 3, lp -2 10, list 0.5 0.25");
        if (b == 60) host::send(x, 0, "3.7, limit 1 6");
        host::run();
        for (std::size_t o = 0; o < out.size(); ++o) {
            const double *from = host::output(x, static_cast<int>(o));
            out[o].insert(out[o].end(), from, from + 64);
        }
    }
    return out;
}

constexpr const char *busy_box = " sample1 8 0 0.8 60 0.9 3 10 8 0.9";

TEST_F(surroundings, rendering_twice_gives_the_same_bytes)
{
    for (const int layout : layouts) {
        std::vector<std::vector<signal>> renders;
        for (int time = 0; time < 2; ++time) {
            host::reset(); // not unloaded: what the process keeps must not matter
            mono_buffer("sample1", 44100, [](long i) { return std::sin(std::sqrt(i) * 3.0); });
            renders.push_back(busy(create(std::to_string(layout) + busy_box)));
        }
        EXPECT_NE(*std::max_element(renders[0][0].begin(), renders[0][0].end()), 0);
        EXPECT_TRUE(same_bytes(renders[0], renders[1])) << layout;
    }
}

TEST_F(surroundings, instances_side_by_side_sound_as_each_alone)
{
    mono_buffer("sample1", 44100, [](long i) { return std::sin(std::sqrt(i) * 3.0); });
    const std::string box = std::string("4") + busy_box;
    t_object *alone = create(box);
    const std::vector<signal> expected = busy(alone);
    host::destroy(alone);

    t_object *before = create("10 sample1 20 3 1.7 0 1 0 20 5");
    t_object *x = create(box);
    t_object *after = create("1 sample1 20 7 0.4 90 1 0 20 5");
    for (t_object *other : {before, after}) {
        host::connect(other, 0);
        std::fill_n(host::input(other, 0), 64, 333.0);
    }
    EXPECT_TRUE(same_bytes(expected, busy(x)));
}

TEST_F(surroundings, an_unwritten_block_repeats_what_another_instance_read_last)
{
    host::set_audio(44100, 256);
    level("sample2", 0.5);
    t_object *first = create("1 sample2 5 0 1 0 1 0 200 0");
    t_object *second = create("1 sample1 5 0 1 0 1 0 200 0");
    host::start_audio();
    host::send(first, 0, "bang");
    play(first, 3, 256);
    host::send(second, 0, "bang"); // its first block would move too far, its next ones do not
    host::run();
    EXPECT_NEAR(host::output(second, 0)[100], 0.5, near_one);
    host::run();
    EXPECT_NEAR(host::output(second, 0)[100], 1, near_one);
}

TEST_F(surroundings, outlets_may_share_their_memory_with_the_signal_inlets)
{
    mono_buffer("sample1", 44100, [](long i) { return static_cast<double>(i) / 44100; });
    t_object *x = create(std::string("10") + busy_box);
    // The host lets the first two outlets share with F0 and offset; equal gains until block 40.
    const std::vector<signal> out = busy(x);
    for (std::size_t o = 0; o < 2; ++o)
        EXPECT_TRUE(std::equal(out[9].begin(), out[9].begin() + 40 * 64, out[o].begin()));
    EXPECT_GT(*std::max_element(out[9].begin(), out[9].end()), 0);
}

TEST_F(surroundings, an_instance_may_be_freed_while_it_sounds)
{
    t_object *x = player(6), *other = player(2);
    host::send(x, 0, "bang, 3., set sample2"); // its deferred call goes with it
    host::send(other, 0, "bang");
    host::run();
    host::destroy(x);
    host::drain();
    EXPECT_NEAR(play(other, 1, 64)[0][63], 1, near_one);
    play(other, 40, 64);
    EXPECT_EQ(ask(other, "freefogs"), 5);
}

} // namespace
