// Shared utility module: lookup tables, the host's rates, checked conversions. It knows no fog.
#pragma once

#include "ext.h"
#include "k_shared.h"

#include <cstdint>

/// A named entry of a mark table; what else an entry holds is its owner's business.
struct k_mark {
    const char *name;
    void *content;
};

struct k_mark_table {
    std::int32_t count;
    k_mark *marks;
};

/// Four interpolation weights, for the frames at -1, 0, +1 and +2.
typedef float k_sampfilt_row[4];

enum { k_sampfilt_rows = 256 };

/// 256 rows, one per 1/256 of a frame; null until built, read-only afterwards.
extern k_shared<k_sampfilt_row *> k_sampfilt_tab;

enum { k_pan_size = 1024, k_pos_size = 32768, k_sqrt_size = 1025 };

/// Half a sine wave in the middle of the table, zeros around it: the gain of a loudspeaker while a
/// sound passes by. A quarter period has 256 entries in the pan tables, 4096 in the
/// position tables; the square-root tables cross-fade with the same power.
extern double *const k_sin_pan_table, *const k_sqrt_pan_table; // k_pan_size
extern double *const k_sin_pos_table, *const k_sqrt_pos_table; // k_pos_size

/// Entry i is the square root of i / 1024.
extern double k_sqrt_table[k_sqrt_size];

/// k_sin_pan_table, k_sqrt_pan_table and k_sin_pos_table in one row, since the ring of eight reads
/// across their borders.
extern double k_pan_span[2 * k_pan_size + k_pos_size];

void k_init_pan_tables();
void k_init_pos_tables();
void k_init_sqrt_table();

/// Builds every table and the random pool, the first time it is called.
void k_init_utils();

/// Builds k_sampfilt_tab if it is missing. Returns 1 when the table exists, 0 when memory ran out.
std::int32_t k_make_sampfilt_tab();

/// The host's signal vector size in frames and its sample rate in Hz, as it states them globally.
std::int64_t k_get_vs();
double k_get_srate();

/// Index of the first mark of that name, or -1.
std::int32_t k_find_mark(const k_mark_table *table, const char *name);

/// Gains of eight loudspeakers in the corners of a cube, front left, front right, back right, back
/// left of the upper ring, then of the lower one, for a sound in the direction (x, y, z), x to the
/// right, y to the front, z up, each -1 to 1, at distance d. Nearer than `radius` it is drawn to
/// the centre, at a negative distance to the other side. Square roots of trilinear weights.
void k_pan3d8(double *gains, double x, double y, double z, double d, double radius);

/// The same by azimuth (0 ahead, 90 right) and elevation (90 up) in degrees.
void k_pan3d8polar(double *gains, double azimuth, double elevation, double d, double radius);

/// Every registered generator, so that all can be seeded together.
struct k_rnd_pool {
    std::int32_t count;
    std::uint64_t **slots; // null where free
};

extern k_rnd_pool k_the_rnd_pool;

void k_rnd_init_pool();
void k_rnd_grow_pool();
/// Takes the highest free slot, or the first new one where the pool must grow. Returns state.
std::uint64_t *k_rnd_register_state(std::uint64_t *state);
void k_rnd_deregister_state(std::uint64_t *state);

/// A linear congruential generator modulo 2^31, whose state is one word that its owner keeps.
std::int64_t k_rnd_next(std::uint64_t *state);
void k_rnd_seed(std::uint64_t *state, std::uint64_t seed);
/// Seeds the generators with every n-th value of a master generator, from the lowest slot on; the
/// first value is `seed` itself.
void k_rnd_seed_all(std::uint64_t seed, std::int32_t n);

/// Truncates toward zero; what has no 64-bit integer (NaN, infinities, too large) gives 0.
inline std::int64_t k_trunc(double v)
{
    const double limit = 9223372036854775808.0; // 2^63, the first that does not fit
    return v >= -limit && v < limit ? static_cast<std::int64_t>(v) : 0;
}
