// The readers of samples of two and four channels, one behaviour at a time: which frames feed which
// output, the lowpass of each channel, and the ways out that differ from those of one channel.
#include "host_events.h"
#include "slow_reader.h"

#include <limits>

t_atom_long buffer_getchannelcount(t_buffer_obj *b)
{
    events.push_back("count");
    return host_function<decltype(buffer_getchannelcount)>("buffer_getchannelcount")(b);
}

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// The reader of 1, 2 or 4 channels.
class reader_of_channels : public reading, public ::testing::WithParamInterface<size_t> {
protected:
    size_t channels() const { return GetParam(); }

    /// Puts f(i, c) into frame i of the channels that this reader is for.
    template <class F>
    void fill_all(long frames, F f)
    {
        fill_channels(static_cast<long>(channels()), frames, f);
    }

    void fill_with_ones(long frames)
    {
        fill_all(frames, [](long, long) { return 1; });
    }

    waves read(vorb_fogread &r, size_t n = 64) const
    {
        waves out(channels(), wave(n, unwritten_mark));
        events.clear();
        read_block(r, out);
        return out;
    }

    static bool all_silent(const waves &out) { return std::all_of(out.begin(), out.end(), silent); }
    static bool all_sound(const waves &out) { return std::all_of(out.begin(), out.end(), sounds); }

    /// Reads one block that must be silent in every channel, without a word, and leave the lowpass
    /// as it was; `moves` says whether the head does.
    void expect_silence(vorb_fogread r, bool moves) const
    {
        r.lp_a = 0.5;
        r.lp_am1 = -0.25;
        r.lp_k = 0.5;
        for (double &y : r.lp_y) y = 3;
        vorb_fogread expected = r;
        if (moves) expected.prev_pos = r.pos_ms * r.frames_per_ms;
        EXPECT_TRUE(all_silent(read(r)));
        EXPECT_EQ(std::memcmp(&r, &expected, sizeof r), 0) << "the head's state differs";
        EXPECT_THAT(console(), IsEmpty());
    }

    static std::string out_of_range(long count)
    {
        return "k.vorb~: vorb_read: n2 (" + std::to_string(count) + ") out of range";
    }
};

class any_reader : public reader_of_channels {};

INSTANTIATE_TEST_SUITE_P(sample, reader_of_channels, ::testing::Values(2, 4));
INSTANTIATE_TEST_SUITE_P(sample, any_reader, ::testing::Values(1, 2, 4));

// ---- What is heard ------------------------------------------------------------------------------

TEST_P(reader_of_channels, hears_each_channel_at_its_own_output)
{
    fill_all(1000, [](long i, long c) { return i * (c + 1); });
    for (const double to : {364.0, 300.5, 236.0}) {
        vorb_fogread r = head(300, to);
        const waves out = read(r);
        for (size_t c = 0; c < channels(); ++c)
            for (int i = 0; i < 64; ++i) // one frame after the position
                EXPECT_NEAR(out[c][static_cast<size_t>(i)],
                            (301 + i * (to - 300) / 64) * static_cast<double>(c + 1), 0.02)
                    << to << " channel " << c;
    }
}

TEST_P(reader_of_channels, from_identical_channels_gives_identical_outputs)
{
    for (int trial = 0; trial < 50; ++trial) {
        double v = 0;
        fill_all(1000, [&](long, long c) { return v = c == 0 ? uniform(-1, 1) : v; });
        vorb_fogread r = head(uniform(300, 500), uniform(300, 500));
        r.lp_a = uniform(0, 1);
        r.lp_am1 = r.lp_a - 1;
        r.lp_k = uniform(0.9, 1);
        for (int played = 0; played < 3; ++played) {
            const waves out = read(r);
            EXPECT_TRUE(sounds(out[0]));
            for (const wave &w : out) EXPECT_TRUE(same_bits(w, out[0], 64));
            r.pos_ms += 20;
        }
    }
}

