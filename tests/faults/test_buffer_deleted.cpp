// A buffer is deleted, and made again, while its fogs sound.
#include "fault_session.h"

#include <algorithm>

namespace {

using ::testing::Contains;
using ::testing::IsEmpty;

class buffer_deleted : public fault_session {
protected:
    void SetUp() override
    {
        fault_session::SetUp();
        fill(1);
    }
};

FOR_EVERY_SOURCE(buffer_deleted);

/// Where fogs outlive it.
using buffer_missed = buffer_deleted;
INSTANTIATE_TEST_SUITE_P(by, buffer_missed,
                         ::testing::Values(sounding_sources[0], sounding_sources[7]));

TEST_P(buffer_deleted, the_next_block_is_silent_and_ends_its_fogs_in_layouts_2_4_and_6)
{
    t_object *x = sounding();
    host::send(x, 0, "20."); // waits for its time
    EXPECT_THAT(block(x), sounds_at(1));
    host::delete_buffer("sample1");
    EXPECT_THAT(play(x, 1, 64), ::testing::Each(is_silent()));
    EXPECT_EQ(ask(x, "usedfogs"), source().dies_without_buffer() ? 0 : 2);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_P(buffer_deleted, in_layouts_1_and_10_fogs_sound_again_from_the_first_sample_it_is_back)
{
    t_object *x = sounding();
    host::delete_buffer("sample1");
    EXPECT_THAT(block(x), is_silent());
    fill(0.5);
    if (source().dies_without_buffer()) {
        EXPECT_THAT(block(x), is_silent());
        EXPECT_EQ(ask(x, "usedfogs"), 0);
    } else {
        EXPECT_THAT(block(x), sounds_at(0.5));
        play(x, 31, 64); // with the three before 2176 samples of 2205
        EXPECT_EQ(ask(x, "usedfogs"), 1);
        block(x);
    }
    EXPECT_EQ(ask(x, "usedfogs"), 0) << "the envelope went on all the while";
}

TEST_P(buffer_deleted, a_fog_begun_in_the_first_block_it_is_back_sounds)
{
    t_object *x = sounding();
    host::delete_buffer("sample1");
    play(x, 40, 64); // until the fog's time is over
    fill(0.5);
    host::send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 0.5, near_one);
    EXPECT_THAT(block(x), sounds_at(0.5));
}

/// The head waited, and catches up within one block, at no more than eight frames a sample. A block
/// of just 512 frames is left unwritten: it repeats what was read last.
TEST_P(buffer_missed, an_absence_of_eight_blocks_or_more_costs_one_more)
{
    for (const int absent : {1, 6, 7, 8, 20}) {
        SCOPED_TRACE(absent);
        fill(1);
        silence_scratch();
        t_object *x = sounding();
        host::delete_buffer("sample1");
        EXPECT_THAT(play(x, absent, 64)[0], is_silent());
        fill(0.5);
        if (absent < 7) EXPECT_THAT(block(x), sounds_at(0.5));
        else EXPECT_THAT(block(x), is_silent());
        EXPECT_THAT(block(x), sounds_at(0.5));
        host::destroy(x);
    }
}

TEST_P(buffer_deleted, back_before_the_next_block_it_was_never_gone)
{
    const auto sound = [](bool disturbed) {
        fill(1);
        t_object *x = player(source().layout);
        host::connect(x, 0);
        std::fill_n(host::input(x, 0), 64, 300.0);
        host::send(x, 0, "reset, f0phase 0, offset 20, maxfogs 20");
        std::vector<signal> out = play(x, 200, 64, [disturbed](long) {
            if (!disturbed) return;
            host::delete_buffer("sample1");
            fill(1);
        });
        host::destroy(x);
        return out;
    };
    const std::vector<signal> plain = sound(false);
    EXPECT_THAT(plain[0], Contains(::testing::Gt(10)));
    EXPECT_EQ(plain, sound(true));
}

TEST_P(buffer_deleted, the_phasor_keeps_time_meanwhile)
{
    t_object *x = create(std::to_string(source().layout) + " sample1 100 0 0 0 1 0 0.03 0");
    host::connect(x, 0);
    std::fill_n(host::input(x, 0), 64, 441.0); // one fog of one sample every 100 samples
    play(x, 10, 64);
    host::delete_buffer("sample1");
    EXPECT_THAT(play(x, 10, 64)[0], is_silent());
    fill(0.5);
    const signal back = play(x, 10, 64)[0];
    for (std::size_t i = 0; i < back.size(); ++i)
        ASSERT_NEAR(back[i], (1280 + i) % 100 == 99 ? 0.5 : 0, near_one) << i;
}

/// Not having moved yet, a fog begun without it stands at its first frame, if it lives.
TEST_P(buffer_deleted, chosen_ahead_of_its_making_it_sounds_with_the_first_fog_after_it)
{
    t_object *x = player(source().layout);
    host::send(x, 0, "set later");
    host::drain();
    host::send(x, 0, "bang");
    EXPECT_THAT(block(x), is_silent());
    EXPECT_EQ(ask(x, "usedfogs"), source().dies_without_buffer() ? 0 : 1);
    fill(0.5, 44100, 44100, "later");
    host::send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], source().dies_without_buffer() ? 0.5 : 1, near_one);
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
