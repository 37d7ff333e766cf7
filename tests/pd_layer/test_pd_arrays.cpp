// The object in a Pd: arrays that are written, resized, renamed and deleted while fogs play them.
#include "pd_layer.h"

#include "ext_buffer.h"

#include <limits>
#include <new>

using fake::player, fake::set_array;
using testing::Each, testing::ElementsAre;

TEST_F(pd_layer, hears_what_is_written_in_the_next_block)
{
    set_array("a", 60 * 44100, 0);
    player x(box(1, 30000));
    x.send("bang");
    for (int i = 0; i < 20; ++i) EXPECT_EQ(x.peak(), 0);
    for (const float level : {0.5f, 0.f, -1.f}) {
        for (fake::cell &c : fake::now.arrays["a"]) c.value = level;
        EXPECT_THAT(x.run(), Each(testing::FloatNear(level, 1e-6f)));
    }
}

TEST_F(pd_layer, a_fog_that_starts_in_a_block_hears_what_was_written_before_it)
{
    set_array("a", 44100, 0);
    player x(box(1, 0));
    x.plug(true, true);
    EXPECT_EQ(x.peak(1000, 10), 0);
    set_array("a", 44100, 1);
    player fresh(box(1, 0));
    fresh.plug(true, true);
    x.send("reset");
    x.send("f0phase", {num(0)});
    const std::vector<float> expected = fresh.run(1000, 10);
    EXPECT_EQ(x.run(1000, 10), expected);
    EXPECT_GT(fresh.peak(1000, 10), 0);
}

TEST_F(pd_layer, a_block_costs_the_same_in_a_long_array)
{
    long cells[2];
    for (const int k : {0, 1}) {
        set_array("a", k ? 20'000'000 : 44100, 1);
        player x(box(1, 100));
        x.send("bang");
        x.run();
        fake::now.copied = 0;
        x.run();
        cells[k] = fake::now.copied;
    }
    EXPECT_EQ(cells[0], cells[1]);
    EXPECT_GE(cells[0], 64);
    EXPECT_LT(cells[0], 80);
}

TEST_F(pd_layer, instances_share_one_copy_of_an_array)
{
    set_array("a", 44100, 1);
    player one(box(1, 0)), two(box(1, 0));
    const auto &refs = host::now.references;
    ASSERT_EQ(refs.size(), 2u);
    EXPECT_NE(refs[0]->owner, refs[1]->owner);
    EXPECT_EQ(buffer_ref_getobject(refs[0].get()), buffer_ref_getobject(refs[1].get()));
}

TEST_F(pd_layer, deleted_shortened_and_new_arrays_are_found_in_the_same_block)
{
    set_array("a", 44100, 1);
    player x(box(10, 500));
    x.send("bang");
    x.run();
    x.run();
    EXPECT_GT(x.peak(), 0.5f);
    fake::now.arrays.erase("a");
    EXPECT_EQ(x.peak(), 0);
    set_array("a", 30000, 1);
    EXPECT_GT(x.peak(), 0.5f);
    set_array("a", 100, 1);
    EXPECT_EQ(x.peak(), 0);
    EXPECT_EQ(x.send("usedfogs"), 1); // it waits where it cannot read
    EXPECT_FALSE(fake::now.refresh_asked);
}

TEST_F(pd_layer, an_array_that_grew_unnoticed_is_whole_after_the_tick)
{
    set_array("a", 1000, 1);
    player x(box(1, 500));
    x.send("bang");
    x.run();
    set_array("a", 44100, 1);
    EXPECT_EQ(x.peak(), 0);
    EXPECT_TRUE(fake::now.refresh_asked);
    vorb_pd::refresh(nullptr);
    EXPECT_GT(x.peak(), 0.5f);
}

TEST_F(pd_layer, numbered_arrays_are_the_channels_of_a_sample_as_long_as_the_shortest)
{
    player x(box(2, 0));
    const auto channels_and_frames = [] {
        t_buffer_obj *b = buffer_ref_getobject(host::now.references.at(0).get());
        return std::make_pair(b ? buffer_getchannelcount(b) : 0, b ? buffer_getframecount(b) : 0);
    };
    const auto is = [](t_atom_long channels, t_atom_long frames) {
        return testing::Pair(channels, frames);
    };
    EXPECT_THAT(channels_and_frames(), is(0, 0));
    set_array("0-a", 900, 0);
    EXPECT_THAT(channels_and_frames(), is(0, 0));
    set_array("1-a", 800, 0);
    EXPECT_THAT(channels_and_frames(), is(2, 800));
    set_array("2-a", 100, 0);
    EXPECT_THAT(channels_and_frames(), is(2, 800));
    set_array("3-a", 700, 0);
    EXPECT_THAT(channels_and_frames(), is(4, 100));
    set_array("a", 50, 0);
    EXPECT_THAT(channels_and_frames(), is(1, 50));
}

TEST_F(pd_layer, channels_stay_apart)
{
    set_array("0-a", 44100, 0.25);
    set_array("1-a", 44100, -0.5);
    player x(box(2, 100));
    x.send("bang");
    x.run();
    EXPECT_THAT(x.run(), Each(testing::FloatNear(0.25f, 1e-6f)));
}

