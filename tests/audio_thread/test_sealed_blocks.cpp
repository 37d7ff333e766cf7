// Blocks of audio without a call of the system: no memory is asked for, no file opened, nobody
// woken or waited for, whatever the state of the buffers and the pool. The built external plays in
// a process that may only end. What it posts goes to the host, which is not at issue here.
//
// The heap is watched, too, since most of its operations need no system; and what a lock that is
// free would do without the system cannot be reached, as the external's imports show.
#include "module_session.h"
#include "sealed.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <limits>
#include <mutex>
#include <ostream>

#include <fcntl.h>

namespace {

/// What sealed blocks did.
struct tally {
    long rows, sounding;
};

tally &seen()
{
    static tally *const shared = shared_with_children<tally>();
    return *shared;
}

} // namespace

// In front of the host's own.
void object_post(t_object *, C74_CONST char *, ...) { ++seen().rows; }
void object_error(t_object *, C74_CONST char *, ...) { ++seen().rows; }

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

/// What F0 and the offset run through, a value a stretch of 100 samples.
constexpr double pitches[] = {0, 110, 3000, 44000, -220, nan, 1e-300, 700, inf, 44099.9, 50};
constexpr double offsets[] = {0, 8, 200, -50, 1e9, nan, 300, 995};

struct scene {
    const char *name, *box; // after outlets and table
    const char *messages;   // before the blocks
    void (*change)(long);   // of the samples, while 20 fogs sound
    bool says, sounds;
};

void PrintTo(const scene &s, std::ostream *out) { *out << s.name; }

constexpr long channels[] = {1, 2, 4}; // of the samples: sample1, sample2, sample4

std::string sample(long count) { return "sample" + std::to_string(count); }

void fill(long of, long count, long frames, double rate = 44100)
{
    host::set_buffer(sample(of), count, rate,
                     std::vector<float>(static_cast<std::size_t>(count * frames), 0.5f));
}

void remove(long of) { host::delete_buffer(sample(of)); }
void refuse(long of) { host::refuse_locks(sample(of), true); }
void shrink(long of) { fill(of, of, 3); }
void empty(long of) { fill(of, of, 0); }
void add_a_channel(long of) { fill(of, of + 1, 44100); }
void spoil_rate(long of) { fill(of, of, 44100, nan); }

const scene scenes[] = {
    {"fogs_begin_and_end", "100 5 1.3 60 1 1 4 2 0.9", "silent 1", nullptr, false, true},
    {"fogs_as_short_as_can_be", "100 5 1.3 60 1 0.05 0.1 0.05", "silent 1", nullptr, false, true},
    {"the_pool_is_full", "7 5 0.7 0 1 3 900 3", "", nullptr, true, true},
    {"the_limit_shortens_and_refuses", "30 5 1 0 1 3 90 3", "limit 2 9", nullptr, true, true},
    {"the_envelope_follows_f0", "100 5 1 60 1", "silent 1, autoenv 3 50", nullptr, false, true},
    {"debug_lines_are_asked_for", "20 5 1 60 1 1 4 2", "test 1", nullptr, true, true},
    {"lowpasses_close", "50 5 1 60 1 1 4 2", "lp -1 500", nullptr, false, true},
    {"backwards_and_far", "50 900 -8 60 1 1 40 2", "", nullptr, false, true},
    {"more_frames_than_fit", "50 5 7.9 0 1 1 40 2", "", nullptr, true, false},
    {"a_fog_is_on_its_way", "50 5 1 0 1 1 40 2", "2.5, 7.25, 50., 500.", nullptr, false, true},
    {"no_table_was_ever_there", "50", "set nowhere", nullptr, false, false},
    {"the_buffer_goes", "30 5 1 0 1 3 900 3", "", remove, false, false},
    {"the_buffer_refuses_its_samples", "30 5 1 0 1 3 900 3", "", refuse, true, false},
    {"the_buffer_shrinks", "30 5 1 0 1 3 900 3", "", shrink, false, false},
    {"the_buffer_is_empty", "30 5 1 0 1 3 900 3", "", empty, false, false},
    {"the_buffer_has_other_channels", "30 5 1 0 1 3 900 3", "", add_a_channel, false, false},
    {"the_buffer_s_rate_is_no_number", "30 5 1 0 1 3 all 3", "", spoil_rate, false, false},
};

