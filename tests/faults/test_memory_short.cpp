// Each of the allocations fails in turn: at load, at creation, in the registry of buffers, at audio
// start.
#include "fault_session.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class memory_short : public fault_session {
protected:
    void SetUp() override
    {
        fault_session::SetUp();
        fill(1);
    }

    static t_object *birth(std::vector<std::string> *said = nullptr)
    {
        t_object *x = host::create("k.vorb~ " + std::to_string(source().layout) +
                                   " sample1 5 0 1 0 1 0 500 0");
        host::drain();
        std::vector<std::string> rows = console();
        if (said) *said = rows;
        return x;
    }

    static void expect_sound(t_object *x, double v = 1)
    {
        host::start_audio();
        host::send(x, 0, "bang");
        host::run();
        EXPECT_NEAR(host::output(x, 0)[63], v, 4 * near_one);
    }
};

FOR_EVERY_SOURCE(memory_short);

// ---- Load and creation --------------------------------------------------------------------------

struct shortage {
    const char *what;
    std::vector<std::string> said; // after the banner
    bool born;
};

/// What a first creation asks for, in this order.
const shortage shortages[] = {
    {"interpolation weights, made by the instance instead", {"!k.vorb~: make samp tab"}, true},
    {"random pool, which nothing plays from", {}, true},
    {"instance", {"vorb_new: object_alloc failed"}, false},
    {"entry of the buffer reference, used unlisted",
     {"vorb_bufref_add_entry: cannot allocate memory"},
     true},
};

TEST_P(memory_short, every_failure_at_creation_is_said_and_harms_no_later_one)
{
    long k = 0;
    for (const shortage &s : shortages) {
        SCOPED_TRACE(s.what);
        host::unload();
        fill(1);
        host::fail_allocation(++k);
        std::vector<std::string> said;
        t_object *x = birth(&said);
        EXPECT_EQ(host::fail_allocation(0), 0) << "it struck";
        std::vector<::testing::Matcher<std::string>> expected = {StartsWith("k.vorb~ ")};
        expected.insert(expected.end(), s.said.begin(), s.said.end());
        EXPECT_THAT(said, ElementsAreArray(expected));
        ASSERT_EQ(x != nullptr, s.born);
        if (x) expect_sound(x);
        expect_sound(birth(&said));
        EXPECT_THAT(said, IsEmpty());
    }
    host::unload();
    host::fail_allocation(k + 1);
    std::vector<std::string> said;
    EXPECT_NE(birth(&said), nullptr);
    EXPECT_THAT(said, ElementsAre(StartsWith("k.vorb~ ")));
    EXPECT_EQ(host::fail_allocation(0), 1) << "there is no further one";
}

// ---- Registry of buffer references --------------------------------------------------------------

TEST_P(memory_short, a_table_whose_entry_finds_no_memory_sounds_and_is_entered_when_set_again)
{
    fill(0.5, 44100, 44100, "other");
    t_object *x = birth();
    host::fail_allocation(1);
    host::send(x, 0, "set other");
    host::drain();
    EXPECT_THAT(console(), ElementsAre("vorb_bufref_add_entry: cannot allocate memory"));
    expect_sound(x, 0.5);
    host::send(x, 0, "reset, set sample1");
    host::drain();
    expect_sound(x, 1);
    host::send(x, 0, "reset, set other");
    host::drain();
    EXPECT_THAT(console(), IsEmpty());
    expect_sound(x, 0.5);
    fill(0.25, 44100, 44100, "other");
    EXPECT_THAT(block(x), sounds_at(0.25));
    // The reference without an entry is the only one that is not told.
    EXPECT_THAT(host::take_faults(),
                ElementsAre("a notice was not forwarded to its buffer reference"));
    host::delete_buffer("other");
    EXPECT_THAT(host::take_faults(),
                ElementsAre("a notice was not forwarded to its buffer reference"));
}

// ---- Audio start --------------------------------------------------------------------------------

TEST_P(memory_short, without_any_blocks_fogs_wait_in_silence_until_an_audio_start_finds_memory)
{
    t_object *x = birth();
    host::fail_allocation(1);
    host::start_audio();
    EXPECT_EQ(host::fail_allocation(0), 0);
    host::send(x, 0, "bang");
    EXPECT_THAT(play(x, 400, 64), ::testing::Each(is_silent())); // longer than the fog
    EXPECT_EQ(ask(x, "usedfogs"), 1);
    host::start_audio();
    EXPECT_NEAR(block(x)[63], 1, near_one);
    EXPECT_THAT(block(x), sounds_at(1));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_P(memory_short, without_larger_blocks_the_instances_of_small_vectors_play_on)
{
    t_object *small = birth(), *large = birth();
    host::start_audio();
    host::send(small, 0, "bang");
    host::run();
    host::set_audio(large, 44100, 512);
    host::fail_allocation(1);
    host::start_audio();
    EXPECT_EQ(host::fail_allocation(0), 0);
    host::take_console(); // of a vector above 64
    host::send(large, 0, "transp 0, bang");
    for (int b = 0; b < 20; ++b) {
        host::run();
        EXPECT_NEAR(host::output(small, 0)[0], 1, near_one);
        EXPECT_EQ(host::output(large, 0)[511], 0);
    }
    host::start_audio();
    host::run();
    host::run();
    EXPECT_NEAR(host::output(small, 0)[63], 1, near_one);
    EXPECT_NEAR(host::output(large, 0)[511], 1, near_one);
}

} // namespace
