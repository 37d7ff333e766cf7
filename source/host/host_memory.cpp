// The host's heap: every block is known, new ones hold rubbish, and a test may let one fail.
#include "host_state.h"

#include <cstdlib>
#include <cstring>

namespace host {

static std::unordered_set<void *> &blocks()
{
    static std::unordered_set<void *> set;
    return set;
}

void *allocate(size_t size, int fill)
{
    const own_heap_use own;
    if (now.allocations_until_failure > 0 && --now.allocations_until_failure == 0) return nullptr;
    void *memory = std::malloc(size ? size : 1);
    if (!memory) return nullptr;
    std::memset(memory, fill, size);
    blocks().insert(memory);
    return memory;
}

void release(void *memory, const char *call)
{
    const own_heap_use own;
    if (!memory) return;
    if (blocks().erase(memory) == 0) return fault(std::string(call) + ": not the host's memory");
    std::free(memory);
}

void release_everything()
{
    for (void *memory : blocks()) std::free(memory);
    blocks().clear();
}

void fail_allocation(long k) { now.allocations_until_failure = k; }

} // namespace host

t_ptr sysmem_newptr(t_ptr_size size)
{
    host::not_in_audio("sysmem_newptr");
    return static_cast<t_ptr>(host::allocate(size, 0xA5));
}

void sysmem_freeptr(void *ptr)
{
    host::not_in_audio("sysmem_freeptr");
    host::release(ptr, "sysmem_freeptr");
}
