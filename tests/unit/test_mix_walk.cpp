// The walk over all sounding fogs: who is rendered, who ends, and what a block hears of several.
#include "session.h"

#include <algorithm>

namespace {

using wave = std::vector<double>;

class walk : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        level("sample1", 1);
    }

    /// A buffer that sounds as this value wherever it is read.
    static void level(const std::string &name, double value, long channels = 1)
    {
        host::set_buffer(
            name, channels, 44100,
            std::vector<float>(static_cast<size_t>(channels * 4000), static_cast<float>(value)));
    }

    /// Its fogs stand still in the sample and last for a minute.
    vorb *standing(long layout)
    {
        vorb *x = create(std::to_string(layout) + " sample1 8 0 0 0 1 0 60000 0");
        host::start_audio();
        return x;
    }

    /// Starts a fog in the next block, to last this many samples.
    static vorb_fog *start(vorb *x, long samples = 1000000)
    {
        send(x, 0, "bang");
        x->pool.used->sustain = samples;
        return x->pool.used;
    }

    static long used(const vorb *x) { return long(x->pool.maxfogs - x->pool.nfree); }

    static std::vector<const vorb_fog *> listed(const vorb_fog *first)
    {
        std::vector<const vorb_fog *> list;
        for (; first; first = first->next) list.push_back(first);
        return list;
    }
};

// ---- Without a buffer ---------------------------------------------------------------------------

