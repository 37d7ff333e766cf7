// What is wrong with the lists of a pool.
#pragma once

#include "k_vorb.h"

#include <string>

/// Empty when every fog in use is on exactly one of the lists and the count of free ones agrees.
inline std::string pool_flaw(const vorb_pool &pool)
{
    if (pool.maxfogs < 1 || pool.maxfogs > vorb_pool_size) return "no such size";
    bool met[vorb_pool_size] = {};
    const auto length = [&](const vorb_fog *fog) {
        std::int64_t count = 0;
        for (; fog; fog = fog->next, ++count) {
            const auto k = fog - pool.fogs;
            if (k < 0 || k >= pool.maxfogs || met[k]) return std::int64_t{-1};
            met[k] = true;
        }
        return count;
    };
    const std::int64_t free = length(pool.free), used = length(pool.used);
    if (free >= 0 && used >= 0 && free == pool.nfree && free + used == pool.maxfogs) return "";
    return std::to_string(free) + " free, " + std::to_string(used) +
           " used (-1: a stranger, or met again), " + std::to_string(pool.nfree) +
           " counted as free of " + std::to_string(pool.maxfogs);
}
