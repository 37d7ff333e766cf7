// The host's heap. New memory is not cleared; a failed request gives null.
#pragma once

extern "C" {
t_ptr sysmem_newptr(t_ptr_size size);
void sysmem_freeptr(void *ptr);
}