TEST_F(pd_layer, an_array_has_the_rate_of_pd_unless_it_is_told_another)
{
    set_array("a", 1000, 0);
    player x(box(1, 0));
    t_buffer_obj *b = buffer_ref_getobject(host::now.references.at(0).get());
    fake::now.rate = 48000;
    EXPECT_EQ(buffer_getsamplerate(b), 48000);
    vorb_pd::set_rate("a", 22050);
    EXPECT_EQ(buffer_getsamplerate(b), 22050);
    vorb_pd::set_rate("a", 0);
    EXPECT_EQ(buffer_getsamplerate(b), 48000);
}

TEST_F(pd_layer, a_rate_lasts_until_the_last_instance_goes)
{
    const auto rate = [] {
        return buffer_getsamplerate(buffer_ref_getobject(host::now.references.at(0).get()));
    };
    set_array("a", 1000, 0);
    {
        player one(box(1, 0));
        {
            player two(box(1, 0));
            vorb_pd::set_rate("a", 22050);
        }
        EXPECT_EQ(rate(), 22050);
    }
    player three(box(1, 0));
    EXPECT_EQ(rate(), 44100);
}

TEST_F(pd_layer, a_second_array_of_a_name_is_told_once_and_never_in_a_tick)
{
    set_array("a", 44100, 1);
    player x(box(1, 500)), y(box(1, 500));
    fake::now.several = true;
    for (int i = 0; i < 3; ++i) x.run();
    EXPECT_THAT(fake::now.console, testing::IsEmpty());
    const auto told = ElementsAre("k.vorb~: a is there twice: the older array is played");
    for (int i = 0; i < 3; ++i) vorb_pd::refresh(nullptr);
    EXPECT_THAT(fake::now.console, told);
    fake::now.console.clear();
    fake::now.several = false;
    vorb_pd::refresh(nullptr);
    EXPECT_THAT(fake::now.console, testing::IsEmpty());
    fake::now.several = true;
    x.send("set", {word("a")});
    EXPECT_THAT(fake::now.console, testing::SizeIs(testing::Le(1u)));
    vorb_pd::refresh(nullptr);
    EXPECT_THAT(fake::now.console, told);
}

TEST_F(pd_layer, an_array_is_looked_up_once_in_a_tick_by_all_instances)
{
    set_array("a", 44100, 1);
    player x(box(1, 100)), y(box(1, 200));
    x.send("bang");
    y.send("bang");
    x.run();
    y.run();
    fake::now.looked_up = 0;
    ++fake::now.ms;
    fake::now.in_one_tick = true;
    EXPECT_GT(x.peak(), 0.5f);
    EXPECT_GT(y.peak(), 0.5f);
    EXPECT_GT(x.peak(), 0.5f);
    EXPECT_EQ(fake::now.looked_up, 1);
    set_array("a", 100, 1);
    ++fake::now.ms;
    EXPECT_EQ(y.peak(), 0);
    EXPECT_EQ(fake::now.looked_up, 2);
}

TEST_F(pd_layer, the_end_of_an_instance_looks_nothing_up)
{
    set_array("a", 44100, 1);
    player x(box(1, 100));
    {
        player y(box(1, 100));
        fake::now.looked_up = 0;
    }
    EXPECT_EQ(fake::now.looked_up, 0);
}

/// Larger copies of arrays find no memory.
static size_t most_memory = std::numeric_limits<size_t>::max();

void *operator new[](size_t size, const std::nothrow_t &) noexcept
{
    return size > most_memory ? nullptr : ::operator new[](size);
}

TEST_F(pd_layer, memory_that_is_missing_is_told_once_and_asked_for_again_by_refresh)
{
    most_memory = 40000 * sizeof(float);
    set_array("a", 44100, 1);
    player x(box(1, 500));
    x.send("bang");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(x.peak(), 0);
    EXPECT_FALSE(fake::now.refresh_asked);
    for (int i = 0; i < 3; ++i) vorb_pd::refresh(nullptr);
    const size_t told = fake::now.console.size();
    EXPECT_THAT(fake::now.console, Each(testing::StrEq("k.vorb~: no memory for a")));
    EXPECT_THAT(told, testing::AllOf(testing::Ge(1u), testing::Le(2u))); // birth, signal chain
    most_memory = std::numeric_limits<size_t>::max();
    vorb_pd::refresh(nullptr);
    EXPECT_EQ(x.peak(), 0);
    x.refresh();
    EXPECT_GT(x.peak(), 0.5f);
    EXPECT_EQ(fake::now.console.size(), told);
}

TEST_F(pd_layer, arrays_of_a_few_points_are_silent)
{
    for (const size_t points : {size_t{0}, size_t{1}, size_t{7}})
        for (const char *name : {"a", "0-a"}) {
            fake::now.arrays.clear();
            set_array(name, points, 1);
            set_array("1-a", points, 1);
            player x(box(2, 0));
            x.plug(true, true);
            for (int i = 0; i < 5; ++i) EXPECT_EQ(x.peak(1000, float(i) * 0.05f), 0) << points;
            set_array(name, 44100, 1);
            set_array("1-a", 44100, 1);
            vorb_pd::refresh(nullptr);
            for (int i = 0; i < 5; ++i) x.run(1000, 10);
            EXPECT_GT(x.peak(1000, 10), 0.5f) << points;
        }
}
