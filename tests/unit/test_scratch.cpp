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

TEST_F(scratch, is_silent_when_it_is_new)
{
    for (double **block : {&temp1, &temp2, &temp3, &temp4}) {
        sysmem_freeptr(*block);
        *block = nullptr;
    }
    create("2");
    host::set_audio(44100, 96);
    host::start_audio();
    for (const double *block : {temp1, temp2, temp3, temp4})
        for (int i = 0; i < 96; ++i) ASSERT_EQ(block[i], 0.0);
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

TEST_F(scratch, without_memory_nothing_sounds_and_the_next_audio_start_tries_again)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 0 0 0 1 0 400 0");
    host::set_audio(44100, 1024);
    host::start_audio();
    for (long failing = 1; failing <= 4; ++failing) {
        host::set_audio(44100, 4096 + failing); // more than the room, so that blocks are requested
        host::fail_allocation(failing);
        host::start_audio();
        host::fail_allocation(0);
        send(x, 0, "bang");
        host::run();
        EXPECT_EQ(host::output(object(x), 0)[10], 0.0) << failing;
        EXPECT_EQ(block(x, 0, 16)[10], 0.0) << failing; // nor where the former room would do
        host::start_audio();
        EXPECT_FALSE(vorb_scratch_holds(16)); // only another size is a new attempt
        host::set_audio(44100, 32);
        host::start_audio();
        EXPECT_TRUE(vorb_scratch_holds(1024));  // as much as before,
        EXPECT_FALSE(vorb_scratch_holds(4096)); // not the size that failed
    }
    for (double **block : {&temp1, &temp2, &temp3, &temp4}) { // as if all four had failed
        sysmem_freeptr(*block);
        *block = nullptr;
    }
    host::start_audio(); // of the same size
    EXPECT_TRUE(vorb_scratch_holds(1024));
}

TEST_F(scratch, a_block_larger_than_announced_is_silent)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1 sample1 5 0 0 0 1 0 400 0");
    host::start_audio();
    send(x, 0, "bang");
    const std::vector<double> out = block(x, 0, 8192);
    EXPECT_THAT(out, ::testing::Each(0.0));
}

} // namespace
