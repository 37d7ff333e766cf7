// Fogs side by side in the lanes of vectors: every bit is that of the plain renderers, whatever the
// fogs are at and whatever they read.
#include "block_state.h"
#include "host_denormal.h"
#include "plain_walk.h"
#include "random_fogs.h"

#include <algorithm>
#include <map>
#include <memory>
#include <tuple>

namespace {

// ---- Who played ---------------------------------------------------------------------------------

const vorb_lanes_players *watched; // who plays behind the watch
std::vector<int> groups;           // how many fogs came each time

template <vorb_lanes_player vorb_lanes_players::*player>
void watch(const vorb_lane *lane, int count, double *const *outs, double *const *scratch,
           std::int64_t n)
{
    groups.push_back(count);
    (watched->*player)(lane, count, outs, scratch, n);
}

template <vorb_lane_reader vorb_lanes_players::*reader>
void watch_reader(const vorb_lane &lane, double *const *scratch, std::int64_t n)
{
    groups.push_back(1);
    (watched->*reader)(lane, scratch, n);
}

using set = vorb_lanes_players;
const set watching = {
    watch<&set::run1>,         watch<&set::run2>,        watch<&set::run2s>,
    watch<&set::run4>,         watch<&set::run4s>,       watch<&set::run6>,
    watch<&set::run6q>,        watch<&set::run10>,       watch_reader<&set::read1>,
    watch_reader<&set::read2>, watch_reader<&set::read4>};

constexpr long longest = 2048, behind = 4; // frames of a block, and of what stands behind it
constexpr double mark = -12345.5;

// ---- Many blocks --------------------------------------------------------------------------------

struct kind {
    long outlets, channels;
};

void PrintTo(const kind &k, std::ostream *out) { *out << k.outlets << '/' << k.channels; }

const std::vector<kind> kinds = {{1, 1}, {2, 1}, {2, 2}, {4, 1}, {4, 2}, {6, 1}, {6, 4}, {10, 1}};
const std::vector<long> whole = {8, 16, 24, 40, 64, 72, 120, 128, 200, 256, 1024, 2048},
                        odd = {1, 3, 20, 37};

void run_all(long outlets, inputs *in, double **outs, std::int64_t n)
{
    static const std::map<long, void (*)(inputs *, double **, std::int64_t)> walks = {
        {1, vorb_run_all1},
        {2, vorb_run_all2},
        {4, vorb_run_all4},
        {6, vorb_run_all6},
        {10, vorb_run_all10}};
    walks.at(outlets)(in, outs, n);
}

class lanes : public session, public ::testing::WithParamInterface<std::tuple<player_set, kind>> {
protected:
    void SetUp() override
    {
        session::SetUp();
        host::set_audio(44100, longest);
        x = create(std::to_string(outlets) + " a 100");
        host::start_audio();
        watched = players;
        groups.clear();
    }

    /// Sounds, records, scratch and console of random pools over some blocks, by lanes and plain.
    void expect_plain_sound(const thrown &what, const std::vector<long> &sizes, int pools = 60)
    {
        const std::uint64_t first = chosen("KVORB_SEED", 1), tries = chosen("KVORB_COUNT", 0);
        for (std::uint64_t seed = first; seed < first + (tries ? tries : std::uint64_t(pools));
             ++seed) {
            SCOPED_TRACE("KVORB_SEED=" + std::to_string(seed) + " KVORB_COUNT=1");
            fog_dice d(seed, what);
            play_pool(d, what, d.one_of(sizes));
            if (HasFatalFailure()) return;
        }
    }

    void play_pool(fog_dice &d, const thrown &what, long n)
    {
        lay_buffers(d, what);
        populate(d, n, d.chance(0.1) ? 100 : 1 + d.index(20));
        for (double *temp : {temp1, temp2, temp3, temp4})
            std::generate_n(temp, longest, [&] { return d.between(-1, 1); });
        flush = d.chance(0.5);
        for (int block = 0; block < 4 && x->pool.used; ++block) {
            SCOPED_TRACE(::testing::Message() << "block " << block << " of " << n << " frames");
            if (what.buffers && d.chance(0.3)) lay(d, names[size_t(d.index(names.size()))]);
            const state before{x->pool, scratch(), {}, {}};
            const state expected =
                play(n, [&](double **outs) { plain::run_all(outlets, &x->inputs, outs, n); });
            restore(before);
            const with_players those(players ? &watching : nullptr);
            const state heard =
                play(n, [&](double **outs) { run_all(outlets, &x->inputs, outs, n); });
            expect_alike(heard, expected);
            if (HasFatalFailure()) return;
        }
    }

    template <class Walk>
    state play(long n, Walk walk)
    {
        waves outs(size_t(outlets), wave(size_t(n + behind), 0));
        std::vector<double *> to;
        for (wave &out : outs) {
            std::fill_n(out.end() - behind, behind, mark);
            to.push_back(out.data());
        }
        {
            std::unique_ptr<host::flush_denormals> flushing; // as in a host, or not
            if (flush) flushing = std::make_unique<host::flush_denormals>();
            walk(to.data());
        }
        return {x->pool, scratch(), outs, console()};
    }

    static waves scratch()
    {
        waves all;
        for (const double *temp : {temp1, temp2, temp3, temp4})
            all.emplace_back(temp, temp + longest);
        return all;
    }

