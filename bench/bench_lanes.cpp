// The fast path against the plain loops: the same fogs, in turn, best of several. Prints a table of
// ratios beside their goals; with --series what a fog costs by number and by vector size, as CSV.
#include "bench_stage.h"
#include "best_times.h"
#include "host_denormal.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

extern "C" void ext_main(void *);

namespace {

constexpr int repetitions = 9;
constexpr double seconds = 0.03; // of each

// A fog of 240 samples is kept to the end of its last block, so that 21 onsets a block keep a pool
// of 100 just full.
const std::vector<bench_scene> table = {
    {"2 outlets, mono", 2.4},
    {"2 outlets, mono, gliding lowpass", 1.9, 2, 1, 100, "lp -1 0.01"},
    {"10 outlets, mono", 3, 10},
    {"2 outlets, stereo", 2.8, 2, 2},
    {"4 outlets, stereo", 2.8, 4, 2},
    {"6 outlets, quad", 2.8, 6, 4},
    {"fogs of 5 ms", 1.4, 2, 1, 100, "env 5 1 1 2 1", 64, 1.37, 15750},
    {"fogs in their attack", 0, 2, 1, 100, "tex 1000000"},
    {"one fog", 1, 2, 1, 1},
    {"long decayed fogs", 0, 2, 1, 100, "", 64, 1.37, 0, 1e-310},
    {"the same, denormals not flushed", 0, 2, 1, 100, "", 64, 1.37, 0, 1e-310, false},
};

std::vector<bench_scene> by_fogs()
{
    std::vector<bench_scene> scenes;
    for (const int fogs : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 16, 20, 24, 32, 40, 50, 64, 80, 100})
        scenes.push_back({std::to_string(fogs), 0, 2, 1, fogs});
    return scenes;
}

/// A block that takes more than 516 frames is not read: the largest vector stays below them.
std::vector<bench_scene> by_vector()
{
    std::vector<bench_scene> scenes;
    for (long vector = 16; vector <= 2048; vector *= 2)
        scenes.push_back({std::to_string(vector), 0, 2, 1, 100, "", vector, 0.2});
    return scenes;
}

// ---- What is timed ------------------------------------------------------------------------------

using step = void(bench_stage &stage);

void plain(bench_stage &stage)
{
    stage.rewind();
    stage.plain();
}

void fast(bench_stage &stage)
{
    stage.rewind();
    stage.fast();
}

constexpr double late = 1e-5; // s, from the sample before an onset

void onset(bench_stage &stage)
{
    vorb_fog *fog = stage.x->pool.free;
    fog->reader.bufref = stage.x->inputs.bufref;
    vorb_onset(fog, &stage.x->inputs, 0, late);
}

void trigger(bench_stage &stage)
{
    vorb_trigger(stage.x, 0, late);
    vorb_release(&stage.x->pool, &stage.x->pool.used);
}

/// Up to the first sample: a block of one frame.
void first_sample(bench_stage &stage)
{
    vorb_trigger(stage.x, 0, late);
    stage.fast(1);
    vorb_release(&stage.x->pool, &stage.x->pool.used);
}

void measure(benchmark::State &state, const bench_scene &scene, step *run)
{
    bench_stage stage(scene);
    std::unique_ptr<host::flush_denormals> flush;
    if (scene.flush) flush = std::make_unique<host::flush_denormals>();
    for (auto _ : state) {
        run(stage);
        benchmark::ClobberMemory();
    }
    if (!stage.complete()) state.SkipWithError("fogs have ended");
}

// ---- Running and printing -----------------------------------------------------------------------

using family = std::pair<const char *, std::vector<bench_scene>>;

std::string label(const char *title, const bench_scene &scene, bool quick)
{
    return std::string(title) + "/" + scene.name + (quick ? "/fast" : "/plain");
}

void add(const std::string &name, const bench_scene &scene, step *run)
{
    benchmark::RegisterBenchmark(name.c_str(), measure, scene, run)->MinTime(seconds);
}

void add(const family &f)
{
    for (const bench_scene &s : f.second) {
        add(label(f.first, s, false), s, plain);
        add(label(f.first, s, true), s, fast);
    }
}

void add_singles()
{
    const bench_scene nothing = {"", 0, 2, 1, 0, "env 5 1 1 2 1"};
    add("idle", nothing, fast);
    add("onset", nothing, onset);
    add("trigger", nothing, trigger);
    add("first", nothing, first_sample);
}

/// Calls back with the ns of one sample of one fog.
template <class Print>
void each(const best_times &best, const family &f, Print print)
{
    for (const bench_scene &s : f.second) {
        const std::string slow = label(f.first, s, false), quick = label(f.first, s, true);
        if (!best.has(slow) || !best.has(quick)) continue; // filtered out
        const double samples = double(s.vector * s.fogs);
        print(s, best[slow] / samples, best[quick] / samples);
    }
}

void print_table(const best_times &best, const family &f)
{
    std::printf("%-34s%9s%9s%8s%7s\n", "ns per fog and sample", "plain", "fast", "ratio", "goal");
    each(best, f, [](const bench_scene &s, double slow, double quick) {
        std::printf("%-34s%9.2f%9.2f%8.2f", s.name.c_str(), slow, quick, slow / quick);
        if (s.goal > 0) std::printf("%7.1f", s.goal);
        std::printf("\n");
    });
}

void print_singles(const best_times &best)
{
    for (const char *name : {"idle", "onset", "trigger", "first"})
        if (!best.has(name)) return;
    const double formulas = best["onset"];
    std::printf("\n%-34s%9s%9s\n", "", "ns", "goal");
    std::printf("%-34s%9.1f%9s\n", "a block without fogs", best["idle"], "< 30");
    std::printf("%-34s%9.1f\n", "the formulas of an onset", formulas);
    std::printf("%-34s%9.1f\n", "trigger, beyond them", best["trigger"] - formulas);
    std::printf("%-34s%9.1f%9s\n", "trigger to first sample, beyond", best["first"] - formulas,
                "< 60");
}

} // namespace

int main(int argc, char **argv)
{
    char **const end = std::remove_if(argv + 1, argv + argc,
                                      [](const char *a) { return !std::strcmp(a, "--series"); });
    const bool series = end != argv + argc;
    argc = int(end - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    host::link(ext_main);
    const std::vector<family> families =
        series ? std::vector<family>{{"fogs", by_fogs()}, {"vector", by_vector()}}
               : std::vector<family>{{"table", table}};
    for (int k = 0; k < repetitions; ++k) {
        for (const family &f : families) add(f);
        if (!series) add_singles();
    }
    best_times best;
    benchmark::RunSpecifiedBenchmarks(&best);
    if (!series) {
        print_table(best, families[0]);
        print_singles(best);
        return 0;
    }
    std::printf("series,at,plain,fast\n");
    for (const family &f : families)
        each(best, f, [&](const bench_scene &s, double slow, double quick) {
            std::printf("%s,%s,%.3f,%.3f\n", f.first, s.name.c_str(), slow, quick);
        });
}