TEST_F(walk, deleting_the_buffer_ends_its_fogs_in_the_middle_layouts)
{
    for (const long layout : layouts) {
        SCOPED_TRACE(layout);
        level("sample1", 1);
        vorb *x = standing(layout);
        for (int k = 0; k < 3; ++k) start(x);
        EXPECT_NE(block(x)[63], 0);
        host::delete_buffer("sample1");
        EXPECT_THAT(block(x), ::testing::Each(0.0));
        send(x, 0, "freefogs");
        const bool lives_on = layout == 1 || layout == 10;
        EXPECT_THAT(numbers(), ElementsAre(lives_on ? 5 : 8));
        host::destroy(object(x));
    }
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(walk, only_fogs_of_the_missing_buffer_end)
{
    level("other", 1);
    vorb *x = standing(2);
    const vorb_fog *first = start(x);
    send(x, 0, "set other");
    host::drain();
    start(x);
    send(x, 0, "set sample1");
    host::drain();
    const vorb_fog *third = start(x);
    block(x);
    host::delete_buffer("other");
    EXPECT_NEAR(block(x)[63], 2, 1e-6);
    EXPECT_THAT(listed(x->pool.used), ElementsAre(third, first));
}

TEST_F(walk, a_fog_that_waits_ends_with_its_buffer_all_the_same)
{
    for (const long layout : layouts) {
        level("sample1", 1);
        vorb *x = standing(layout);
        send(x, 0, "5000."); // ms
        block(x);
        EXPECT_EQ(used(x), 1) << layout;
        host::delete_buffer("sample1");
        block(x);
        EXPECT_EQ(used(x), layout == 1 || layout == 10) << layout;
        host::destroy(object(x));
    }
}

TEST_F(walk, a_fog_without_a_reference_lives_on_in_the_single_outlet_layout_alone)
{
    for (const long layout : layouts) {
        const auto x = reinterpret_cast<vorb *>(
            host::create("k.vorb~ " + std::to_string(layout) + " sample1 5 0 0 0 1 0 60000 0"));
        host::start_audio();
        send(x, 0, "bang"); // the table is not set yet
        EXPECT_THAT(block(x), ::testing::Each(0.0));
        EXPECT_EQ(used(x), layout == 1) << layout;
        host::destroy(object(x));
    }
}

TEST_F(walk, a_silent_fog_runs_its_envelope_to_the_end)
{
    for (const long layout : {1L, 10L}) {
        level("sample1", 1);
        vorb *x = standing(layout);
        start(x, 150);
        host::delete_buffer("sample1");
        for (const long left : {86L, 22L}) {
            block(x);
            ASSERT_EQ(used(x), 1) << layout;
            EXPECT_EQ(x->pool.used->sustain, left);
        }
        block(x);
        EXPECT_EQ(used(x), 0) << layout;
        host::destroy(object(x));
    }
}

// ---- Buffers of several channels ----------------------------------------------------------------

TEST_F(walk, three_channels_are_silent_in_every_layout_while_the_envelope_runs)
{
    level("sample1", 1, 3);
    for (const long layout : layouts) {
        vorb *x = standing(layout);
        const vorb_fog *fog = start(x);
        block(x);
        for (int k = 0; k < layout; ++k)
            for (int i = 0; i < 64; ++i) ASSERT_EQ(host::output(object(x), k)[i], 0) << layout;
        EXPECT_EQ(used(x), 1);
        EXPECT_EQ(fog->sustain, 1000000 - 64);
    }
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(walk, the_layouts_of_one_and_ten_outlets_hear_one_channel_alone)
{
    for (const long channels : {2L, 4L}) {
        level("sample1", 1, channels);
        for (const long layout : {1L, 10L}) {
            vorb *x = standing(layout);
            start(x);
            EXPECT_THAT(block(x), ::testing::Each(0.0)) << channels << " in " << layout;
            EXPECT_EQ(used(x), 1);
        }
    }
}

TEST_F(walk, the_channel_count_is_looked_up_in_every_block)
{
    for (const long layout : layouts) {
        SCOPED_TRACE(layout);
        level("sample1", 1);
        vorb *x = standing(layout);
        start(x);
        EXPECT_NE(block(x)[63], 0);
        level("sample1", 1, 3);
        EXPECT_EQ(block(x)[63], 0);
        level("sample1", 1);
        EXPECT_NE(block(x)[63], 0);
    }
}

TEST_F(walk, a_refused_lock_is_reported_for_each_fog_and_block)
{
    vorb *x = standing(1);
    start(x);
    start(x);
    host::refuse_locks("sample1", true);
    EXPECT_THAT(block(x), ::testing::Each(0.0));
    const std::string text = "vorb_read: no samples, goto zero";
    EXPECT_THAT(console(), ElementsAre(text, text));
    block(x);
    EXPECT_THAT(console(), ElementsAre(text, text));
    EXPECT_EQ(used(x), 2);
}

// ---- Gains --------------------------------------------------------------------------------------

TEST_F(walk, the_single_outlet_hears_its_amplitude_through_the_decay)
{
    vorb *x = standing(1), *half = standing(1);
    send(half, 0, "amp 0.5");
    for (vorb *each : {x, half}) {
        send(each, 0, "bw 500");
        send(each, 0, "bang");
    }
    const wave full_level = block(x),
               half_level(host::output(object(half), 0), host::output(object(half), 0) + 64);
    EXPECT_NEAR(full_level[1] / full_level[0], std::exp(-std::acos(-1.) * 500 / 44100), 1e-6);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(half_level[i], 0.5 * full_level[i]);
}

TEST_F(walk, a_fog_keeps_the_gains_of_its_start)
{
    for (const long layout : layouts) {
        vorb *x = standing(layout);
        start(x);
        const double before = block(x)[63];
        send(x, 0, "amp 0.25");
        EXPECT_NEAR(block(x)[63], before, 1e-9) << layout;
        start(x);
        EXPECT_NEAR(block(x)[63], before * 1.25, 1e-6) << layout;
    }
}

// ---- Several fogs -------------------------------------------------------------------------------

TEST_F(walk, two_fogs_sound_as_the_sum_of_each_alone)
{
    mono_buffer("sample1", 20000, [](long i) { return std::sin(double(i) * 0.1); });
    for (const long layout : layouts) {
        SCOPED_TRACE(layout);
        std::vector<vorb *> all; // the first fog alone, the second alone, both
        for (int k = 0; k < 3; ++k)
            all.push_back(create(std::to_string(layout) + " sample1 5 0 1 0 1 4 20 5"));
        host::start_audio();
        for (const int both : {0, 2}) send(all[size_t(both)], 0, "bang");
        for (const int both : {1, 2}) {
            for (const char *message : {"transp 2.5", "bw 300", "amp 0.75", "tex 1", "lp -2 100"})
                send(all[size_t(both)], 0, message);
            send(all[size_t(both)], 0, "3.");
        }
        double loudest = 0;
        for (int played = 0; played < 20; ++played) {
            host::run();
            for (int k = 0; k < layout; ++k)
                for (int i = 0; i < 64; ++i) {
                    const double first = host::output(object(all[0]), k)[i];
                    const double second = host::output(object(all[1]), k)[i];
                    loudest = std::max(loudest, std::fabs(first * second));
                    ASSERT_EQ(host::output(object(all[2]), k)[i], second + first);
                }
        }
        EXPECT_GT(loudest, 0.01);
        for (vorb *x : all) EXPECT_EQ(used(x), 0);
    }
}

TEST_F(walk, ended_fogs_leave_the_list_wherever_they_stand)
{
    for (const long layout : layouts) {
        for (const size_t ending : {0u, 1u, 2u}) {
            SCOPED_TRACE(::testing::Message() << layout << " outlets, fog " << ending);
            vorb *x = standing(layout);
            std::vector<const vorb_fog *> sounding;
            for (size_t k = 0; k < 3; ++k) sounding.push_back(start(x, k == ending ? 64 : 65));
            block(x);
            const vorb_fog *gone = sounding[ending];
            sounding.erase(sounding.begin() + long(ending));
            std::reverse(sounding.begin(), sounding.end()); // the newest stands first
            EXPECT_EQ(listed(x->pool.used), sounding);
            EXPECT_EQ(x->pool.free, gone);
            EXPECT_EQ(x->pool.nfree, 6);
            EXPECT_EQ(listed(x->pool.free).size(), 6u);
        }
    }
}

TEST_F(walk, of_fogs_that_end_together_the_oldest_is_the_next_to_be_used)
{
    vorb *x = standing(2);
    const vorb_fog *first = start(x, 64), *second = start(x, 64), *third = start(x, 64);
    block(x);
    EXPECT_EQ(used(x), 0);
    const auto free = listed(x->pool.free);
    ASSERT_EQ(free.size(), 8u);
    EXPECT_THAT(std::vector(free.begin(), free.begin() + 3), ElementsAre(first, second, third));
}

// ---- Blocks that the reader leaves unwritten ----------------------------------------------------

TEST_F(walk, an_unwritten_block_sounds_what_the_scratch_held)
{
    host::set_audio(44100, 256); // the first block of every fog is left unwritten
    vorb *x = standing(1);
    send(x, 2, "1.");
    start(x);
    for (int i = 0; i < 256; ++i) temp1[i] = i;
    const wave out = block(x, 0, 256);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(out[size_t(i)], i);
    EXPECT_NEAR(block(x, 0, 256)[100], 1, 1e-6);
}

TEST_F(walk, fogs_are_mixed_newest_first)
{
    host::set_audio(44100, 256);
    vorb *x = standing(1);
    send(x, 2, "1.");
    send(x, 0, "amp 1");
    start(x);
    block(x, 0, 256);
    level("sample1", 0.25);
    EXPECT_NEAR(block(x, 0, 256)[0], 0.25, 1e-6);
    level("sample1", 0.5);
    start(x); // is mixed first, and finds the last block's 0.25
    EXPECT_NEAR(block(x, 0, 256)[0], 0.25 + 0.5, 1e-6);
}

TEST_F(walk, instances_and_layouts_share_the_scratch)
{
    host::set_audio(44100, 256);
    vorb *x = standing(10), *y = standing(2);
    for (vorb *each : {x, y}) send(each, 2, "1.");
    start(x);
    host::run();
    level("sample1", 0.375);
    start(y);
    host::run(); // the first instance's sample, then the unwritten block of the second
    EXPECT_NEAR(host::output(object(y), 1)[7], 0.375, 1e-6);
}

} // namespace
