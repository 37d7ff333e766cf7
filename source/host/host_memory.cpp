// The host's heap: every block is known, new ones hold rubbish, and a test may let one fail.
#include "host_state.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace host {

static std::mutex counting;    // for all that follows
static long until_failure = 0; // 0: no allocation fails

static std::unordered_map<void *, memory_kind> &blocks()
{
    static std::unordered_map<void *, memory_kind> map;
    return map;
}

void *allocate(size_t size, int fill, memory_kind kind)
{
    const own_heap_use own;
    const std::lock_guard<std::mutex> alone(counting);
    if (until_failure > 0 && --until_failure == 0) return nullptr;
    void *memory = std::malloc(size ? size : 1);
    if (!memory) return nullptr;
    std::memset(memory, fill, size);
    blocks().emplace(memory, kind);
    return memory;
}

void release(void *memory, memory_kind kind, const char *call)
{
    const own_heap_use own;
    if (!memory) return;
    const std::lock_guard<std::mutex> alone(counting);
    const auto known = blocks().find(memory);
    if (known == blocks().end() || known->second != kind)
        return fault(call, ": not the host's memory");
    blocks().erase(known);
    std::free(memory);
}

void release_everything()
{
    const std::lock_guard<std::mutex> alone(counting);
    for (const auto &block : blocks()) std::free(block.first);
    blocks().clear();
}

long fail_allocation(long k)
{
    const std::lock_guard<std::mutex> alone(counting);
    return std::exchange(until_failure, k);
}

} // namespace host

t_ptr sysmem_newptr(t_ptr_size size)
{
    host::not_in_audio("sysmem_newptr");
    return static_cast<t_ptr>(host::allocate(size, 0xA5, host::memory_kind::plain));
}

void sysmem_freeptr(void *ptr)
{
    host::not_in_audio("sysmem_freeptr");
    host::release(ptr, host::memory_kind::plain, "sysmem_freeptr");
}
