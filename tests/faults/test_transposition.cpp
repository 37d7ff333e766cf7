// Extreme transpositions, and rates of buffers that amount to such: what moves more than eight
// frames a sample is silent for its time, and harms no other fog.
#include "fault_session.h"

#include <cmath>
#include <limits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr double infinite = std::numeric_limits<double>::infinity();

class transposition : public fault_session {
protected:
    void SetUp() override
    {
        fault_session::SetUp();
        fill(1);
        silence_scratch();
        x = player(source().layout);
    }

    static host::atoms number(double v) { return {host::atom(v)}; }

    /// The second block of a new fog of 2205 samples, which must end in its time.
    signal heard()
    {
        host::send(x, 0, "bang");
        host::run();
        signal second = block(x);
        play(x, 32, 64);
        EXPECT_EQ(ask(x, "usedfogs"), 1);
        host::run();
        EXPECT_EQ(ask(x, "usedfogs"), 0);
        return second;
    }

    t_object *x = nullptr;
};

FOR_EVERY_SOURCE(transposition);

TEST_P(transposition, up_to_eight_frames_a_sample_sound_and_more_are_silent)
{
    for (const double factor : {0.0, 1e-40, 1e-10, 0.001, 1.0, 7.99}) {
        host::send(x, 0, "transp", number(factor));
        EXPECT_THAT(heard(), sounds_at(1)) << factor;
    }
    for (const double factor : {8.01, 100.0, 1e6, 1e20, 1e38}) {
        host::send(x, 0, "transp", number(factor));
        EXPECT_THAT(heard(), is_silent()) << factor;
        host::send(x, 0, "transp 1");
        EXPECT_THAT(heard(), sounds_at(1)) << "after " << factor;
    }
    EXPECT_THAT(console(), IsEmpty());
}

/// The block is left as the last fog's reader left it, here silent.
TEST_P(transposition, just_eight_frames_a_sample_are_said_block_by_block_where_there_are_channels)
{
    host::send(x, 0, "transp 8, bang");
    host::run();
    host::take_console();
    EXPECT_THAT(play(x, 2, 64)[0], is_silent());
    if (source().channels == 1) EXPECT_THAT(console(), IsEmpty());
    else
        EXPECT_THAT(console(), ElementsAre("k.vorb~: vorb_read: n2 (517) out of range",
                                           "k.vorb~: vorb_read: n2 (517) out of range"));
    host::send(x, 0, "reset, transp 1");
    EXPECT_THAT(heard(), sounds_at(1));
}

TEST_P(transposition, what_lies_outside_its_range_is_said_and_counts_as_1)
{
    const std::string said = " out of range [0.00e+00 .. 1.00e+38] - set to 1.00e+00";
    for (const auto &[factor, text] : {std::pair{-1.0, "-1.00e+00"},
                                       {-1e-40, "-1.00e-40"},
                                       {-infinite, "-inf"},
                                       {infinite, "inf"},
                                       {1e39, "inf"}}) {
        host::send(x, 0, "transp", number(factor));
        EXPECT_THAT(console(), ElementsAre("!k.vorb~: parameter 'transposition' (" +
                                           std::string(text) + ")" + said));
        EXPECT_THAT(heard(), sounds_at(1)) << factor;
    }
}

TEST_P(transposition, no_number_at_all_silences_the_fogs_begun_under_it_alone)
{
    host::send(x, 0, "bang");
    host::run();
    host::send(x, 0, "transp", number(std::nan("")));
    host::send(x, 0, "bang");
    EXPECT_THAT(block(x), sounds_at(1)) << "the fog begun before";
    host::send(x, 0, "reset");
    EXPECT_THAT(heard(), is_silent());
    host::send(x, 0, "transp 1");
    EXPECT_THAT(heard(), sounds_at(1));
}

TEST_P(transposition, up_to_the_end_of_the_sample_standing_still_takes_no_time)
{
    host::send(x, 0, "all, transp 0, bang");
    EXPECT_THAT(block(x), is_silent());
    EXPECT_EQ(ask(x, "usedfogs"), 0);
    host::send(x, 0, "transp 1e-20, bang"); // more samples than can be counted are none
    EXPECT_THAT(block(x), is_silent());
    EXPECT_EQ(ask(x, "usedfogs"), 0);
    host::send(x, 0, "transp 1e-9, bang"); // thirty years
    play(x, 100, 64);
    EXPECT_THAT(block(x), sounds_at(1));
    host::send(x, 0, "reset, debatt 50.01, transp 1");
    EXPECT_THAT(heard(), sounds_at(1));
}

TEST_P(transposition, eight_frames_a_sample_are_counted_at_the_rates_of_buffer_and_host)
{
    for (const auto &[buffer, host_rate, sounds] : {std::tuple{352000.0, 44100.0, true},
                                                    {353000.0, 44100.0, false},
                                                    {760000.0, 96000.0, true},
                                                    {768000.0, 44100.0, false},
                                                    {8000.0, 768000.0, true}}) {
        fill(1, 200000, buffer);
        host::set_audio(host_rate, 64);
        host::start_audio();
        host::send(x, 0, "offset 20, reset, bang");
        play(x, 2, 64);
        EXPECT_THAT(block(x), sounds_at(sounds ? 1 : 0)) << buffer << " in " << host_rate;
    }
}

} // namespace
