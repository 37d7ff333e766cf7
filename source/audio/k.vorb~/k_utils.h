// Shared utility module: lookup tables, the host's rates, checked conversions. It knows no fog.
#pragma once

#include "ext.h"

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
extern k_sampfilt_row *k_sampfilt_tab;

/// Builds every table, the first time it is called.
void k_init_utils();

/// Builds k_sampfilt_tab if it is missing. Returns 1 when the table exists, 0 when memory ran out.
std::int32_t k_make_sampfilt_tab();

/// The host's signal vector size in frames and its sample rate in Hz, as it states them globally.
std::int64_t k_get_vs();
double k_get_srate();

/// Index of the first mark of that name, or -1.
std::int32_t k_find_mark(const k_mark_table *table, const char *name);

/// Truncates toward zero; what has no 64-bit integer (NaN, infinities, too large) gives 0.
inline std::int64_t k_trunc(double v)
{
    const double limit = 9223372036854775808.0; // 2^63, the first that does not fit
    return v >= -limit && v < limit ? static_cast<std::int64_t>(v) : 0;
}
