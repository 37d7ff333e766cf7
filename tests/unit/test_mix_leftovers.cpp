// What a fog of several channels hears of those before it: the scratch where its reader leaves a
// block unwritten, and the lowpass of its record.
#include "channel_session.h"

#include <limits>

namespace {

using leftovers = channel_session;

TEST_F(leftovers, an_unwritten_block_sounds_what_each_scratch_held_and_is_posted)
{
    host::set_audio(44100, 256); // the first block of every fog is left unwritten
    for (const renderer &row : renderers) {
        fill_channels(long(row.channels), 9000, [](long, long) { return 0; });
        vorb *fogs = create(std::to_string(row.layout) + " sample1 8 0 1 0 1 0 60000 0");
        host::start_audio();
        send(fogs, 0, "bang");
        double *const temps[] = {temp1, temp2, temp3, temp4};
        for (int c = 0; c < 4; ++c) std::fill_n(temps[c], 256, double(1 << c));
        console();
        wave expected;
        for (const tap &t : row.outlets) expected.push_back(double(1 << (t.source - 1)));
        EXPECT_EQ(heard(fogs), expected);
        EXPECT_THAT(console(), ElementsAre(::testing::StartsWith("k.vorb~: vorb_read: n2 (")));
        EXPECT_EQ(heard(fogs), wave(row.layout));
        host::destroy(object(fogs));
    }
}

TEST_F(leftovers, every_fog_posts_its_own_unwritten_block)
{
    host::set_audio(44100, 256);
    fill_channels(2, 9000, [](long, long) { return 0; });
    vorb *fogs = create("2 sample1 8 0 1 0 1 0 60000 0");
    host::start_audio();
    send(fogs, 0, "bang, bang");
    console();
    heard(fogs);
    EXPECT_EQ(console().size(), 2u);
}

/// A fog over a sample of four channels that has ended, in one way or another, then one of the same
/// record over silence: its first sample.
class used_record : public leftovers, public ::testing::WithParamInterface<const char *> {
protected:
    wave first_sample_after(double level)
    {
        levels(4, level);
        vorb *fogs = create("6 sample1 3 0 0 0 1 0 60000 0");
        send(fogs, 0, "lp -1");
        host::start_audio();
        send(fogs, 0, "bang");
        const vorb_fog *record = fogs->pool.used;
        for (int played = 0; played < 3; ++played) host::run();
        fogs->pool.used->sustain = 64; // the next block is its last
        host::run();
        send(fogs, 0, GetParam());
        levels(4, 0);
        send(fogs, 0, "bang");
        EXPECT_EQ(fogs->pool.used, record);
        host::run();
        wave first;
        for (int k = 0; k < 6; ++k) first.push_back(host::output(object(fogs), k)[0]);
        return first;
    }
};

INSTANTIATE_TEST_SUITE_P(after, used_record, ::testing::Values("freefogs", "reset", "maxfogs 2"),
                         [](const auto &row) {
                             const std::string text = row.param;
                             return text.substr(0, text.find(' '));
                         });

TEST_P(used_record, keeps_the_lowpass_of_its_third_and_fourth_channel)
{
    EXPECT_THAT(first_sample_after(1), near({0, 0, 4 * 0.5, 8 * 0.5, 0, 0}));
}

TEST_P(used_record, forgets_what_is_no_number_in_its_third_and_fourth_channel)
{
    for (const double lost : {std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL})
        EXPECT_THAT(first_sample_after(lost), near({0, 0, 0, 0, 0, 0})) << lost;
}

} // namespace
