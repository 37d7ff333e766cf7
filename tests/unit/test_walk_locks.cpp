// When the walk over all sounding fogs locks buffers, and what it reports meanwhile.
#include "host_events.h"
#include "player_sets.h"
#include "session.h"

#include <algorithm>

namespace {

class walk_locks : public session, public ::testing::WithParamInterface<player_set> {
protected:
    static void level(const std::string &name, long channels, float value = 1)
    {
        host::set_buffer(name, channels, 44100, std::vector<float>(size_t(channels) * 9000, value));
    }

    /// Its fogs last for a minute.
    vorb *lasting(const std::string &layout, const std::string &transposition)
    {
        vorb *x = create(layout + " sample1 8 0 " + transposition + " 0 1 0 60000 0");
        host::start_audio();
        return x;
    }

    void start(vorb *x, const std::string &table)
    {
        send(x, 0, "set " + table);
        host::drain();
        send(x, 0, "bang");
    }

    /// One block, not as the host's audio: what stands in front of its functions uses the heap.
    std::vector<std::string> run(vorb *x, long n = 64)
    {
        const with_players those(GetParam().players);
        const std::int64_t layout = x->inputs.channels;
        outs.assign(size_t(layout), std::vector<double>(size_t(n)));
        std::vector<double *> to;
        for (std::vector<double> &out : outs) to.push_back(out.data());
        events.clear();
        vorb_find_layout(layout)->perform(object(x), nullptr, nullptr, 0, to.data(), long(layout),
                                          n, 0, nullptr);
        return std::exchange(events, {});
    }

    std::vector<std::vector<double>> outs;
};

INSTANTIATE_TEST_SUITE_P(by, walk_locks, ::testing::ValuesIn(player_sets()),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(walk_locks, fogs_of_one_buffer_lock_it_once)
{
    level("sample1", 1);
    vorb *x = lasting("2", "0");
    send(x, 0, "bang, bang, bang");
    EXPECT_THAT(run(x), ElementsAre("lock", "unlock"));
}

TEST_P(walk_locks, every_buffer_is_unlocked_however_many_there_are)
{
    vorb *x = lasting("2", "0");
    for (const char *name : {"a", "b", "c", "d", "e", "f"}) {
        level(name, 1);
        start(x, name);
    }
    const std::vector<std::string> said = run(x);
    EXPECT_EQ(std::count(said.begin(), said.end(), "lock"), 6);
    EXPECT_EQ(std::count(said.begin(), said.end(), "unlock"), 6);
    EXPECT_EQ(outs[0][63], 6);
}

TEST_P(walk_locks, two_channels_report_while_they_are_locked_and_four_when_nothing_is)
{
    host::set_audio(44100, 256); // the first block of every fog is left unwritten
    level("other", 1);
    level("sample1", 2);
    vorb *x = lasting("2", "1");
    send(x, 0, "bang, bang");
    EXPECT_THAT(run(x, 256), ElementsAre("lock", "post", "post", "unlock"));
    host::destroy(object(x));

    level("sample1", 4);
    x = lasting("6", "1");
    send(x, 0, "bang, bang");
    start(x, "other"); // comes first, and is still locked when the next is
    EXPECT_THAT(run(x),
                ElementsAre("lock", "lock", "unlock", "unlock", "post", "lock", "unlock", "post"));
}

TEST_P(walk_locks, a_buffer_that_changes_its_channels_before_the_lock_is_silent_and_unlocked)
{
    for (const auto &[layout, before, after] :
         {std::tuple("2", 1, 2), {"2", 2, 1}, {"4", 2, 4}, {"6", 4, 1}, {"10", 1, 4}}) {
        SCOPED_TRACE(::testing::Message() << layout << " outlets, " << before << " to " << after);
        level("sample1", before);
        vorb *x = lasting(layout, "0");
        send(x, 0, "bang");
        before_lock = [channels = after] { level("sample1", channels); };
        EXPECT_THAT(run(x), ElementsAre("lock", "unlock"));
        EXPECT_EQ(outs[0][63], 0);
        host::destroy(object(x));
    }
}

} // namespace
