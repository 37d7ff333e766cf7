// Stands in front of the host's functions that are counted.
#include "counted_calls.h"

#include "ext_buffer.h"
#include "ext_sysmem.h"
#include "host_function.h"

counted_calls counted;

t_ptr sysmem_newptr(t_ptr_size size)
{
    static const auto host = host_function<decltype(sysmem_newptr)>("sysmem_newptr");
    const t_ptr memory = host(size);
    if (memory) ++counted.blocks_held;
    return memory;
}

void sysmem_freeptr(void *memory)
{
    static const auto host = host_function<decltype(sysmem_freeptr)>("sysmem_freeptr");
    if (memory) --counted.blocks_held;
    host(memory);
}

// Looked up ahead of the first block, in which the heap must not be used.
static const auto host_getsamplerate =
    host_function<decltype(buffer_getsamplerate)>("buffer_getsamplerate");

t_atom_float buffer_getsamplerate(t_buffer_obj *b)
{
    ++counted.measured;
    return host_getsamplerate(b);
}
