// What happens when, to the frame. A fog of the sounds here is a plain block: no attack, no decay,
// a standing read position over a constant, so its level is the constant.
#include "workshop.h"

#include <cmath>

class Playing : public workshop {};

// 50 ms long, at transposition 0
static const std::string block = "buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 0 1 0 50 0 1\n";

/// The first frame of the first block of 64 that starts at or after a time.
static size_t block_after(double ms) { return static_cast<size_t>(std::ceil(ms * 44.1 / 64)) * 64; }

TEST_F(Playing, an_event_is_heard_from_the_first_block_at_or_after_its_time)
{
    const auto heard = render(block + "100 v 0 bang\n300 v 0 0.\n500 end\n").channels[0];
    const size_t first = first_sound(heard), second = first_sound(heard, block_after(200));
    EXPECT_EQ(first, block_after(100));
    EXPECT_EQ(second, block_after(300));
    EXPECT_FLOAT_EQ(heard[first], 0.5);
    EXPECT_NEAR(static_cast<double>(first_silence(heard, first) - first), 0.05 * 44100, 1);
}

TEST_F(Playing, an_event_at_time_0_is_heard_from_the_first_frame)
{
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 1 b 20 0 1 0 1 0 50 0 1\n"
                              "0 v 0 bang\n200 end\n")
                           .channels[0];
    EXPECT_FLOAT_EQ(heard[0], 0.5);
    EXPECT_NEAR(static_cast<double>(first_silence(heard)), 0.05 * 44100, 1);
}

TEST_F(Playing, an_event_at_the_very_start_of_a_block_waits_for_no_other)
{
    const auto heard =
        render(block + "160 v 0 bang\n300 end\n", {"--rate", "48000", "--vector", "48"});
    EXPECT_EQ(first_sound(heard.channels[0]), 160u * 48);
    EXPECT_EQ(heard.rate, 48000);
}

TEST_F(Playing, a_number_at_the_left_inlet_is_heard_that_many_ms_later)
{
    const auto heard = render(block + "100 v 0 5.\n300 end\n").channels[0];
    EXPECT_EQ(first_sound(heard), block_after(100) + 220);
}

TEST_F(Playing, the_end_is_the_first_block_at_or_after_its_time)
{
    EXPECT_EQ(render(block + "250 end\n").frames(), block_after(250));
}

TEST_F(Playing, commas_separate_messages_as_in_a_message_box)
{
    const auto heard = render(block + "100 v 0 amp 0.5, debatt 20, bang\n400 end\n").channels[0];
    const size_t first = first_sound(heard);
    EXPECT_FLOAT_EQ(heard[first], 0.25);
    EXPECT_NEAR(static_cast<double>(first_silence(heard, first) - first), 0.02 * 44100, 1);
}

TEST_F(Playing, numbers_reach_the_inlet_that_is_named)
{
    const auto heard =
        render(block + "100 v 4 0.125\n100 v 6 10\n100 v 0 bang\n400 end\n").channels[0];
    const size_t first = first_sound(heard);
    EXPECT_FLOAT_EQ(heard[first], 0.0625);
    EXPECT_NEAR(static_cast<double>(first_silence(heard, first) - first), 0.01 * 44100, 1);
}

TEST_F(Playing, a_signal_line_starts_fogs_where_its_integral_passes_whole_numbers)
{
    // F0 = 100 + 150 t: periods passed after t seconds are 100 t + 75 t^2
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 0 1 0 0.5 0 1\n"
                              "0 v 0 signal 100 400 2000\n2000 end\n")
                           .channels[0];
    size_t at = 0;
    for (int k = 1; k < 500; ++k) {
        at = first_sound(heard, first_silence(heard, at));
        const double seconds = (std::sqrt(100.0 * 100 + 4 * 75 * k) - 100) / 150;
        ASSERT_NEAR(static_cast<double>(at), seconds * 44100, 1.5) << "fog " << k;
    }
}

TEST_F(Playing, a_signal_holds_its_last_target_until_it_is_taken_off)
{
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 0 1 0 0.5 0 1\n"
                              "0 v 0 signal 50 200 100 441 0\n1000 v 0 signal off\n2000 end\n")
                           .channels[0];
    std::vector<size_t> starts;
    for (size_t at = 0; (at = first_sound(heard, first_silence(heard, at))) < heard.size();)
        starts.push_back(at);
    ASSERT_GT(starts.size(), 300u);
    EXPECT_LT(starts.back(), block_after(1000));
    EXPECT_GE(starts.back() + 100, block_after(1000));
    for (size_t i = 20; i < starts.size(); ++i) ASSERT_EQ(starts[i] - starts[i - 1], 100u);
}

TEST_F(Playing, a_signal_may_jump_and_jumps_at_once)
{
    const auto heard = render("object t through~\n0 t 0 signal 5 1 0 2 1000 0.5 0 0.25 0\n"
                              "2000 end\n",
                              {"--externals", TEST_EXTERNALS})
                           .channels[0];
    for (size_t i = 0; i < heard.size(); ++i)
        ASSERT_FLOAT_EQ(heard[i], i < 44100 ? 1 + static_cast<double>(i) / 44100 : 0.25) << i;
}

TEST_F(Playing, an_offset_signal_moves_the_place_in_the_sample)
{
    std::vector<float> rising(44100); // its value tells the place: 1 per second
    for (size_t i = 0; i < rising.size(); ++i) rising[i] = static_cast<float>(i) / 44100;
    write_sound("rising.wav", rising);
    const auto heard = render("buffer b rising.wav\nobject v k.vorb~ 1 b 20 0 0 0 1 0 8 0 1\n"
                              "0 v 0 signal 100\n0 v 1 signal 100 500 1000\n1000 end\n")
                           .channels[0];
    for (int k = 1; k < 99; ++k) {
        const double start = k * 0.01;
        const double place = 0.1 + 0.4 * start + 1 / 44100.0; // one frame on: the reader's centre
        EXPECT_NEAR(heard[static_cast<size_t>((start + 0.005) * 44100)], place, 1e-4) << k;
    }
}

