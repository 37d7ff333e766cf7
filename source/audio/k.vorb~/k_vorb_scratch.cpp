// The scratch blocks that readers fill and renderers mix, one per source channel.
#include "k_vorb.h"

#include <algorithm>

k_shared<double *> temp1 = nullptr, temp2 = nullptr, temp3 = nullptr, temp4 = nullptr;
k_shared<std::int64_t> temp_size = 0;

// Instances in patchers of different vector sizes share the blocks, so they never shrink. While
// they grow other instances may be playing: these finish in the old blocks, which stay. Sizes are
// powers of two, so that all those together take no more than the newest.
static k_shared<std::int64_t> room = 0;
static double *grown[63]; // by the exponent of the size; kept for leak checkers to see

void vorb_size_scratch(double vs)
{
    temp_size = k_trunc(vs);
    if (temp1 && temp_size <= room) return;
    int exponent = 0;
    while (exponent < 62 && (std::int64_t{1} << exponent) < temp_size) ++exponent;
    const auto size = std::size_t{1} << exponent, total = vorb_max_sources * size;
    if (size > SIZE_MAX / sizeof(double) / vorb_max_sources) return;
    const auto block = reinterpret_cast<double *>(sysmem_newptr(total * sizeof(double)));
    if (!block) return;             // a larger vector stays silent, until audio starts with memory
    std::fill_n(block, total, 0.0); // it may be heard before it is written
    grown[exponent] = block;
    k_shared<double *> *const blocks[] = {&temp1, &temp2, &temp3, &temp4};
    for (std::size_t k = 0; k < vorb_max_sources; ++k) *blocks[k] = block + k * size;
    room = std::int64_t(size); // last: whoever finds it finds the blocks
}

bool vorb_scratch_holds(std::int64_t n) { return n <= room && temp1; }