class sealed_blocks : public module_session, public ::testing::WithParamInterface<scene> {
protected:
    /// An instance of every layout for every sample.
    void begin(const scene &s, long frames)
    {
        vector = frames;
        host::set_audio(44100, vector);
        for (const long count : channels) fill(count, count, 44100);
        all.clear();
        for (const int layout : layouts)
            for (const long count : channels) {
                t_object *x = create(std::to_string(layout) + ' ' + sample(count) + ' ' + s.box);
                host::send(x, 0, s.messages);
                host::connect(x, 0);
                host::connect(x, 1);
                all.push_back(x);
            }
        host::drain();
        host::start_audio();
    }

    /// The clock runs fast, so that no warning is held back for long.
    int play(long samples)
    {
        const auto value = [](const auto &values, long at) {
            return values[std::size_t(at / 100) % std::size(values)];
        };
        for (long block = 0; block < samples / vector; ++block) {
            for (t_object *x : all)
                for (long i = 0; i < vector; ++i) {
                    host::input(x, 0)[i] = value(pitches, block * vector + i);
                    host::input(x, 1)[i] = value(offsets, block * vector + i);
                }
            host::set_time(host::time() + 1100);
            // Every seventh block is shorter than announced, and no multiple of anything.
            host::run(block % 7 == 6 ? vector - 3 : 0);
            for (t_object *x : all) {
                const double *out = host::output(x, 0);
                seen().sounding +=
                    std::any_of(out, out + vector - 3, [](double v) { return v != 0; });
            }
        }
        return host::take_faults().empty() ? 0 : 1;
    }

    long vector = 0;
    std::vector<t_object *> all;
};

INSTANTIATE_TEST_SUITE_P(, sealed_blocks, ::testing::ValuesIn(scenes),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(sealed_blocks, call_nothing)
{
    const scene &s = GetParam();
    tally whole = {};
    for (const long frames : {16L, 64L, 256L, 4096L}) {
        SCOPED_TRACE(frames);
        host::reset();
        host::set_time(100000);
        begin(s, frames);
        if (s.change) {
            for (t_object *x : all)
                for (int fog = 0; fog < 20; ++fog) host::send(x, 0, "bang");
            play(2 * frames);
            for (const long count : channels) s.change(count);
        }
        seen() = {};
        const std::string end = seal::run([&] { return play(std::max(4400L, 4 * frames)); });
        if (end == seal::unavailable) GTEST_SKIP() << end;
        ASSERT_EQ(end, "") << "code 1: a rule of the host was broken, as by use of the heap";
        whole.rows += seen().rows;
        whole.sounding += seen().sounding;
    }
    if (s.says) { EXPECT_GE(whole.rows, 50); }
    if (s.sounds) { EXPECT_GE(whole.sounding, 50); }
}

/// What must not go unnoticed.
TEST(sealed, any_call_is_noticed_and_named)
{
    if (seal::run([] { return 0; }) == seal::unavailable) GTEST_SKIP() << seal::unavailable;
    EXPECT_EQ(seal::run([] { return 0; }), "");
    EXPECT_EQ(seal::run([] { return 3; }), "code 3");
    const auto call = [](long number) { return "system call " + std::to_string(number); };
    EXPECT_EQ(seal::run([] { return int(getppid()); }), call(SYS_getppid));
    EXPECT_EQ(seal::run([] { return int(write(1, "", 0)); }), call(SYS_write));
    EXPECT_EQ(seal::run([] { return open("/dev/null", O_RDONLY); }), call(SYS_openat));
    EXPECT_EQ(seal::run([] { return usleep(1); }), call(SYS_clock_nanosleep));
    EXPECT_EQ(seal::run([] { return munmap(nullptr, 1 << 20); }), call(SYS_munmap));
    EXPECT_EQ(seal::run([] {
                  std::mutex held;
                  std::unique_lock lock(held);
                  std::condition_variable never;
                  return int(never.wait_for(lock, std::chrono::milliseconds(1)));
              }),
              call(SYS_futex));
}

} // namespace
