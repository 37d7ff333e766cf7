// A plain model of what fogs sound like: from parameters to samples in closed forms, one fog at a
// time, written to be read. It shares no code with the object. Only what truncation makes audible
// (read positions, table rows, sample counts) repeats the object's order of arithmetic.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace model {

/// The host's audio settings at the last audio start.
struct stage {
    double rate;
    long vector;
};

/// A buffer: `channels` values a frame, one frame after another.
struct sample {
    double rate;
    std::vector<float> values;
    std::size_t channels = 1;

    std::int64_t frames() const { return static_cast<std::int64_t>(values.size() / channels); }
};

/// The buffer that a name stands for in a block; null while there is none.
using source = std::function<const sample *(long block)>;

/// What each new fog copies.
struct voice {
    double position_ms = 0; // latency included
    double transposition = 1;
    double bandwidth_hz = 0;
    double tex_s = 0, debatt_s = 0, atten_s = 0;
    bool debatt_all = false; // the attenuation ends where the sample ends
    double lowpass = 1;      // share of the new sample in the first output
    double rest = 0;         // share of the former output there
    double closing_hz = 0;   // halvings of that share per second
    std::array<double, 10> gains{};
};

/// When a fog starts: at a sample of a block, `late_s` seconds after its exact instant.
struct start {
    long block = 0;
    std::int64_t index = 0;
    double late_s = 0;
};

// ---- From what a user sends to what is stored ---------------------------------------------------

double seconds(float ms);
/// The position stored for a number at the offset inlet, for the message, for the box's argument.
double position_of_number(const stage &, float ms);
double position_of_message(const stage &, float ms);
double position_of_argument(const stage &, float ms);
/// The lowpass of a number at its inlet (0 to 1) and of the message's exponent (at most 0).
double lowpass_of_number(float v);
double lowpass_of_message(double exponent);
/// What the message leaves to the former output, in single precision.
double rest_of_message(double exponent);
/// The start that a number at the left inlet asks for.
start start_of_number(const stage &, long block, float ms);

// ---- One fog ------------------------------------------------------------------------------------

/// How a block of the source came about. A stale block was not written: what the fog rendered just
/// before it read, in whatever instance, sounds in its place.
enum class reading { silent, stale, forward, backward };

constexpr std::size_t most_channels = 4;
using per_channel = std::array<double, most_channels>;

struct source_block {
    reading kind;
    std::vector<std::vector<double>> values; // per channel that the layout reads; empty when stale
    per_channel filtered;                    // last outputs of the lowpass
};

/// What a fog finds in its record of those before it.
struct leftovers {
    double frames_per_ms = 0; // its own buffer's, where one is there at the onset
    per_channel filtered{};   // the third and fourth are never cleared
};

struct fog {
    start onset;
    std::int64_t attack, sustain, attenuation; // samples of each phase
    std::vector<double> envelope;              // as many as fit into the blocks asked for
    std::vector<source_block> reads;           // one per block of its life, likewise
    std::array<double, 10> gains;

    std::int64_t length() const { return attack + sustain + attenuation; }
    /// Blocks of a life that no missing buffer cuts short.
    long life(const stage &) const;
};

/// The fog of these parameters in a layout, worked out for at most `blocks` blocks.
fog fog_of(const stage &, int layout, const voice &, const source &, const start &, long blocks,
           const leftovers &);

/// The largest share of its peak by which a recurrence may stray from this fog's closed forms.
///  - Decay: the rounded factor and the rounded products, 2 * 1.1e-16 per sample.
///  - Cosine of N samples by y = c * y1 - y2: each step adds at most 1.4e-16 (product, difference
///    and the rounding of c), a disturbance grows to at most N / pi times itself, and N of them add
///    up: 0.45e-16 * N * N.
double drift(const fog &);

// ---- Many fogs ----------------------------------------------------------------------------------

struct scene {
    stage host;
    int layout = 1; // signal outlets
    long maxfogs = 5;
    long blocks = 1;
    voice parameters;
    source buffer;
    std::vector<start> starts;     // asked for by messages, in order, before their block runs
    std::vector<double> f0;        // Hz, one per sample; empty when nothing is connected
    std::vector<double> offset_ms; // likewise
    double autoenv = 0, autoenv_max_s = 0;
};

struct performance {
    std::vector<std::vector<double>> outlets;
    std::vector<long> free;      // free fogs after each block
    std::array<long, 4> reads{}; // rendered blocks of each kind of reading
    long of_several = 0;         // those of several channels that were not silent
    long fogs = 0, refused = 0;
    double tolerance = 0; // largest difference that recurrences explain
};

/// All fogs of the scene, newest first in each block. The scratch that stale blocks repeat holds
/// zeros at first.
performance perform(const scene &);

} // namespace model
