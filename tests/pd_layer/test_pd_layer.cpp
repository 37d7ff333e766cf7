// The object in a Pd: arrays that are written, resized, renamed and deleted while fogs play them.
#include "fake_pd.h"

#include "ext_buffer.h"
#include "host_state.h"

#include <gmock/gmock.h>

using fake::player, fake::set_array;
using testing::Each, testing::ElementsAre, testing::HasSubstr;

static vorb_pd::atom word(const char *text) { return {text, 0}; }
static vorb_pd::atom num(double v) { return {nullptr, float(v)}; }

/// One fog after another from a place in the array, at full level and without an envelope.
static std::vector<vorb_pd::atom> box(double outlets, double offset_ms, double maxfogs = 20)
{
    return {num(outlets), word("a"), num(maxfogs), num(offset_ms), num(1),
            num(0),       num(1),    num(0),       num(1e6)};
}

class pd_layer : public testing::Test {
protected:
    static void SetUpTestSuite() { vorb_pd::load(); }
    pd_layer() { fake::now = {}; }
    ~pd_layer() override { EXPECT_THAT(host::take_faults(), testing::IsEmpty()); }
};

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

TEST_F(pd_layer, a_long_block_is_played_in_slices)
{
    set_array("a", 44100, 0);
    float level = 0;
    for (fake::cell &c : fake::now.arrays["a"]) c.value = level += 1e-5f;
    player x(box(1, 0)), long_one(box(1, 0), 256);
    x.plug(true, false);
    long_one.plug(true, false);
    for (int i = 0; i < 8; ++i) {
        const std::vector<float> expected = long_one.run(700);
        std::vector<float> got;
        for (int k = 0; k < 4; ++k) {
            const std::vector<float> &part = x.run(700);
            got.insert(got.end(), part.begin(), part.end());
        }
        EXPECT_EQ(got, expected);
    }
    EXPECT_GT(x.peak(700), 0);
}

TEST_F(pd_layer, whole_numbers_are_ints_in_the_box_and_where_a_message_asks_for_one)
{
    set_array("a", 44100, 0);
    player x(box(1, 0, 7));
    EXPECT_EQ(x.send("freefogs"), 7);
    x.send("maxfogs", {num(9)});
    EXPECT_EQ(x.send("freefogs"), 9);
    x.send("float", {num(500)});
    EXPECT_EQ(x.send("usedfogs"), 1);
    x.send("float", {num(0.5)}, 2); // the transposition
    EXPECT_EQ(x.send("usedfogs"), 1);
    EXPECT_THAT(fake::now.console, testing::IsEmpty());
}

TEST_F(pd_layer, rows_of_the_console_name_the_object_once)
{
    player x(box(1, 0));
    x.send("nonsense");
    x.send("maxfogs", {word("many")});
    x.send("bw", {});
    EXPECT_THAT(fake::now.console, ElementsAre("k.vorb~: doesn't understand \"nonsense\"",
                                               "k.vorb~: bad arguments for message \"maxfogs\"",
                                               "k.vorb~: insufficient arguments for bw message"));
}
