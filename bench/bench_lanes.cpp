// The fast path against the plain loops, side by side: the same fogs, the same host.
#include "host.h"
#include "plain_walk.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>

extern "C" void ext_main(void *);

namespace {

constexpr double rate = 48000;

struct scene {
    const char *name;
    long outlets, channels;
    int fogs;
    const char *message; // sets what new fogs take
    long vector = 64;
    double goal = 0; // times as fast
};

const scene scenes[] = {
    {"2 outlets, mono", 2, 1, 100, "", 64, 2.4},
    {"2 outlets, mono, curved", 2, 1, 100, "tex 100000", 64, 0},
    {"2 outlets, mono, lowpass", 2, 1, 100, "lp -1 0.01", 64, 1.9},
    {"10 outlets, mono", 10, 1, 100, "", 64, 3},
    {"2 outlets, stereo", 2, 2, 100, "", 64, 2.8},
    {"4 outlets, stereo", 4, 2, 100, "", 64, 2.8},
    {"6 outlets, quad", 6, 4, 100, "", 64, 2.8},
    {"2 outlets, mono, one fog", 2, 1, 1, "", 64, 1},
};

void run(benchmark::State &state, const scene &s, bool fast)
{
    static const bool linked = (host::link(ext_main), true);
    static_cast<void>(linked);
    host::reset();
    host::set_audio(rate, s.vector);
    std::vector<float> samples(static_cast<size_t>(48000 * s.channels));
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = std::sin(0.05f * float(i));
    host::set_buffer("bench", s.channels, rate, samples);
    const auto x = reinterpret_cast<vorb *>(
        host::create("k.vorb~ " + std::to_string(s.outlets) + " bench 100 100 1.37 1 0.1"));
    host::drain();
    host::start_audio();
    host::send(vorb_object(x), 0, "tex 0, debatt 1000000, atten 0");
    if (*s.message) host::send(vorb_object(x), 0, s.message);
    for (int k = 0; k < s.fogs; ++k) {
        host::send(vorb_object(x), 0, "offset " + std::to_string(100 + 7 * k));
        host::send(vorb_object(x), 0, "bang");
    }
    std::vector<std::vector<double>> out(10, std::vector<double>(4096));
    std::vector<double *> o;
    for (auto &v : out) o.push_back(v.data());
    host::run(); // past the first block, which reads from elsewhere
    const vorb_pool kept = x->pool;
    vorb_fogread reader[vorb_pool_size];
    for (int k = 0; k < vorb_pool_size; ++k) reader[k] = x->pool.fogs[k].reader;
    for (auto _ : state) {
        for (vorb_fog *f = x->pool.used; f; f = f->next) { // over the same stretch again
            f->reader.pos_ms = reader[f - x->pool.fogs].pos_ms;
            f->reader.prev_pos = reader[f - x->pool.fogs].prev_pos;
        }
        if (fast) {
            switch (s.outlets) {
            case 2:
                vorb_run_all2(&x->inputs, o.data(), s.vector);
                break;
            case 4:
                vorb_run_all4(&x->inputs, o.data(), s.vector);
                break;
            case 6:
                vorb_run_all6(&x->inputs, o.data(), s.vector);
                break;
            default:
                vorb_run_all10(&x->inputs, o.data(), s.vector);
            }
        } else plain::run_all(s.outlets, &x->inputs, o.data(), s.vector);
        benchmark::ClobberMemory();
    }
    state.counters["ns"] =
        benchmark::Counter(double(state.iterations() * s.vector * s.fogs),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    if (x->pool.nfree != kept.nfree) state.SkipWithError("fogs have ended");
    host::reset();
}

class ratios : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &r : runs) {
            const auto slash = r.run_name.function_name.find('/');
            auto &best = times[r.run_name.function_name.substr(slash + 1)]
                              [r.run_name.function_name[0] == 'f'];
            const double t = r.real_accumulated_time / double(r.iterations);
            best = best == 0 ? t : std::min(best, t);
        }
    }
    void Finalize() override
    {
        for (const scene &s : scenes) {
            auto &t = times[s.name];
            std::printf("%-28s plain %6.2f ns  lanes %6.2f ns  ratio %.2f  (goal %.1f)\n", s.name,
                        t[0] * 1e9 / double(s.vector * s.fogs),
                        t[1] * 1e9 / double(s.vector * s.fogs), t[0] / t[1], s.goal);
        }
    }
    std::map<std::string, std::array<double, 2>> times;
};

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    for (int rep = 0; rep < 5; ++rep)
        for (const scene &s : scenes)
            for (const bool fast : {false, true})
                benchmark::RegisterBenchmark(
                    ((fast ? "fast/" : "plain/") + std::string(s.name)).c_str(),
                    [&s, fast](benchmark::State &state) { run(state, s, fast); })
                    ->MinTime(0.05);
    ratios r;
    benchmark::RunSpecifiedBenchmarks(&r);
}
