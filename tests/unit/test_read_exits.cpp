// The reader of one-channel samples, one behaviour at a time: interpolation, lowpass, odd exits.
#include "slow_reader.h"

#include <limits>

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

using reader = reading;

// ---- Interpolation and lowpass ------------------------------------------------------------------

TEST_F(reader, a_standing_head_repeats_one_value)
{
    fill_with_noise(100);
    vorb_fogread r = head(20.25, 20.25);
    const wave out = read(r);
    const double value = static_cast<double>(interpolated(samples, 20 * 65536 + 65536 / 4));
    EXPECT_THAT(out, ::testing::Each(value));
}

TEST_F(reader, a_standing_head_is_filtered)
{
    fill(100, [](long) { return 1; });
    vorb_fogread r = head(20, 20);
    r.lp_a = 0.25;
    r.lp_am1 = -0.75;
    double decayed = 1;
    for (const double v : read(r)) EXPECT_NEAR(v, 1 - (decayed *= 0.75), 1e-14);
}

TEST_F(reader, the_value_heard_lies_one_frame_after_the_position)
{
    fill(1000, [](long i) { return i; });
    for (const double to : {500.0, 420.5, 300.0, 180.25}) {
        vorb_fogread r = head(300, to);
        const wave out = read(r);
        for (int i = 0; i < 64; ++i)
            EXPECT_NEAR(out[static_cast<size_t>(i)], 301 + i * (to - 300) / 64, 1.2 / 256) << to;
    }
}

TEST_F(reader, an_open_lowpass_passes_the_interpolated_signal)
{
    fill_with_noise(400);
    vorb_fogread r = head(100, 196);
    r.lp_y[0] = 5; // of no weight
    const wave out = read(r);
    for (size_t i = 0; i < 64; ++i) // a frame and a half a sample
        EXPECT_EQ(out[i],
                  interpolated(samples, static_cast<long long>((100 + 1.5 * double(i)) * 65536)));
}

TEST_F(reader, a_gliding_lowpass_halves_its_coefficient_once_a_period)
{
    fill_with_noise(400);
    vorb_fogread r = head(100, 100);
    r.lp_a = 0.5;
    r.lp_am1 = -0.5;
    r.lp_k = std::pow(0.5, 1 / 128.0);
    for (int k = 0; k < 4; ++k) read(r);
    EXPECT_NEAR(r.lp_a, 0.125, 1e-12);
    EXPECT_EQ(r.lp_am1, r.lp_a - 1.0);
}

TEST_F(reader, the_first_sample_takes_the_stored_complement_and_later_ones_their_own)
{
    fill(100, [](long) { return 0; });
    vorb_fogread r = head(20, 20);
    r.lp_a = 0.5;
    r.lp_am1 = -0.25; // not a - 1
    r.lp_y[0] = 1;
    const wave out = read(r, 3);
    EXPECT_THAT(out, ElementsAre(0.25, 0.125, 0.0625));
}

TEST_F(reader, a_backward_block_hears_the_frame_behind_its_count)
{
    // From 11.39 back to 10.49: five frames from 9 on, and the first sample needs the sixth.
    fill(100, [](long i) { return i == 14; });
    vorb_fogread r = head(11.39, 10.49);
    EXPECT_EQ(read(r)[0], static_cast<double>(weight(3, 99)));
}

TEST_F(reader, the_end_of_one_block_and_the_start_of_the_next_meet)
{
    fill(1000, [](long i) { return i; });
    vorb_fogread r = head(100, 164);
    const double last = read(r)[63];
    r.pos_ms = 228;
    EXPECT_NEAR(read(r)[0] - last, 1, 1e-4);
}

TEST_F(reader, no_more_of_the_head_changes_than_position_and_first_lowpass)
{
    fill_with_noise(400);
    vorb_fogread r = head(100, 150);
    r.lp_a = 0.5;
    r.lp_am1 = -0.5;
    r.lp_k = 0.999;
    r.pos_step_ms = 7;
    for (double &y : r.lp_y) y = 3;
    vorb_fogread before = r;
    read(r);
    EXPECT_EQ(r.prev_pos, 150);
    before.prev_pos = r.prev_pos;
    before.lp_y[0] = r.lp_y[0];
    before.lp_a = r.lp_a;
    before.lp_am1 = r.lp_am1;
    EXPECT_EQ(std::memcmp(&before, &r, sizeof r), 0);
}

// ---- Silent blocks ------------------------------------------------------------------------------

