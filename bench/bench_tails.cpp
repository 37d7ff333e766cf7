// What fogs cost when there is nothing left to hear: deep in their decay, without amplitude, in a
// silent sample, against the same fogs sounding; where denormal numbers count as 0, as on most
// audio threads, and where they do not. The same blocks in turn, best of several; prints a table.
#include "bench_stage.h"
#include "best_times.h"
#include "host_denormal.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

extern "C" void ext_main(void *);

namespace {

constexpr int repetitions = 9;
constexpr double seconds = 0.03; // of each

struct tail {
    const char *name;
    const char *setting;
    double amp; // what the decay has left, where it is set
    float level;
    int against; // the row that sounds
};

constexpr float as_it_was = 1;

const tail tails[] = {
    {"sounding", "", 0, as_it_was, 0},
    {"decayed to 1e-310", "", 1e-310, as_it_was, 0},
    {"amplitude 0", "amp 0", 0, as_it_was, 0},
    {"amplitude 1e-40, decayed to 1e-280", "amp 1e-40", 1e-280, as_it_was, 0},
    {"sample of zeros", "", 0, 0, 0},
    {"sample of 1e-40", "", 0, 1e-40F, 0},
    {"sounding through a lowpass", "lp -3 0", 0, as_it_was, 6},
    {"lowpass that rings out", "lp -3 0", 0, 0, 6},
};

void measure(benchmark::State &state, const tail &t, int fogs, bool flushed)
{
    bench_scene scene{t.name, 0, 2, 1, fogs, t.setting};
    scene.amp = t.amp;
    bench_stage stage(scene);
    std::unique_ptr<host::flush_denormals> flush;
    if (flushed) flush = std::make_unique<host::flush_denormals>();
    const auto play = [&](int blocks) {
        for (; blocks > 0; --blocks) {
            stage.rewind();
            stage.fast();
        }
    };
    play(2); // fills the lowpass
    if (t.level != as_it_was)
        host::set_buffer("bench", 1, bench_rate,
                         std::vector<float>(std::size_t(bench_rate), t.level));
    play(200); // and empties it
    for (auto _ : state) {
        play(1);
        benchmark::ClobberMemory();
    }
    if (!stage.complete()) state.SkipWithError("fogs have ended");
}

std::string label(const tail &t, int fogs, bool flushed)
{
    return std::string(t.name) + "/" + std::to_string(fogs) + (flushed ? "/flushed" : "/kept");
}

void print_table(const best_times &best, int fogs)
{
    std::printf("\n%d fog%s, %-26s%9s%10s%12s%10s\n", fogs, fogs == 1 ? " " : "s",
                "ns a sample of one", "flushed", "to sound", "not flushed", "to sound");
    for (const tail &t : tails) {
        std::printf("%-36s", t.name);
        for (const bool flushed : {true, false}) {
            const std::string own = label(t, fogs, flushed);
            const std::string sound = label(tails[t.against], fogs, true);
            if (!best.has(own) || !best.has(sound)) continue; // filtered out
            std::printf("%*.2f%10.2f", flushed ? 9 : 12, best[own] / (64 * fogs),
                        best[own] / best[sound]);
        }
        std::printf("\n");
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    host::link(ext_main);
    constexpr int numbers[] = {1, 100};
    for (int k = 0; k < repetitions; ++k)
        for (const int fogs : numbers)
            for (const tail &t : tails)
                for (const bool flushed : {true, false})
                    benchmark::RegisterBenchmark(label(t, fogs, flushed).c_str(), measure, t, fogs,
                                                 flushed)
                        ->MinTime(seconds);
    best_times best;
    benchmark::RunSpecifiedBenchmarks(&best);
    for (const int fogs : numbers) print_table(best, fogs);
}