TEST_P(reader_of_channels, filters_all_channels_with_the_coefficient_of_the_same_sample)
{
    fill_all(100, [](long, long) { return 0; });
    vorb_fogread r = head(20, 20);
    r.lp_a = 0.5;
    r.lp_am1 = -0.25; // not a - 1: the first sample alone takes it
    r.lp_k = 0.5;
    for (size_t c = 0; c < 4; ++c) r.lp_y[c] = double(c + 1);
    const waves out = read(r, 3);
    for (size_t c = 0; c < channels(); ++c) {
        const double y = double(c + 1);
        // 1 - a is 0.25, by decree, then 0.75 and 0.875
        EXPECT_THAT(out[c], ElementsAre(0.25 * y, 0.1875 * y, 0.1640625 * y));
    }
    EXPECT_EQ(r.lp_a, 0.0625);
    EXPECT_EQ(r.lp_am1, -0.9375);
    for (size_t c = 0; c < 4; ++c)
        EXPECT_EQ(r.lp_y[c], double(c + 1) * (c < channels() ? 0.1640625 : 1)) << c;
}

TEST_P(reader_of_channels, moving_backward_hears_the_frame_behind_its_count)
{
    // From 11.39 back to 10.49: five frames from 9 on, and the first sample needs the sixth.
    for (size_t heard = 0; heard < channels(); ++heard) {
        fill_all(100, [&](long i, long c) { return i == 14 && c == long(heard); });
        vorb_fogread r = head(11.39, 10.49);
        const waves out = read(r);
        for (size_t c = 0; c < channels(); ++c)
            EXPECT_EQ(out[c][0], c == heard ? static_cast<double>(weight(3, 99)) : 0.0);
    }
}

TEST_P(any_reader, locks_once_and_counts_channels_again_while_it_holds_the_samples)
{
    fill_with_ones(100);
    vorb_fogread r = head(20, 30);
    read(r);
    EXPECT_THAT(events, ElementsAre("count", "lock", "count", "unlock"));
}

// ---- Silent blocks ------------------------------------------------------------------------------

TEST_P(reader_of_channels, is_silent_out_of_bounds_though_the_head_moves)
{
    fill_with_ones(100);
    const double end = 94, inside = std::nextafter(end, 0);
    for (const auto &[from, to] : {std::pair{90., end},
                                   {end, 90.},
                                   {-1e-300, 10.},
                                   {10., -1e-300},
                                   {not_a_number, 10.},
                                   {10., not_a_number},
                                   {10., infinite},
                                   {-infinite, 10.},
                                   {1e300, 10.}}) {
        SCOPED_TRACE(::testing::Message() << from << " to " << to);
        if (!std::isnan(to)) expect_silence(head(from, to), true);
        vorb_fogread r = head(from, to);
        EXPECT_TRUE(all_silent(read(r)));
        EXPECT_THAT(events, ElementsAre("count", "lock", "count", "unlock"));
    }
    for (const auto &[from, to] : {std::pair{90., inside}, {inside, 90.}, {0., 10.}, {10., 0.}}) {
        vorb_fogread r = head(from, to);
        EXPECT_TRUE(all_sound(read(r))) << from << " to " << to;
    }
}

TEST_P(reader_of_channels, is_silent_beyond_eight_frames_a_sample)
{
    fill_with_ones(2000);
    for (const auto &[from, to] : {std::pair{50., 50 + 128.001}, {50 + 128.001, 50.}}) {
        vorb_fogread r = head(from, to, 16);
        r.lp_a = 0.5;
        EXPECT_TRUE(all_silent(read(r, 16)));
    }
    vorb_fogread r = head(50, 178, 16);
    EXPECT_TRUE(all_sound(read(r, 16)));
}

TEST_P(reader_of_channels, waits_in_silence_without_a_reference_or_a_buffer)
{
    expect_silence(head(50, 60), false);
    vorb_fogread r = head(50, 60);
    r.bufref = nullptr;
    expect_silence(r, false);
    EXPECT_THAT(events, IsEmpty());
}

TEST_P(reader_of_channels, waits_in_silence_for_a_sample_of_that_many_channels)
{
    for (const long held : {1L, 2L, 3L, 4L, 5L, 8L}) {
        if (held == static_cast<long>(channels())) continue;
        SCOPED_TRACE(held);
        fill_channels(held, 2000, [](long, long) { return 1; });
        expect_silence(head(50, 60), false);
        EXPECT_THAT(events, ElementsAre("count"));
    }
}