/// Reads one block that must be silent, and leave the lowpass as it was.
void expect_silence(vorb_fogread r, bool moves = true)
{
    r.lp_a = 0.5;
    r.lp_am1 = -0.25;
    r.lp_k = 0.5;
    r.lp_y[0] = 3;
    const vorb_fogread before = r;
    wave out(64, unwritten_mark);
    vorb_read(&r, out.data(), 64);
    EXPECT_TRUE(same_bits(out, wave(64), 64));
    EXPECT_EQ(r.lp_a, before.lp_a);
    EXPECT_EQ(r.lp_am1, before.lp_am1);
    EXPECT_EQ(r.lp_y[0], before.lp_y[0]);
    const double stored = moves ? before.pos_ms * before.frames_per_ms : before.prev_pos;
    EXPECT_EQ(std::memcmp(&r.prev_pos, &stored, sizeof stored), 0) << r.prev_pos;
}

TEST_F(reader, the_last_six_frames_are_out_of_bounds)
{
    fill(100, [](long) { return 1; });
    const double end = 94, inside = std::nextafter(end, 0);
    for (const auto &[from, to] : {std::pair{90., end}, {end, 90.}, {end, end}, {95., 94.}}) {
        SCOPED_TRACE(::testing::Message() << from << " to " << to);
        expect_silence(head(from, to));
    }
    for (const auto &[from, to] : {std::pair{90., inside}, {inside, 90.}, {inside, inside}}) {
        vorb_fogread r = head(from, to);
        EXPECT_TRUE(sounds(read(r))) << from << " to " << to;
    }
}

TEST_F(reader, what_lies_before_the_first_frame_is_out_of_bounds)
{
    fill(100, [](long) { return 1; });
    const double below = -1e-300;
    for (const auto &[from, to] : {std::pair{below, 10.}, {10., below}, {below, below}, {-3., -1.}})
        expect_silence(head(from, to));
    for (const auto &[from, to] :
         {std::pair{0., 10.}, {10., 0.}, {0., 0.}, {-0., 0.2}, {0.2, -0.}}) {
        vorb_fogread r = head(from, to);
        EXPECT_TRUE(sounds(read(r))) << from << " to " << to;
    }
}

TEST_F(reader, a_block_that_begins_before_the_sample_is_silent_and_the_next_one_plays)
{
    fill(1000, [](long) { return 1; });
    vorb_fogread r = head(-20, 44);
    EXPECT_TRUE(silent(read(r)));
    r.pos_ms = 108;
    EXPECT_TRUE(sounds(read(r)));
}

TEST_F(reader, a_sample_of_few_frames_is_silent)
{
    for (const long frames : {0L, 1L, 5L, 6L}) {
        fill(frames, [](long) { return 1; });
        expect_silence(head(0, 0));
    }
    fill(7, [](long) { return 1; });
    vorb_fogread r = head(0, 0.5);
    EXPECT_TRUE(sounds(read(r)));
}

TEST_F(reader, more_than_eight_frames_a_sample_are_silent)
{
    fill(2000, [](long) { return 1; });
    for (const bool forward : {true, false}) {
        const auto way = [&](double d) {
            return forward ? head(50, 50 + d, 16) : head(50 + d, 50, 16);
        };
        vorb_fogread r = way(128);
        EXPECT_TRUE(sounds(read(r, 16)));
        expect_silence(way(128.0001));
    }
}

TEST_F(reader, positions_that_are_no_numbers_are_silent)
{
    fill(2000, [](long) { return 1; });
    const double odd[] = {not_a_number, infinite, -infinite, 1e300, -1e300, 50};
    for (const double from : odd)
        for (const double to : odd) {
            if (from == 50 && to == 50) continue;
            SCOPED_TRACE(::testing::Message() << from << " to " << to);
            expect_silence(head(from, to));
        }
    vorb_fogread r = head(50, 50);
    r.frames_per_ms = infinite; // of a buffer with an absurd rate
    expect_silence(r);
    r.pos_ms = 0;
    expect_silence(r); // 0 times infinity
}

TEST_F(reader, after_a_position_that_is_no_number_the_fog_finds_its_way_back)
{
    fill(2000, [](long) { return 1; });
    vorb_fogread r = head(50, not_a_number);
    EXPECT_TRUE(silent(read(r)));
    r.pos_ms = 60;
    EXPECT_TRUE(silent(read(r)));
    r.pos_ms = 70;
    EXPECT_TRUE(sounds(read(r)));
}

// ---- Silent blocks that do not move the head ----------------------------------------------------