TEST_F(Playing, a_buffer_is_replaced_removed_and_comes_back)
{
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 0 1000 0 1\n"
                              "0 v 0 bang\n200 buffer b quarter.wav\n400 buffer b\n"
                              "600 buffer b half.wav\n700 v 0 bang\n900 end\n")
                           .channels[1];
    const auto at = [&](double ms) { return heard[static_cast<size_t>(ms * 44.1)]; };
    EXPECT_FLOAT_EQ(at(150), 0.5);
    EXPECT_FLOAT_EQ(heard[block_after(200) - 1], 0.5);
    EXPECT_FLOAT_EQ(heard[block_after(200)], 0.25);
    EXPECT_EQ(heard[block_after(400)], 0);
    EXPECT_EQ(at(650), 0) << "a fog that lost its buffer is over";
    EXPECT_FLOAT_EQ(at(800), 0.5);
}

TEST_F(Playing, set_takes_effect_before_the_next_line)
{
    const auto heard = render("buffer a half.wav\nbuffer b quarter.wav\n"
                              "object v k.vorb~ 1 a 20 0 0 0 1 0 50 0 1\n"
                              "100 v 0 set b\n100 v 0 bang\n200 end\n")
                           .channels[0];
    EXPECT_FLOAT_EQ(heard[block_after(100)], 0.25);
}

TEST_F(Playing, objects_are_mixed_outlet_by_outlet)
{
    const auto heard =
        render("buffer b half.wav\n"
               "object one k.vorb~ 1 b 20 0 0 0 0.5 0 400 0 1\n"
               "object four k.vorb~ 4 b 20 0 0 0 1 0 100 0 1\n"
               "0 one 0 bang\n0 four 0 1. 0.5 0.25 0.125\n100 four 0 bang\n500 end\n");
    ASSERT_EQ(heard.channels.size(), 4u);
    const auto at = [&](size_t k, double ms) {
        return heard.channels[k][static_cast<size_t>(ms * 44.1)];
    };
    EXPECT_FLOAT_EQ(at(0, 50), 0.25);
    EXPECT_FLOAT_EQ(at(0, 150), 0.25 + 0.5);
    EXPECT_FLOAT_EQ(at(1, 150), 0.25);
    EXPECT_FLOAT_EQ(at(2, 150), 0.125);
    EXPECT_FLOAT_EQ(at(3, 150), 0.0625);
    EXPECT_EQ(at(3, 50), 0);
}

TEST_F(Playing, without_an_end_it_stops_a_second_after_the_last_sound)
{
    const auto heard = render(block + "0 v 0 bang\n3000 v 0 bang\n");
    EXPECT_NEAR(heard.seconds(), 3.05 + 1, 0.004);
    EXPECT_FLOAT_EQ(peak(part(heard.channels[0], 44100, 3.01, 0.02)), 0.5);
}

TEST_F(Playing, without_an_end_it_waits_for_signals_to_arrive)
{
    // silent for 3 s: the place lies beyond the sample until the line comes back to it
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 0 1 0 5 0 1\n"
                              "0 v 0 signal 100\n0 v 1 signal 9000 9000 3000 500 0 500 100\n"
                              "3100 v 0 signal off\n");
    EXPECT_NEAR(heard.seconds(), 4.1, 0.02);
    EXPECT_EQ(peak(part(heard.channels[0], 44100, 0, 2.9)), 0);
    EXPECT_FLOAT_EQ(peak(part(heard.channels[0], 44100, 3.02, 0.05)), 0.5);
}

TEST_F(Playing, without_an_end_a_signal_that_comes_last_keeps_it_going)
{
    EXPECT_NEAR(render(block + "100 v 1 signal 5 10 3000\n").seconds(), 0.1 + 3 + 1, 0.004);
}

TEST_F(Playing, without_an_end_a_decay_is_followed_down_to_120_dB_below_full_scale)
{
    // a bandwidth of B Hz decays as exp(-pi B t)
    const auto heard = render("buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 3 1 0 60000 0 1\n"
                              "0 v 0 bang\n");
    EXPECT_NEAR(heard.seconds(), std::log(0.5 / 1e-6) / (M_PI * 3) + 1, 0.004);
}

TEST_F(Playing, start_skips_nothing_but_the_writing)
{
    const std::string text = block + "0 v 0 signal 30\n250 v 0 amp 0.3\n800 end\n";
    const auto whole = render(text).channels[0];
    const auto late = render(text, {"--start", "400"}).channels[0];
    const size_t skipped = block_after(400);
    ASSERT_EQ(late.size(), whole.size() - skipped);
    EXPECT_TRUE(std::equal(late.begin(), late.end(), whole.begin() + static_cast<long>(skipped)));
}

TEST_F(Playing, marks_comments_blanks_quotes_and_foreign_line_ends_are_fine)
{
    std::filesystem::rename(folder / "half.wav", folder / "half # 1.wav");
    const auto heard =
        render("\xEF\xBB\xBF\r\n# nothing yet\r\n\tbuffer b \"half # 1.wav\" # a comment\r\n\n"
               "object v#1 k.vorb~ 1 b 20 0 0 0 1 0 50 0 1\r\n"
               "1e2 v#1 0 bang # now\r\n+.2e3 end\r\n")
            .channels[0];
    EXPECT_EQ(first_sound(heard), block_after(100));
}
