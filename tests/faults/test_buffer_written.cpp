// A buffer is written while its fogs sound: its lock fails, its contents, length, rate and channels
// change from one block to the next.
#include "fault_session.h"

#include <cmath>
#include <limits>

namespace {

using ::testing::Each;
using ::testing::IsEmpty;

class buffer_written : public fault_session {
protected:
    void SetUp() override
    {
        fault_session::SetUp();
        fill(1);
    }
};

FOR_EVERY_SOURCE(buffer_written);

TEST_P(buffer_written, a_refused_lock_is_silence_that_is_said_for_one_channel_only)
{
    t_object *x = sounding();
    host::send(x, 0, "bang");
    host::run();
    host::take_console();
    host::refuse_locks("sample1", true);
    EXPECT_THAT(play(x, 2, 64), Each(is_silent()));
    const std::vector<host::line> rows = host::take_console();
    EXPECT_EQ(rows.size(), source().channels == 1 ? 4U : 0U) << "one a fog and block";
    for (const host::line &row : rows) {
        EXPECT_EQ(row.text, "vorb_read: no samples, goto zero");
        EXPECT_EQ(row.object, nullptr);
        EXPECT_FALSE(row.error);
    }
    EXPECT_EQ(ask(x, "usedfogs"), 2);
    host::refuse_locks("sample1", false);
    EXPECT_THAT(block(x), sounds_at(2));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_P(buffer_written, new_contents_sound_from_the_first_sample_of_the_next_block)
{
    t_object *x = sounding();
    for (const double v : {0.25, -1.0, 0.0, 0.5}) {
        fill(v);
        EXPECT_THAT(block(x), sounds_at(v));
    }
}

/// Its head moves on in silence, and is where it would be when the length is back.
TEST_P(buffer_written, a_fog_beyond_the_end_of_a_shortened_buffer_is_silent_while_it_is_short)
{
    t_object *x = sounding();
    for (const long frames : {0L, 1L, 5L, 6L, 7L, 100L}) {
        fill(1, frames);
        EXPECT_THAT(block(x), is_silent()) << frames;
        EXPECT_EQ(ask(x, "usedfogs"), 1);
        fill(0.5);
        EXPECT_THAT(block(x), sounds_at(0.5)) << frames;
    }
}

/// A sample that rises by 1 a frame tells the speed.
TEST_P(buffer_written, another_rate_is_heard_by_fogs_begun_after_it)
{
    const auto rise = [](double rate) {
        std::vector<float> frames;
        for (long i = 0; i < 44100 * source().channels; ++i)
            frames.push_back(static_cast<float>(i / source().channels));
        host::set_buffer("sample1", source().channels, rate, frames);
    };
    const auto speed = [](t_object *x) {
        const signal out = play(x, 2, 64)[0];
        return (out[127] - out[64]) / 63;
    };
    t_object *x = player(source().layout);
    for (const double rate : {44100.0, 88200.0, 11025.0}) {
        rise(44100);
        host::send(x, 0, "reset, bang");
        EXPECT_NEAR(speed(x), 1, 0.01);
        rise(rate);
        EXPECT_NEAR(speed(x), 1, 0.01) << rate;
        host::send(x, 0, "reset, bang");
        EXPECT_NEAR(speed(x), rate / 44100, 0.01);
    }
}

TEST_P(buffer_written, a_rate_that_is_none_silences_the_fogs_begun_under_it)
{
    constexpr double infinite = std::numeric_limits<double>::infinity();
    t_object *x = sounding();
    for (const double rate : {-44100.0, infinite, -infinite, std::nan(""), 1e300}) {
        SCOPED_TRACE(rate);
        fill(1, 44100, rate);
        EXPECT_THAT(block(x), sounds_at(1)) << "the fog begun before";
        host::send(x, 0, "reset, bang");
        EXPECT_THAT(play(x, 34, 64)[0], is_silent());
        EXPECT_EQ(ask(x, "usedfogs"), 1);
        block(x);
        EXPECT_EQ(ask(x, "usedfogs"), 0) << "its time is the envelope's";
        fill(1);
        host::send(x, 0, "bang");
        EXPECT_NEAR(block(x)[63], 1, near_one);
    }
    fill(1, 44100, 0); // stands at the first frame
    host::send(x, 0, "reset, bang");
    EXPECT_THAT(play(x, 3, 64)[0], Each(::testing::Le(1 + near_one)));
    EXPECT_THAT(block(x), sounds_at(1));
}

TEST_P(buffer_written, channels_that_the_layout_does_not_play_are_silence_until_others_come)
{
    const auto plays = [](long channels) {
        for (const sounding_source &s : sounding_sources)
            if (s.layout == source().layout && s.channels == channels) return true;
        return false;
    };
    t_object *x = sounding();
    for (const long channels : {1L, 2L, 3L, 4L, 5L, 64L}) {
        SCOPED_TRACE(channels);
        host::set_buffer("sample1", channels, 44100,
                         std::vector<float>(static_cast<std::size_t>(channels * 44100), 0.25F));
        if (plays(channels)) EXPECT_THAT(block(x), sounds_at(0.25));
        else EXPECT_THAT(play(x, 1, 64), Each(is_silent()));
        fill(1);
        EXPECT_THAT(block(x), sounds_at(1));
    }
    EXPECT_EQ(ask(x, "usedfogs"), 1);
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