TEST_F(reader, without_a_reference_or_a_buffer_the_head_waits_in_silence)
{
    expect_silence(head(50, 60), false);
    vorb_fogread r = head(50, 60);
    r.bufref = nullptr;
    expect_silence(r, false);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(reader, a_sample_of_several_channels_is_silent_and_the_head_waits)
{
    for (const long channels : {2L, 3L, 4L}) {
        host::set_buffer("sample1", channels, 44100, std::vector<float>(1200, 1));
        expect_silence(head(50, 60), false);
    }
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(reader, a_refused_lock_is_reported_for_every_block_and_the_head_waits)
{
    fill(2000, [](long) { return 1; });
    host::refuse_locks("sample1", true);
    expect_silence(head(50, 60), false);
    expect_silence(head(50, 60), false);
    const std::vector<host::line> lines = host::take_console();
    ASSERT_EQ(lines.size(), 2u);
    for (const host::line &line : lines) {
        EXPECT_EQ(line.text, "vorb_read: no samples, goto zero");
        EXPECT_FALSE(line.error);
        EXPECT_EQ(line.object, nullptr);
    }
}

TEST_F(reader, a_head_that_waited_covers_the_whole_way_in_one_block)
{
    fill(2000, [](long i) { return i; });
    vorb_fogread r = head(100, 164);
    host::refuse_locks("sample1", true);
    read(r);
    host::refuse_locks("sample1", false);
    r.pos_ms = 228; // the mixer moves it on all the same
    EXPECT_NEAR(read(r)[32], 101 + 64, 0.01);
}

TEST_F(reader, without_the_weights_nothing_sounds)
{
    fill(2000, [](long) { return 1; });
    k_sampfilt_row *const weights = k_sampfilt_tab;
    k_sampfilt_tab = nullptr;
    vorb_fogread r = head(50, 60);
    EXPECT_TRUE(silent(read(r)));
    k_sampfilt_tab = weights;
}

// ---- Blocks left unwritten ----------------------------------------------------------------------

TEST_F(reader, from_512_frames_on_a_block_is_left_unwritten)
{
    fill(5000, [](long) { return 1; });
    for (const bool forward : {true, false})
        for (const double vs : {64., 65., 128., 512.}) {
            const auto way = [&](double d) {
                return forward ? head(50, 50 + d, vs) : head(50 + d, 50, vs);
            };
            const long n = static_cast<long>(vs);
            vorb_fogread longest = way(511.999), first = way(512), last = way(vs * 8);
            first.lp_a = 0.5;
            const vorb_fogread before = first;
            EXPECT_TRUE(sounds(read(longest, n))) << vs;
            EXPECT_TRUE(untouched(read(first, n))) << vs;
            EXPECT_TRUE(untouched(read(last, n))) << vs;
            expect_silence(way(vs * 8 + 0.001));
            EXPECT_EQ(first.prev_pos, first.pos_ms); // it moves, the lowpass waits
            EXPECT_EQ(first.lp_a, before.lp_a);
            EXPECT_EQ(first.lp_am1, before.lp_am1);
            EXPECT_EQ(first.lp_y[0], before.lp_y[0]);
        }
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(reader, out_of_bounds_goes_before_unwritten)
{
    fill(600, [](long) { return 1; });
    expect_silence(head(90, 602));
    expect_silence(head(-1, 511));
}

TEST_F(reader, the_first_block_takes_milliseconds_for_frames)
{
    fill(200000, [](long) { return 1; });
    enum heard { silence, sound, nothing };
    struct row {
        double vs, pos_ms;
        heard expected;
    };
    for (const row &c : {row{64, 1.44, silence}, // it begins before the sample
                         {64, 1.46, sound},
                         {64, 11.84, sound},
                         {64, 11.86, silence},
                         {128, 11.80, sound},
                         {128, 11.82, nothing},
                         {128, 23.68, nothing},
                         {128, 23.70, silence},
                         {256, 11.73, sound},
                         {256, 11.76, nothing},
                         {256, 47.38, nothing},
                         {256, 47.40, silence},
                         {512, 11.60, silence},
                         {512, 11.62, nothing},
                         {512, 94.76, nothing},
                         {512, 94.78, silence}}) {
        SCOPED_TRACE(::testing::Message() << "block size " << c.vs << ", " << c.pos_ms << " ms");
        vorb_fogread r = head(c.pos_ms - c.vs / 44.1, c.pos_ms, c.vs);
        r.frames_per_ms = 44.1;
        const wave out = read(r, static_cast<long>(c.vs));
        EXPECT_EQ(c.expected, silent(out) ? silence : untouched(out) ? nothing : sound);
    }
}

} // namespace