    void restore(const state &before)
    {
        x->pool = before.pool;
        double *const temps[] = {temp1, temp2, temp3, temp4};
        for (size_t c = 0; c < 4; ++c)
            std::copy(before.scratch[c].begin(), before.scratch[c].end(), temps[c]);
    }

    /// A buffer of this name, of the right channel count or not, that can be locked or not, or
    /// none.
    void lay(fog_dice &d, const std::string &name)
    {
        const long others = d.chance(0.1) ? 3 : d.one_of<long>({1, 2, 4});
        const long count = d.chance(0.8) ? channels : others;
        host::set_buffer(name, count, 44100, d.samples(count));
        host::refuse_locks(name, d.chance(0.05));
        if (d.chance(0.05)) host::delete_buffer(name);
    }

    void lay_buffers(fog_dice &d, const thrown &what)
    {
        names = {"a"};
        if (what.buffers) names = {"a", "b", "c", "d", "e", "f", "g"};
        host::set_buffer("a", channels, 44100, d.samples(channels));
        host::refuse_locks("a", false);
        refs.clear();
        for (const std::string &name : names) {
            if (what.buffers) lay(d, name);
            send(x, 0, "set " + name);
            host::drain();
            refs.push_back(vorb_bufref_find_entry(x, gensym(name.c_str())));
        }
        if (what.buffers && d.chance(0.3)) refs.push_back(nullptr);
        console();
    }

    /// A used list in no order of memory, as after many starts and ends.
    void populate(fog_dice &d, long n, long fogs)
    {
        vorb_pool &pool = x->pool;
        pool = {};
        pool.maxfogs = vorb_pool_size;
        pool.nfree = vorb_pool_size - fogs;
        std::vector<vorb_fog *> order;
        for (vorb_fog &f : pool.fogs) order.push_back(&f);
        vorb_fog **link = &pool.used;
        for (; !order.empty(); --fogs) {
            if (fogs == 0) link = &pool.free;
            const auto at = order.begin() + d.index(order.size());
            **at = d.fog(refs, n);
            link = &(*link = *at)->next;
            order.erase(at);
        }
    }

    const vorb_lanes_players *const players = std::get<player_set>(GetParam()).players;
    const long outlets = std::get<kind>(GetParam()).outlets;
    const long channels = std::get<kind>(GetParam()).channels;
    vorb *x = nullptr;
    bool flush = false;
    std::vector<std::string> names;
    std::vector<t_buffer_ref *> refs;
};

std::string name_of(const ::testing::TestParamInfo<std::tuple<player_set, kind>> &row)
{
    const auto &[players, k] = row.param;
    return std::string(players.name) + '_' + std::to_string(k.outlets) + "_outlets_" +
           std::to_string(k.channels) + "_channels";
}

INSTANTIATE_TEST_SUITE_P(by, lanes,
                         ::testing::Combine(::testing::ValuesIn(player_sets()),
                                            ::testing::ValuesIn(kinds)),
                         name_of);

// ---- Tests --------------------------------------------------------------------------------------

thrown only(bool thrown::*what)
{
    thrown t;
    t.*what = true;
    return t;
}

const thrown everything = {true, true, true, true, true};

TEST_P(lanes, fogs_that_hold)
{
    expect_plain_sound({}, whole);
    EXPECT_EQ(std::count(groups.begin(), groups.end(), 8) > 0, players != nullptr);
}

TEST_P(lanes, phases_that_end_anywhere) { expect_plain_sound(only(&thrown::counts), whole); }

TEST_P(lanes, heads_that_stand_turn_race_and_leave)
{
    expect_plain_sound(only(&thrown::heads), whole);
}

TEST_P(lanes, lowpasses_fixed_gliding_and_open)
{
    expect_plain_sound(only(&thrown::lowpass), whole);
}

TEST_P(lanes, numbers_beyond_all_numbers) { expect_plain_sound(only(&thrown::numbers), whole); }

TEST_P(lanes, buffers_that_alternate_change_and_go)
{
    expect_plain_sound(only(&thrown::buffers), whole);
}

TEST_P(lanes, all_of_this_together) { expect_plain_sound(everything, whole, 200); }

TEST_P(lanes, blocks_of_uneven_size)
{
    expect_plain_sound(everything, odd);
    EXPECT_THAT(groups, IsEmpty()); // lanes play whole batches alone
}

TEST_P(lanes, a_pool_is_played_eight_fogs_at_a_time_and_the_last_by_itself)
{
    fog_dice d(1, {});
    const with_players those(players ? &watching : nullptr);
    for (const int rest : {4, 1}) {
        lay_buffers(d, {});
        populate(d, 64, 16 + rest);
        groups.clear();
        play(64, [this](double **outs) { run_all(outlets, &x->inputs, outs, 64); });
        if (players) EXPECT_THAT(groups, ElementsAre(8, 8, rest));
        else EXPECT_THAT(groups, IsEmpty());
    }
}

using processor = session;

TEST_F(processor, plays_with_the_widest_lanes_it_has)
{
    const with_players none(nullptr);
    vorb_choose_players();
    EXPECT_EQ(vorb_players, player_sets().back().players);
}

} // namespace
