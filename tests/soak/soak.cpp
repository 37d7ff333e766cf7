// Plays hours of audio off line, as fast as it goes, while random things happen to instances of
// every layout, and says what it saw: soak [--hours H] [--rate R] [--seed S]. Exit status 0 when
// nothing broke, no memory was lost and the phasor kept time.
#include "counted_calls.h"
#include "drift.h"
#include "ensemble.h"
#include "memory_in_use.h"

#include "host.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" void ext_main(void *);

namespace {

struct options {
    double hours = 24, rate = 48000;
    std::uint64_t seed = 1;
};

options read_options(int argc, char **argv)
{
    options o;
    for (int k = 1; k + 1 < argc; k += 2) {
        const std::string name = argv[k];
        const double value = std::stod(argv[k + 1]);
        if (name == "--hours" && value > 0) o.hours = value;
        else if (name == "--rate" && value > 0) o.rate = value;
        else if (name == "--seed" && value > 0) o.seed = std::uint64_t(value);
        else throw std::invalid_argument(name);
    }
    if (argc % 2 == 0) throw std::invalid_argument(argv[argc - 1]);
    return o;
}

double seconds_since_start()
{
    static const auto start = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void say_progress(double hours, const ensemble &e)
{
    std::printf("%6.2f h of audio, %5.0f s: %llu blocks, %lld KB resident\n", hours,
                seconds_since_start(), static_cast<unsigned long long>(e.so_far().blocks),
                static_cast<long long>(read_memory().resident / 1024));
    std::fflush(stdout);
}

void say(const char *what, std::uint64_t count)
{
    std::printf("%-44s%16llu\n", what, static_cast<unsigned long long>(count));
}

void say(const tally &t)
{
    const double parts = double(t.heard + t.deaf);
    say("blocks", t.blocks);
    say("messages", t.messages);
    say("fogs started that found their sample", counted.measured);
    std::printf("%-44s%16.2f\n", "sounding at once in an instance, mean",
                double(t.sounding) / parts);
    say("sounding at once in an instance, most", std::uint64_t(t.most));
    std::printf("%-44s%16.3f\n", "blocks of an instance with sound, share",
                double(t.heard) / parts);
    say("buffers made or deleted", t.buffers);
    say("audio off and on", t.restarts);
    say("instances", t.instances);
    say("numbers at integer outlets", t.numbers);
    say("console rows", t.rows);
}

/// A first hundredth meets whatever is made once; after the rest no more memory may be held.
bool play(const options &o)
{
    const double first = o.hours / 100;
    {
        ensemble(o.rate, o.seed + 1).play(first * 3600);
    }
    const memory_in_use before = read_memory();
    const std::int64_t held_before = counted.blocks_held;
    counted = {held_before, 0};
    tally sum;
    {
        ensemble e(o.rate, o.seed);
        for (int k = 0; k < 24; ++k) {
            e.play((o.hours - first) * 3600 / 24);
            say_progress(first + (o.hours - first) * (k + 1) / 24, e);
        }
        sum = e.so_far();
    }
    const memory_in_use after = read_memory();
    const std::int64_t heap = after.heap - before.heap, held = counted.blocks_held - held_before;
    const std::int64_t resident = after.resident - before.resident;
    say(sum);
    std::printf("memory held, from %.2f h to the end: %+lld blocks of the host, %+lld bytes of the "
                "heap, %+lld KB resident of %lld\n",
                first, static_cast<long long>(held), static_cast<long long>(heap),
                static_cast<long long>(resident / 1024),
                static_cast<long long>(after.resident / 1024));
    // What the C library keeps at hand of freed blocks counts as used; pages stay for what lies
    // among others. Neither grows with time.
    return held == 0 && heap < 64 * 1024 && (!resident_counts() || resident < 1024 * 1024);
}

bool keep_time(double hours)
{
    bool all = true;
    std::printf("the phasor after %.2f h, behind exact arithmetic\n%8s%10s%14s%14s%14s%14s\n",
                hours, "rate", "F0", "wraps", "periods", "samples", "of the bound");
    for (const double rate : {44100.0, 48000.0})
        for (const double f0 : {0.1, 110.0, 440.1, 20000.3}) {
            const phasor_drift d = measure_drift(f0, rate, hours);
            std::printf("%8.0f%10.1f%14llu%14.2e%14.2e%13.0f%%\n", rate, f0,
                        static_cast<unsigned long long>(d.wraps), d.periods(), d.in_samples(),
                        100 * d.behind / d.bound);
            all = all && d.holds();
        }
    return all;
}

} // namespace

int main(int argc, char **argv)
try {
    const options o = read_options(argc, argv);
    seconds_since_start();
    return_large_blocks();
    host::link(ext_main);
    const bool lossless = play(o), punctual = keep_time(o.hours);
    std::printf("%.0f s; memory %s; the phasor %s\n", seconds_since_start(),
                lossless ? "is all given back" : "WAS LOST",
                punctual ? "keeps within its bound" : "DRIFTS");
    return lossless && punctual ? 0 : 1;
} catch (const std::invalid_argument &) {
    std::fprintf(stderr, "usage: soak [--hours H] [--rate HZ] [--seed N]\n");
    return 2;
} catch (const std::exception &e) {
    std::fprintf(stderr, "soak: %s\n", e.what());
    return 1;
}
