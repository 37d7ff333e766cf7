// A table is set before audio is on; audio goes off and on in the middle of a grain.
#include "fault_session.h"

#include <algorithm>

namespace {

using ::testing::IsEmpty;

class audio_switched : public fault_session {};

FOR_EVERY_SOURCE(audio_switched);

// ---- Before audio -------------------------------------------------------------------------------

TEST_P(audio_switched, in_whatever_order_table_buffer_and_audio_come_the_next_fog_sounds)
{
    for (const bool at_once : {false, true}) // the main thread's calls: overdrive on, or off
        for (std::string order = "abt";;) {
            SCOPED_TRACE(order + (at_once ? ", at once" : ""));
            host::reset();
            host::defer_at_once(at_once);
            t_object *x = host::create("k.vorb~ " + std::to_string(source().layout) +
                                       " none 5 0 1 0 1 0 50 0");
            for (const char step : order) {
                if (step == 't') host::send(x, 0, "set sample1");
                else if (step == 'b') fill(1);
                else {
                    host::start_audio();
                    host::run();
                }
            }
            host::drain();
            host::send(x, 0, "bang");
            EXPECT_NEAR(block(x)[63], 1, near_one);
            EXPECT_THAT(block(x), sounds_at(1));
            if (!std::next_permutation(order.begin(), order.end())) break;
        }
}

/// It has not been told the vector size, by which it would move.
TEST_P(audio_switched, a_fog_begun_before_audio_is_silent_and_ends_in_its_time)
{
    fill(1);
    t_object *x = create(std::to_string(source().layout) + " sample1 5 0 1 0 1 0 50.01 0");
    host::send(x, 0, "bang");
    for (int b = 0; b < 35; ++b) { // 2205 samples
        EXPECT_EQ(ask(x, "usedfogs"), 1);
        EXPECT_THAT(block(x), is_silent());
    }
    EXPECT_EQ(ask(x, "usedfogs"), 0);
    host::send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 1, near_one);
}

// ---- Off and on ---------------------------------------------------------------------------------

TEST_P(audio_switched, off_and_on_a_fog_goes_on_at_the_sample_where_it_stood)
{
    const auto sound = [](bool disturbed) {
        host::reset();
        std::vector<float> noise;
        for (long i = 0; i < 20000 * source().channels; ++i)
            noise.push_back(static_cast<float>(i * 7919 % 2003) / 1001.5F - 1);
        host::set_buffer("sample1", source().channels, 44100, noise);
        t_object *x =
            create(std::to_string(source().layout) + " sample1 20 20 1.3 40 1 5 20 20 0.5");
        host::connect(x, 0);
        std::fill_n(host::input(x, 0), 64, 300.0);
        return play(x, 200, 64, [disturbed](long) {
            if (!disturbed) return;
            host::stop_audio();
            host::start_audio();
        });
    };
    const std::vector<signal> plain = sound(false);
    EXPECT_GT(*std::max_element(plain[0].begin(), plain[0].end()), 0.01);
    EXPECT_EQ(plain, sound(true));
}

TEST_P(audio_switched, what_is_sent_while_it_is_off_is_heard_from_the_first_sample_it_is_on)
{
    fill(1);
    t_object *x = sounding();
    host::stop_audio();
    host::send(x, 0, "amp 2, bang");
    EXPECT_EQ(ask(x, "usedfogs"), 2);
    host::start_audio();
    EXPECT_NEAR(block(x)[63], 3, 3 * near_one);
    host::stop_audio();
    fill(0.5);
    host::start_audio();
    EXPECT_THAT(block(x), sounds_at(1.5));
    host::stop_audio();
    host::send(x, 0, "reset");
    host::start_audio();
    EXPECT_THAT(block(x), is_silent());
    EXPECT_EQ(ask(x, "freefogs"), 5);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_P(audio_switched, a_buffer_that_went_and_came_while_it_was_off_was_never_missed)
{
    fill(1);
    t_object *x = sounding();
    host::stop_audio();
    host::delete_buffer("sample1");
    fill(0.5);
    host::start_audio();
    EXPECT_THAT(block(x), sounds_at(0.5));
    EXPECT_EQ(ask(x, "usedfogs"), 1);
}

TEST_P(audio_switched, on_at_another_rate_and_size_every_fog_ends_and_the_next_one_sounds)
{
    for (const double rate : {8000.0, 44100.0, 192000.0})
        for (const long size : {1L, 16L, 100L, 512L, 4096L}) {
            SCOPED_TRACE(::testing::Message() << rate << " Hz, " << size << " frames");
            host::set_audio(44100, 64);
            fill(1);
            t_object *x = sounding();
            host::stop_audio();
            host::set_audio(rate, size);
            host::start_audio();
            const signal out = play(x, 2205 / size + 1, size)[0];
            EXPECT_THAT(out, ::testing::Each(::testing::AllOf(::testing::Ge(-near_one),
                                                              ::testing::Le(1 + near_one))));
            EXPECT_EQ(ask(x, "usedfogs"), 0);
            host::send(x, 0, "transp 0, debatt 5000, bang"); // stands still: fits every vector
            host::run();
            host::run();
            EXPECT_NEAR(host::output(x, 0)[size - 1], 1, near_one);
            host::destroy(x);
        }
}

} // namespace
