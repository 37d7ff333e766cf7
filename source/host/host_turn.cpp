// Whose turn it is: a block of audio, or someone who must not meet one.
#include "host.h"

#include <atomic>
#include <thread>

namespace host {

// First come, first served: blocks that follow one another at once would else let nobody in.
static std::atomic<unsigned> tickets{0}, served{0};
static thread_local int turns = 0; // within one another

between_blocks::between_blocks()
{
    if (turns++) return;
    const unsigned mine = tickets.fetch_add(1, std::memory_order_relaxed);
    while (served.load(std::memory_order_acquire) != mine) std::this_thread::yield();
}

between_blocks::~between_blocks()
{
    if (--turns) return;
    served.store(served.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

} // namespace host
