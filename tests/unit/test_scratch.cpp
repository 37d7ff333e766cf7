// Scratch blocks: sized at audio start, shared by all instances, never smaller than the largest
// need.
#include "session.h"

namespace {

class scratch : public session {};

TEST_F(scratch, takes_the_vector_size_of_the_last_audio_start)
{
    create("2");
    host::set_audio(44100, 32);
    host::start_audio();
    EXPECT_EQ(temp_size, 32);
    host::set_audio(44100, 256);
    host::start_audio();
    EXPECT_EQ(temp_size, 256);
    EXPECT_TRUE(vorb_scratch_holds(256));
}

TEST_F(scratch, keeps_its_blocks_while_the_vector_size_stays)
{
    create("2");
    host::set_audio(44100, 64);
    host::start_audio();
    const double *before = temp1;
    host::set_audio(48000, 64);
    host::start_audio();
    EXPECT_EQ(temp1, before);
}

/// As before the first audio start.
void forget_blocks()
{
    sysmem_freeptr(temp1); // the four are one
    temp1 = temp2 = temp3 = temp4 = nullptr;
}

TEST_F(scratch, is_silent_when_it_is_new)
{
    forget_blocks();
    create("2");
    host::set_audio(44100, 96);
    host::start_audio();
    for (const double *block : {temp1, temp2, temp3, temp4})
        for (int i = 0; i < 96; ++i) ASSERT_EQ(block[i], 0.0);
}

TEST_F(scratch, growing_leaves_the_former_blocks_to_whoever_plays_in_them)
{
    forget_blocks();
    create("2");
    host::start_audio();
    double *const former[] = {temp1, temp2, temp3, temp4};
    host::set_audio(44100, 8192);
    host::start_audio();
    for (double *block : {temp1, temp2, temp3, temp4})
        for (double *old : former) EXPECT_NE(block, old);
    for (double *old : former) std::fill_n(old, 64, 1.0);
    for (const double *block : {temp1, temp2, temp3, temp4})
        for (int i = 0; i < 8192; ++i) ASSERT_EQ(block[i], 0.0);
}

TEST_F(scratch, instances_of_two_vector_sizes_sound_side_by_side)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *large = create("1 sample1 5 100 0.25 0 1 0 400 0");
    vorb *small = create("1 sample1 5 100 1 0 1 0 400 0");
    host::set_audio(object(large), 44100, 1024);
    host::set_audio(object(small), 44100, 16);
    host::start_audio(); // the small one comes last
    EXPECT_EQ(temp_size, 16);
    send(large, 0, "bang");
    send(small, 0, "bang");
    host::run();
    host::run();
    EXPECT_NEAR(host::output(object(large), 0)[1023], 1, 1e-6);
    EXPECT_NEAR(host::output(object(small), 0)[15], 1, 1e-6);
}

TEST_F(scratch, without_memory_for_a_larger_vector_the_others_play_on_and_audio_start_tries_again)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *large = create("1 sample1 5 100 0 0 1 0 400 0");
    vorb *small = create("1 sample1 5 100 0 0 1 0 400 0");
    const long size = 8192;
    forget_blocks();
    host::set_audio(object(small), 44100, 16);
    host::start_audio();
    host::set_audio(object(large), 44100, size);
    for (const bool fails : {true, false}) {
        host::fail_allocation(fails ? 1 : 0);
        host::start_audio();
        EXPECT_EQ(vorb_scratch_holds(size), !fails);
        EXPECT_TRUE(vorb_scratch_holds(16));
        for (vorb *x : {large, small}) {
            send(x, 0, "reset");
            send(x, 0, "bang");
        }
        host::run(); // the heads find the sample
        host::run();
        EXPECT_NEAR(host::output(object(large), 0)[15], fails ? 0 : 1, 1e-6);
        EXPECT_NEAR(host::output(object(small), 0)[15], 1, 1e-6);
    }
}

TEST_F(scratch, without_any_memory_nothing_sounds_until_an_audio_start_finds_some)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 100 0 0 1 0 400 0");
    forget_blocks();
    host::set_audio(44100, 32);
    for (const bool fails : {true, false}) {
        host::fail_allocation(fails ? 1 : 0);
        host::start_audio();
        EXPECT_EQ(vorb_scratch_holds(1), !fails);
        send(x, 0, "reset");
        send(x, 0, "bang");
        host::run(); // the head finds the sample
        host::run();
        EXPECT_NEAR(host::output(object(x), 0)[10], fails ? 0 : 1, 1e-6);
    }
}

TEST_F(scratch, a_block_larger_than_announced_is_silent)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 100 0 0 1 0 400 0");
    forget_blocks();
    host::start_audio();
    send(x, 0, "bang");
    const std::vector<double> out = block(x, 0, 8192);
    EXPECT_THAT(out, ::testing::Each(0.0));
}

} // namespace
