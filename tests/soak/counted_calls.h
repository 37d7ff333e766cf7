// What the object asked of the host, counted on the way.
#pragma once

#include <cstdint>

struct counted_calls {
    std::int64_t blocks_held = 0; // of memory: handed out and not yet given back
    std::uint64_t measured = 0;   // buffers asked for their rate: once for every fog that begins
};

extern counted_calls counted;
