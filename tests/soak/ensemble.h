// One instance of every layout in one host, and all that happens to them for as long as one likes:
// random scores drawn out to minutes, audio off and on, buffers that refuse, instances that go and
// come.
#pragma once

#include "dice.h"
#include "random_score.h"

#include <cstdint>
#include <string>
#include <vector>

/// What happened so far, over all instances.
struct tally {
    std::uint64_t blocks = 0, messages = 0, buffers = 0, restarts = 0, instances = 0;
    std::uint64_t numbers = 0, rows = 0; // at the integer outlet, on the console
    std::uint64_t sounding = 0;          // the sum over blocks and instances
    std::uint64_t heard = 0, deaf = 0;   // blocks of an instance with a sound, and without
    long most = 0;                       // that sounded at once in one instance
};

class ensemble {
public:
    ensemble(double sample_rate, std::uint64_t seed);
    ~ensemble();
    ensemble(const ensemble &) = delete;

    /// Throws std::runtime_error as soon as something is wrong. The same seed and stretches of play
    /// lead there again.
    void play(double seconds);

    const tally &so_far() const { return sum; }

private:
    /// A signal on its way into an inlet; its last value is held.
    struct cord {
        std::vector<double> signal;
        std::size_t at = 0;
        bool steady = false; // the inlet's vector is full of that value
    };

    struct part {
        t_object *x = nullptr;
        int layout = 1;
        random_score score;
        std::size_t next = 0;
        double origin = 0, stretch = 1; // in samples; of one block of the score
        cord cords[2];
        std::vector<const double *> outs;
    };

    void begin(part &p);
    void new_score(part &p);
    void act(part &p);
    void happen(part &p, const told &m);
    void happen(part &p, const swapped &buffer);
    void happen(part &p, const plugged &signal);
    void happen(part &, const retuned &) {} // the rate stays: a late phase is beyond all numbers
    void feed(part &p);
    void look(part &p);
    void tune();
    void refuse(int blocks);
    void burst(part &p);
    void read_host();
    [[noreturn]] void broken(const std::string &what) const;
    /// Whether something happens that is due every so many seconds on average.
    bool due(double &moment, double seconds);

    const double rate;
    long vector = 64;
    dice d;
    std::uint64_t next_seed;
    double now = 0; // in samples, as are the moments of what comes next
    double next_tune = 0, next_birth = 0, next_refusal = 0, next_burst = 0, next_reading = 0;
    int refusing = 0;    // blocks
    bool rewired = true; // since the last block: signal vectors are others, or of another size
    std::vector<part> parts;
    tally sum;
};
