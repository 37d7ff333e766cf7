// What holds for every score. KVORB_SEED in the environment sets the first seed and KVORB_COUNT the
// number of scores, so that a failure's own seed and a count of 1 play that one again.
#include "player_sets.h"
#include "pool_flaw.h"
#include "stage.h"

#include <cmath>
#include <cstring>
#include <sstream>

namespace {

class properties : public stage {
protected:
    /// Plays a property for score after score, until one fails.
    template <class Property>
    void for_all(random_score (*make)(std::uint64_t seed), Property holds)
    {
        const std::uint64_t first = chosen("KVORB_SEED", 1);
        for (std::uint64_t k = 0; k < count; ++k) {
            const random_score s = make(first + k);
            std::ostringstream text;
            text << "KVORB_SEED=" << first + k << " KVORB_COUNT=1\n" << s;
            SCOPED_TRACE(text.str());
            holds(s);
            EXPECT_THAT(host::take_faults(), IsEmpty());
            if (HasFailure()) return;
        }
    }

    /// With fewer scores than usual nothing is said about how much they reached.
    bool enough() const { return count >= 200; }

    const std::uint64_t count = chosen("KVORB_COUNT", 200);
};

bool sounds(const std::vector<double> &heard)
{
    return std::any_of(heard.begin(), heard.end(), [](double v) { return std::abs(v) > 1e-3; });
}

TEST_F(properties, sane_numbers_give_finite_sound_and_sound_lists)
{
    long heard = 0, most = 0;
    for_all(sane_score, [&](const random_score &s) {
        const sound all = play(s, [&] {
            ASSERT_EQ("", pool_flaw(x->pool));
            most = std::max(most, used());
        });
        EXPECT_TRUE(std::all_of(all.begin(), all.end(), [](double v) { return std::isfinite(v); }));
        heard += sounds(all);
    });
    if (!enough()) return;
    EXPECT_GT(heard, 100);
    EXPECT_GT(most, 10);
    EXPECT_GT(lost, 50);
}

TEST_F(properties, wild_numbers_break_no_list)
{
    long busy = 0;
    for_all(wild_score, [&](const random_score &s) {
        play(s, [&] {
            ASSERT_EQ("", pool_flaw(x->pool));
            busy += used() > 0;
        });
    });
    if (!enough()) return;
    EXPECT_GT(busy, 2000);
}

TEST_F(properties, playing_a_score_again_gives_the_same_bytes)
{
    const auto twice = [&](const random_score &s) {
        const sound first = play(s), second = play(s);
        ASSERT_EQ(first.size(), second.size());
        EXPECT_EQ(0, std::memcmp(first.data(), second.data(), first.size() * sizeof(double)));
    };
    for_all(sane_score, twice);
    for_all(wild_score, twice);
}

TEST_F(properties, every_instruction_set_gives_the_same_bytes)
{
    const auto alike_by_all = [&](const random_score &s) {
        sound expected;
        for (const player_set &set : player_sets()) {
            const with_players those(set.players);
            const sound heard = play(s);
            if (!set.players) {
                expected = heard;
                continue;
            }
            SCOPED_TRACE(set.name);
            ASSERT_EQ(heard.size(), expected.size());
            const auto [at, other] =
                std::mismatch(heard.begin(), heard.end(), expected.begin(), alike);
            ASSERT_EQ(at, heard.end()) << "sample " << at - heard.begin() << ": " << *at << ", not "
                                       << *other << " as without lanes";
        }
    };
    for_all(sane_score, alike_by_all);
    for_all(wild_score, alike_by_all);
}

random_score without_start(random_score s, long which)
{
    const auto starts = [&](const deed &d) {
        const told *message = std::get_if<told>(&d.what);
        return message && message->starts_a_fog() && which-- == 0;
    };
    s.deeds.erase(std::find_if(s.deeds.begin(), s.deeds.end(), starts));
    return s;
}

TEST_F(properties, two_fogs_sound_as_the_sum_of_each_alone)
{
    long together = 0;
    for_all(two_fog_score, [&](const random_score &s) {
        bool both = false;
        const sound sum = play(s, [&] { both = both || used() == 2; });
        const sound one = play(without_start(s, 1)), other = play(without_start(s, 0));
        ASSERT_EQ(sum.size(), one.size());
        ASSERT_EQ(sum.size(), other.size());
        // Not a bit apart: each outlet is 0, plus the newer, plus the older.
        for (std::size_t i = 0; i < sum.size(); ++i)
            ASSERT_EQ(sum[i], one[i] + other[i]) << "sample " << i;
        together += both && sounds(one) && sounds(other);
    });
    if (!enough()) return;
    EXPECT_GT(together, 50);
}

TEST_F(properties, without_new_fogs_everything_ends_in_silence)
{
    long pending = 0;
    for_all(sane_score, [&](const random_score &s) {
        play(s);
        pending += used() > 0;
        unplug_all();
        for (double ms = 0; used() > 0 && ms < longest_sane_ms; ms += block_ms()) play_block();
        EXPECT_EQ(nullptr, x->pool.used);
        EXPECT_EQ(x->pool.maxfogs, x->pool.nfree);
        const sound after = play_block();
        EXPECT_TRUE(std::all_of(after.begin(), after.end(), [](double v) { return v == 0; }));
    });
    if (!enough()) return;
    EXPECT_GT(pending, 50);
}

} // namespace
