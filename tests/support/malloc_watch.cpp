// Tells the host of every heap operation of the program it is linked into, so that one made inside
// a perform routine is noticed.
#include "host.h"

#include <cerrno>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZER_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZER_HEAP 1
#endif
#endif

#ifdef SANITIZER_HEAP

#include <sanitizer/allocator_interface.h>

static const int installed = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void *, std::size_t) { host_heap_used(); },
    [](const volatile void *) { host_heap_used(); });

#else // the C library's own allocator, under the names it keeps for programs that wrap it

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *memory);

void *malloc(std::size_t size)
{
    host_heap_used();
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    host_heap_used();
    return __libc_calloc(count, size);
}

void *realloc(void *memory, std::size_t size)
{
    host_heap_used();
    return __libc_realloc(memory, size);
}

void *memalign(std::size_t alignment, std::size_t size)
{
    host_heap_used();
    return __libc_memalign(alignment, size);
}

void *aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void **memory, std::size_t alignment, std::size_t size)
{
    *memory = memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

void free(void *memory)
{
    host_heap_used();
    __libc_free(memory);
}
}

#endif
