// All messages, changing buffers, and instances that come and go, while others play.
#include "pool_flaw.h"
#include "random_score.h"
#include "together.h"

#include <algorithm>
#include <set>

namespace {

/// Messages without end that a musician may send, at any inlet that answers.
class chatter {
public:
    explicit chatter(std::uint64_t first_seed) : d(first_seed), seed(first_seed) {}

    told next()
    {
        if (d.chance(0.2))
            return {1 + static_cast<int>(d.index(8)), "float", {host::atom(d.between(0, 1))}};
        if (d.chance(0.05)) return {0, "set", {host::atom(any_table().c_str())}};
        told m = next_of_scores();
        if (m.selector == "list" && d.chance(0.5)) m.inlet = amp_inlet;
        if (m.selector == "all" && d.chance(0.5)) m.inlet = debatt_inlet;
        return m;
    }

    std::string any_table() { return "sample" + std::to_string(1 + d.index(4)); }

    dice d;

private:
    told next_of_scores()
    {
        for (;;) {
            for (; position < score.deeds.size(); ++position)
                if (const told *m = std::get_if<told>(&score.deeds[position].what)) {
                    ++position;
                    return *m;
                }
            score = sane_score(++seed);
            position = 0;
        }
    }

    std::uint64_t seed;
    random_score score;
    std::size_t position = 0;
};

class all_together : public together {
protected:
    void SetUp() override
    {
        together::SetUp();
        for (const long channels : {1, 2, 4}) change("sample" + std::to_string(channels), channels);
        for (const int layout : layouts) {
            vorb *x = players.emplace_back(create(std::to_string(layout) + " sample1 20"));
            plug(x, 0, 40.0 + 500 * layout);
            if (layout > 2) plug(x, 1, 5);
            send(x, 0, "limit 8 16, list 1 1 1 1 1 1 1 1 1 1");
        }
        host::start_audio();
    }

    void change(const std::string &name, long channels)
    {
        const auto frames = 1 + main_words.d.index(3000);
        std::vector<float> samples(static_cast<std::size_t>(frames * channels));
        for (float &v : samples) v = main_words.d.number(-1, 1);
        host::set_buffer(name, channels, main_words.d.one_of<double>({8000, 44100, 96000}),
                         samples);
        tables.insert(name);
    }

    vorb *any_player(dice &d) { return d.one_of(players); }

    /// One block, in which every instance must sound right and keep its lists.
    void block(long frames)
    {
        const host::between_blocks within; // so that what it left can be looked at
        host::perform();
        for (vorb *x : players) {
            for (int k = 0; k < host::signal_outlets(object(x)); ++k) {
                const double *out = host::output(object(x), k);
                broken_outlets +=
                    !std::all_of(out, out + frames, [](double v) { return std::isfinite(v); });
            }
            broken_pools += !pool_flaw(x->pool).empty();
        }
    }

    void speak(chatter &words)
    {
        const told m = words.next();
        tell(any_player(words.d), m.inlet, m.selector, m.values);
    }

    /// What came out meanwhile.
    void look()
    {
        host::take_console();
        for (const t_atom_long n : numbers()) broken_numbers += n < 0 || n > vorb_pool_size;
    }

    void change_a_buffer()
    {
        const std::string name = main_words.any_table();
        const bool there = tables.count(name);
        switch (main_words.d.index(4)) {
        case 0:
            if (there) host::delete_buffer(name);
            tables.erase(name);
            break;
        case 1:
            if (there) host::refuse_locks(name, main_words.d.chance(0.5));
            break;
        default:
            change(name, main_words.d.one_of<long>({1, 2, 3, 4}));
        }
    }

    /// Whatever happened, new fogs sound.
    void expect_all_well()
    {
        EXPECT_EQ(broken_outlets, 0);
        EXPECT_EQ(broken_pools, 0);
        EXPECT_EQ(broken_numbers, 0);
        host::drain();
        mono_buffer("sample1", 44100, [](long) { return 1; });
        host::refuse_locks("sample1", false);
        for (vorb *x : players) {
            host::set_audio(object(x), 0, 0);
            host::connect(object(x), 0, 0);
            host::connect(object(x), 1, 0);
        }
        host::start_audio();
        for (vorb *x : players)
            send(x, 0,
                 "set sample1, reset, limit 0 0, env 50 1 0 8 1, lp 0, transp 1, offset 20, amp 1,"
                 "bang");
        for (int k = 0; k < 8; ++k) host::run();
        for (vorb *x : players) EXPECT_GT(host::output(object(x), 0)[63], 0.5);
    }

    std::vector<vorb *> players;
    std::set<std::string> tables;
    chatter main_words{1}, scheduler_words{1000};
    long broken_outlets = 0, broken_pools = 0, broken_numbers = 0;
};

TEST_F(all_together, messages_and_buffers_change_what_plays)
{
    const auto task = [this] {
        switch (main_words.d.index(6)) {
        case 0:
            return change_a_buffer();
        case 1:
            return host::double_click(object(any_player(main_words.d)));
        case 2:
            return host::drain();
        case 3:
            return look();
        default:
            return speak(main_words);
        }
    };
    play(
        6000, task, [this] { block(64); }, [this] { speak(scheduler_words); });
    expect_all_well();
}

TEST_F(all_together, instances_come_go_and_start_at_other_rates_while_others_play)
{
    dice &d = main_words.d;
    std::vector<vorb *> guests;
    const auto restart = [&] {
        host::set_audio(object(any_player(d)), d.one_of<double>({22050, 44100, 96000}),
                        d.one_of<long>({16, 64, 100, 512, 2048}));
        host::start_audio();
    };
    const auto invite = [&] {
        if (guests.size() == 3) return;
        vorb *x = create(std::to_string(d.one_of<int>({1, 2, 4, 6, 10})) + " sample2 100 0 1 0 1");
        guests.push_back(x);
        plug(x, 0, 2000);
        host::start_audio();
        for (int k = 0; k < 5; ++k) {
            const told m = main_words.next();
            tell(x, m.inlet, m.selector, m.values);
        }
    };
    const auto dismiss = [&] {
        if (guests.empty()) return;
        host::destroy(object(guests.front()));
        guests.erase(guests.begin());
    };
    const auto task = [&] {
        switch (d.index(6)) {
        case 0:
            return invite();
        case 1:
            return dismiss();
        case 2:
            return host::stop_audio(), host::start_audio();
        case 3:
            return look();
        default:
            return restart();
        }
    };
    play(
        400, task, [this] { block(16); }, [this] { speak(scheduler_words); });
    while (!guests.empty()) dismiss();
    expect_all_well();
}

} // namespace
