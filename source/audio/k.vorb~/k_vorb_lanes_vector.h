// Vectors of numbers for the lanes, by the compiler's own vector types: rows of doubles as wide as
// the processor's registers, and batches of floats. What the lanes call must not be a function that
// other files have too (std::min is one): the linker would keep one copy for all instruction sets.
#pragma once

#include "k_vorb_block.h"

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace {

#ifdef __AVX2__
constexpr int width = 4;
#else
constexpr int width = 2;
#endif

typedef double row __attribute__((vector_size(8 * width)));
typedef double loose_row __attribute__((vector_size(8 * width), aligned(8), may_alias));
typedef float quad __attribute__((vector_size(16)));
typedef float loose_quad __attribute__((vector_size(16), aligned(4), may_alias));

#ifdef VORB_CHECKED // unrolled sanitizer checks would take minutes to compile
#define VORB_INLINE static inline
#define VORB_UNROLL
#else
#define VORB_INLINE __attribute__((always_inline)) static inline
#define VORB_UNROLL _Pragma("GCC unroll 16")
#endif

VORB_INLINE row load(const double *from) { return *reinterpret_cast<const loose_row *>(from); }
VORB_INLINE void store(double *to, row v) { *reinterpret_cast<loose_row *>(to) = v; }
VORB_INLINE quad load(const float *from) { return *reinterpret_cast<const loose_quad *>(from); }

#ifdef __AVX2__
VORB_INLINE void transpose(row (&m)[width])
{
    const row a = _mm256_unpacklo_pd(m[0], m[1]), b = _mm256_unpackhi_pd(m[0], m[1]);
    const row c = _mm256_unpacklo_pd(m[2], m[3]), d = _mm256_unpackhi_pd(m[2], m[3]);
    m[0] = _mm256_permute2f128_pd(a, c, 0x20);
    m[1] = _mm256_permute2f128_pd(b, d, 0x20);
    m[2] = _mm256_permute2f128_pd(a, c, 0x31);
    m[3] = _mm256_permute2f128_pd(b, d, 0x31);
}

/// As many samples as are interpolated at once, in halves of four.
typedef float batch __attribute__((vector_size(32)));

VORB_INLINE batch join(quad low, quad high)
{
    return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}

VORB_INLINE void store(double *to, batch v)
{
    store(to, _mm256_cvtps_pd(_mm256_castps256_ps128(v)));
    store(to + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1)));
}

/// Each half by itself.
VORB_INLINE void transpose(batch (&m)[4])
{
    const batch a = __builtin_shufflevector(m[0], m[1], 0, 8, 1, 9, 4, 12, 5, 13);
    const batch b = __builtin_shufflevector(m[0], m[1], 2, 10, 3, 11, 6, 14, 7, 15);
    const batch c = __builtin_shufflevector(m[2], m[3], 0, 8, 1, 9, 4, 12, 5, 13);
    const batch d = __builtin_shufflevector(m[2], m[3], 2, 10, 3, 11, 6, 14, 7, 15);
    m[0] = __builtin_shufflevector(a, c, 0, 1, 8, 9, 4, 5, 12, 13);
    m[1] = __builtin_shufflevector(a, c, 2, 3, 10, 11, 6, 7, 14, 15);
    m[2] = __builtin_shufflevector(b, d, 0, 1, 8, 9, 4, 5, 12, 13);
    m[3] = __builtin_shufflevector(b, d, 2, 3, 10, 11, 6, 7, 14, 15);
}
#else
VORB_INLINE void transpose(row (&m)[width])
{
    const row a = __builtin_shufflevector(m[0], m[1], 0, 2);
    m[1] = __builtin_shufflevector(m[0], m[1], 1, 3);
    m[0] = a;
}

typedef quad batch;

VORB_INLINE void store(double *to, batch v)
{
    store(to, __builtin_convertvector(__builtin_shufflevector(v, v, 0, 1), row));
    store(to + 2, __builtin_convertvector(__builtin_shufflevector(v, v, 2, 3), row));
}

VORB_INLINE void transpose(batch (&m)[4])
{
    const quad a = __builtin_shufflevector(m[0], m[1], 0, 4, 1, 5);
    const quad b = __builtin_shufflevector(m[0], m[1], 2, 6, 3, 7);
    const quad c = __builtin_shufflevector(m[2], m[3], 0, 4, 1, 5);
    const quad d = __builtin_shufflevector(m[2], m[3], 2, 6, 3, 7);
    m[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
    m[1] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
    m[2] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
    m[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}
#endif

constexpr int batch_size = int(sizeof(batch) / sizeof(float));
static_assert(vorb_lane_batch % batch_size == 0 && vorb_lane_batch % width == 0);
static_assert(vorb_lanes % width == 0);

/// Whether a comparison was true nowhere.
VORB_INLINE bool none(decltype(batch{} != batch{}) hits)
{
    typedef std::int64_t words __attribute__((vector_size(sizeof hits)));
    const words w = (words)hits;
    std::int64_t any = 0;
    for (unsigned m = 0; m < sizeof w / sizeof any; ++m) any |= w[m];
    return any == 0;
}

} // namespace
