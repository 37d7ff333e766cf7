// The scratch blocks that readers fill and renderers mix, one per source channel.
#include "k_vorb.h"

#include <algorithm>
#include <iterator>

double *temp1 = nullptr, *temp2 = nullptr, *temp3 = nullptr, *temp4 = nullptr;
std::int64_t temp_size = 0;

// Instances in patchers of different vector sizes share the blocks, so the room never shrinks below
// the largest size met, whatever the last instance asked for.
static std::int64_t room = 0;

static double **const blocks[] = {&temp1, &temp2, &temp3, &temp4};

static bool vorb_has_blocks() { return temp1 && temp2 && temp3 && temp4; }

static double *vorb_new_block(std::int64_t size)
{
    if (std::uint64_t(size) > SIZE_MAX / sizeof(double)) return nullptr;
    const auto block =
        reinterpret_cast<double *>(sysmem_newptr(std::size_t(size) * sizeof(double)));
    if (block) std::fill_n(block, size, 0.0); // it may be heard before it is written
    return block;
}

void vorb_size_scratch(double vs)
{
    const bool none =
        std::all_of(std::begin(blocks), std::end(blocks), [](double **block) { return !*block; });
    if (!none && double(temp_size) == vs) return; // also where memory ran out half-way, deliberate
    temp_size = k_trunc(vs);
    if (vorb_has_blocks() && temp_size <= room) return; // other instances may be playing
    const std::int64_t wanted = std::max(room, temp_size);
    for (double **block : blocks) {
        if (*block) sysmem_freeptr(*block);
        *block = vorb_new_block(wanted);
    }
    if (vorb_has_blocks()) room = wanted; // else a size beyond memory would be asked for ever after
}

bool vorb_scratch_holds(std::int64_t n) { return n <= room && vorb_has_blocks(); }
