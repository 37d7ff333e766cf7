// How much memory the process holds.
#pragma once

#include <cstdint>

/// In bytes: what it has in real memory, and what the program has from its heap.
struct memory_in_use {
    std::int64_t resident, heap;
};

memory_in_use read_memory();

/// Whether what is resident says something: sanitizers keep freed memory back.
bool resident_counts();

/// Lets whatever is large go back to the system as soon as it is freed.
void return_large_blocks();
