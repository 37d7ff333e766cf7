// Plays blocks for a profiler that counts the instructions inside counted(), and says on standard
// output, a row a block, which ones: players, outlets, channels of the sample, frames, what is
// played, how many fogs were to be, and how many there are in the end.
#include "host.h"
#include "player_sets.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

extern "C" void ext_main(void *);

extern "C" __attribute__((noinline)) void counted(const std::function<void()> &work) { work(); }

namespace {

constexpr double rate = 44100;
constexpr long most_frames = 4096, sample_frames = 8820;

struct layout {
    long outlets, channels;
};

constexpr layout layouts[] = {{1, 1}, {2, 1}, {2, 2}, {4, 1}, {4, 2}, {6, 1}, {6, 4}, {10, 1}};

/// The sample: a sine, or what is left of it.
void fill_buffer(long channels, long sounding = sample_frames, float level = 0.5f)
{
    std::vector<float> samples(std::size_t(channels * sample_frames));
    for (std::size_t i = 0; i < std::size_t(channels * sounding); ++i)
        samples[i] = level * std::sin(0.05f * float(i));
    host::set_buffer("sample1", channels, rate, samples);
}

/// An instance with a hundred fogs. Where nothing else is said these rise for 3 ms, then hold;
/// their very first block is read, not silent.
class stage {
public:
    stage(const player_set &set, const layout &to) : players(set), l(to)
    {
        host::reset();
        host::set_audio(rate, most_frames);
        fill_buffer(l.channels);
        x = reinterpret_cast<vorb *>(
            host::create("k.vorb~ " + std::to_string(l.outlets) + " sample1 100 5 1.37"));
        host::drain();
        host::connect(object(), 0);
        for (std::size_t k = 0; k < outs.size(); ++k) outs[k] = signals[k].data();
    }

    /// No fogs, and vectors of so many frames.
    void prepare(long frames, const std::string &messages = "")
    {
        n = frames;
        host::set_audio(rate, n);
        host::start_audio();
        host::send(object(), 0,
                   "silent 1, reset, f0phase 0., autoenv 0, offset 5, bw 50, lp 0 0, tex 3, "
                   "debatt 90, atten 10");
        if (!messages.empty()) host::send(object(), 0, messages);
        f0.fill(0);
    }

    void bang(int fogs)
    {
        while (fogs-- > 0) vorb_bang(x);
    }

    /// A phasor that wraps at every sample; the pitch may fall from one to the next.
    void start_one_a_sample(double fall)
    {
        for (std::size_t i = 0; i < f0.size(); ++i) f0[i] = rate - 0.1 - fall * double(i);
    }

    void block()
    {
        const with_players those(players.players);
        double *ins[] = {f0.data(), offset.data()};
        vorb_find_layout(l.outlets)->perform(object(), nullptr, ins, 2, outs.data(), 10, n, 0,
                                             nullptr);
    }

    void count(const char *what, int fogs, const std::function<void()> &work)
    {
        counted(work);
        std::printf("%s %ld %ld %ld %s %d %d\n", players.name, l.outlets, l.channels, n, what, fogs,
                    int(x->pool.maxfogs - x->pool.nfree));
    }

    void count_block(const char *what, int fogs)
    {
        count(what, fogs, [this] { block(); });
    }

    /// Fogs that began so many blocks ago.
    void count_later_block(const char *what, int fogs, int blocks = 4)
    {
        bang(fogs);
        while (blocks-- > 0) block();
        count_block(what, fogs);
    }

    long channels() const { return l.channels; }

private:
    t_object *object() { return vorb_object(x); }

    const player_set &players;
    const layout &l;
    long n = 0;
    vorb *x;
    std::array<double, most_frames> f0 = {}, offset = {};
    std::array<std::array<double, most_frames>, 10> signals;
    std::array<double *, 10> outs;
};

void count_crowds(stage &s)
{
    for (const int fogs : {1, 2, 3, 5, 8, 9, 17, 50, 100}) {
        s.prepare(64);
        s.count_later_block("crowd", fogs);
    }
    for (const long n : {16L, 64L, most_frames}) {
        s.prepare(n);
        s.count_block("idle", 0);
    }
}

/// What can make a beginning costlier: a lowpass, an attenuation that follows the sample, an
/// envelope that follows F0 and is another for every fog, one that ends within the block.
struct setting {
    const char *steady, *bangs, *f0, *messages;
    double fall;
};

constexpr setting settings[] = {
    {"holds", "bangs", "f0", "", 0},
    {"holds_lowpass", "bangs_lowpass", "f0_lowpass", "lp -1 4", 0},
    {"holds_all", "bangs_all", "f0_all", "all", 0},
    {"holds_autoenv", "bangs_autoenv", "f0_autoenv", "autoenv 900", 1},
    {nullptr, "bangs_brief", "f0_brief", "tex 0.3, debatt 0.5, atten 0.4", 0},
};

/// A hundred fogs, in their middle and at their beginning. The phasor needs a block of more than a
/// hundred samples to start them all in one.
void count_beginnings(stage &s)
{
    for (const setting &how : settings) {
        for (const long n : {64L, 128L}) {
            if (!how.steady) continue;
            s.prepare(n, how.messages);
            s.count_later_block(how.steady, 100);
        }
        s.prepare(64, how.messages);
        s.count(how.bangs, 100, [&s] {
            s.bang(100);
            s.block();
        });
        s.prepare(128, how.messages);
        s.start_one_a_sample(how.fall);
        s.count_block(how.f0, 100);
    }
}

/// Where a fog is asked for at every sample and none is free.
void count_refusals(stage &s)
{
    for (const bool asked : {false, true}) {
        s.prepare(most_frames);
        s.bang(100);
        if (asked) s.start_one_a_sample(0);
        s.count_block(asked ? "refusals" : "no_refusals", 100);
    }
}

/// What is less than sound.
void count_silence(stage &s)
{
    s.prepare(64, "bw 20000");
    s.count_later_block("denormal_envelope", 100, 11);
    s.prepare(64, "offset 500");
    s.count_later_block("sample_over", 100);
    fill_buffer(s.channels(), 441);
    s.prepare(64, "lp -1");
    s.count_later_block("denormal_lowpass", 100, 20);
    fill_buffer(s.channels(), sample_frames, 1e-40f);
    s.prepare(64);
    s.count_later_block("denormal_sample", 100);
    fill_buffer(s.channels(), 0);
    s.prepare(64);
    s.count_later_block("silent_sample", 100);
    host::delete_buffer("sample1");
    s.prepare(64);
    s.count_later_block("no_sample", 100);
}

} // namespace

int main()
{
    host::link(ext_main);
    host::destroy(host::create("k.vorb~")); // the tables are built, the players chosen
    for (const player_set &set : player_sets())
        for (const layout &l : layouts) {
            stage s(set, l);
            count_crowds(s);
            if (!set.players) continue; // no processor goes without
            count_beginnings(s);
            count_refusals(s);
            count_silence(s);
        }
}
