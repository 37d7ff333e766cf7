// The pool of random generators. The object draws no random numbers; the pool serves others.
#include "k_utils.h"

#include <algorithm>

enum { step = 1024 }; // slots that the pool has at first, and grows by

k_rnd_pool k_the_rnd_pool = {0, nullptr};

std::int64_t k_rnd_next(std::uint64_t *state)
{
    *state = (*state * 1103515245 + 12345) & 0x7FFFFFFF;
    return std::int64_t(*state);
}

void k_rnd_seed(std::uint64_t *state, std::uint64_t seed) { *state = seed; }

void k_rnd_seed_all(std::uint64_t seed, std::int32_t n)
{
    const k_rnd_pool &pool = k_the_rnd_pool;
    std::uint64_t master = seed;
    for (std::int32_t i = 0; pool.slots && i < pool.count; ++i) {
        if (!pool.slots[i]) continue;
        k_rnd_seed(pool.slots[i], master);
        for (std::int32_t k = 0; k < n; ++k) k_rnd_next(&master);
    }
}

static std::uint64_t **k_rnd_new_slots(std::int32_t count)
{
    const auto slots = reinterpret_cast<std::uint64_t **>(
        sysmem_newptr(std::size_t(count) * sizeof(std::uint64_t *)));
    if (slots) std::fill_n(slots, count, nullptr);
    return slots;
}

void k_rnd_init_pool() { k_the_rnd_pool = {step, k_rnd_new_slots(step)}; }

/// The old array is never released, deliberate.
void k_rnd_grow_pool()
{
    k_rnd_pool &pool = k_the_rnd_pool;
    std::uint64_t **grown = k_rnd_new_slots(pool.count + step);
    if (!grown) return;
    if (pool.slots) std::copy_n(pool.slots, pool.count, grown);
    pool = {pool.count + step, grown};
}

/// The last slot that holds a state (null: that is free), or -1.
static std::int32_t k_rnd_find(const std::uint64_t *state)
{
    const k_rnd_pool &pool = k_the_rnd_pool;
    std::int32_t i = pool.slots ? pool.count : 0;
    while (--i >= 0 && pool.slots[i] != state) {}
    return i;
}

std::uint64_t *k_rnd_register_state(std::uint64_t *state)
{
    std::int32_t slot = k_rnd_find(nullptr);
    if (slot < 0) {
        slot = k_the_rnd_pool.count; // the first of those that growing adds
        k_rnd_grow_pool();
    }
    if (slot < k_the_rnd_pool.count) k_the_rnd_pool.slots[slot] = state; // else memory ran out
    return state;
}

void k_rnd_deregister_state(std::uint64_t *state)
{
    const std::int32_t slot = k_rnd_find(state);
    if (slot >= 0) k_the_rnd_pool.slots[slot] = nullptr;
}