TEST_P(reader_of_channels, moves_on_in_silence_when_the_lock_is_refused)
{
    fill_with_ones(2000);
    host::refuse_locks("sample1", true);
    expect_silence(head(50, 60), true); // without a word, unlike the reader of one channel
    EXPECT_EQ(std::count(events.begin(), events.end(), "unlock"), 0);
}

TEST_P(any_reader, is_silent_when_the_number_of_channels_changes_before_the_lock)
{
    for (const long held : {1L, 2L, 3L, 4L, 8L}) {
        if (held == static_cast<long>(channels())) continue;
        SCOPED_TRACE(held);
        fill_with_ones(2000);
        // Just long enough for the head: a wrong stride would leave it.
        before_lock = [&] { fill_channels(held, 70, [](long, long) { return 1; }); };
        expect_silence(head(50, 60), true);
        EXPECT_THAT(events, ElementsAre("count", "lock", "count", "unlock"));
    }
}

TEST_P(any_reader, goes_by_the_length_of_the_sample_that_it_has_locked)
{
    fill_with_ones(2000);
    before_lock = [&] { fill_with_ones(60); };
    expect_silence(head(50, 60), true);
    fill_with_ones(40);
    before_lock = [&] { fill_with_ones(70); };
    vorb_fogread r = head(50, 60);
    EXPECT_TRUE(all_sound(read(r)));
}

TEST_P(reader_of_channels, is_silent_without_the_weights)
{
    fill_with_ones(2000);
    k_sampfilt_row *const weights = std::exchange(k_sampfilt_tab, nullptr);
    vorb_fogread r = head(50, 60);
    EXPECT_TRUE(all_silent(read(r)));
    k_sampfilt_tab = weights;
}

// ---- Blocks left unwritten ----------------------------------------------------------------------

TEST_P(reader_of_channels, leaves_blocks_of_512_frames_and_more_unwritten_and_says_so)
{
    fill_with_ones(9000);
    for (const double vs : {64., 65., 128., 1024.})
        for (const double d : {512., 513.7, vs * 8}) {
            if (d > vs * 8) continue;
            for (const bool forward : {true, false}) {
                SCOPED_TRACE(::testing::Message() << vs << " samples over " << d << " frames");
                vorb_fogread r = forward ? head(50, 50 + d, vs) : head(50 + d, 50, vs);
                r.lp_a = 0.5;
                vorb_fogread expected = r;
                expected.prev_pos = r.pos_ms; // it moves, the lowpass waits
                for (const wave &w : read(r, static_cast<size_t>(vs))) EXPECT_TRUE(untouched(w));
                EXPECT_EQ(std::memcmp(&r, &expected, sizeof r), 0);
                const std::vector<host::line> said = host::take_console();
                ASSERT_EQ(said.size(), 1u);
                EXPECT_EQ(said[0].text, out_of_range(static_cast<long>(d) + 5));
                EXPECT_FALSE(said[0].error);
                EXPECT_EQ(said[0].object, nullptr);
            }
        }
    vorb_fogread r = head(50, 50 + 511.999);
    EXPECT_TRUE(all_sound(read(r)));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_P(reader_of_channels, says_so_once_a_block)
{
    fill_with_ones(9000);
    vorb_fogread r = head(50, 50);
    for (int played = 0; played < 3; ++played) {
        r.pos_ms += 512;
        read(r);
    }
    EXPECT_THAT(console(), ElementsAre(out_of_range(517), out_of_range(517), out_of_range(517)));
}

TEST_P(reader_of_channels, says_so_before_it_unlocks_two_channels_and_after_it_unlocks_four)
{
    fill_with_ones(9000);
    vorb_fogread r = head(50, 562);
    read(r);
    if (channels() == 2)
        EXPECT_THAT(events, ElementsAre("count", "lock", "count", "post", "unlock"));
    else EXPECT_THAT(events, ElementsAre("count", "lock", "count", "unlock", "post"));
}

TEST_P(reader_of_channels, prefers_silence_to_an_unwritten_block)
{
    fill_with_ones(600);
    expect_silence(head(90, 602), true);
    expect_silence(head(-1, 511), true);
}

} // namespace
