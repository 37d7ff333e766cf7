// What a sounding fog costs, per layout and number of fogs: the loaded module under the headless
// host, 64 frames a block. `per_fog_sample` is the time of one sample of one fog, the host's share
// included; the rows without fogs show the block's fixed cost.
#include "host.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace {

constexpr double rate = 44100;
constexpr long vector_size = 64;
constexpr double fog_samples = 8820 + vector_size / 2; // 200 ms, and the rest of the last block

t_object *make_instance(int64_t layout)
{
    host::reset();
    host::add_folder(EXTERNALS_FOLDER);
    host::set_audio(rate, vector_size);
    std::vector<float> samples(44100);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = std::sin(0.05f * static_cast<float>(i));
    host::set_buffer("bench", 1, rate, std::move(samples));
    t_object *x = host::create("k.vorb~ " + std::to_string(layout) + " bench 100 100 1.01 1 0.1");
    host::drain();
    host::send(x, 0, "env 200 1 1 2 1, silent 1");
    return x;
}

/// F0 starts a fog whenever one ends, so that a constant number sounds, in every phase of life
/// alike.
void sounding(benchmark::State &state)
{
    const int64_t layout = state.range(0), fogs = state.range(1);
    t_object *x = make_instance(layout);
    host::connect(x, 0);
    std::fill_n(host::input(x, 0), vector_size, static_cast<double>(fogs) * rate / fog_samples);
    for (int block = 0; block < 2 * fog_samples / vector_size; ++block) host::run();
    for (auto _ : state) host::run();
    const double samples = static_cast<double>(state.iterations() * vector_size * fogs);
    if (fogs > 0)
        state.counters["per_fog_sample"] =
            benchmark::Counter(samples, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(sounding)->ArgNames({"layout", "fogs"})->ArgsProduct({{1, 2, 4, 6, 10}, {0, 1, 10, 100}});

} // namespace
