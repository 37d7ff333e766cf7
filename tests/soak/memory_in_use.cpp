// The system's and the allocator's own figures.
#include "memory_in_use.h"

#include <fstream>
#include <malloc.h>
#include <sys/prctl.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define SANITIZER_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANITIZER_HEAP 1
#endif
#endif

#ifdef SANITIZER_HEAP
#include <sanitizer/allocator_interface.h>
static std::int64_t read_heap() { return std::int64_t(__sanitizer_get_current_allocated_bytes()); }
bool resident_counts() { return false; }
#else
static std::int64_t read_heap()
{
    malloc_trim(0); // pages that hold nothing any more
    const struct mallinfo2 info = mallinfo2();
    return std::int64_t(info.uordblks + info.hblkhd);
}
bool resident_counts() { return true; }
#endif

void return_large_blocks()
{
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
    prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0); // pages of 2 MB come when the kernel likes
}

memory_in_use read_memory()
{
    const std::int64_t heap = read_heap();
    std::int64_t size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return {resident * sysconf(_SC_PAGESIZE), heap};
}
