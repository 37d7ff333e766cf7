// Utilities that need the host or nothing: its rates, mark tables, and the module's one-time start.
#include "k_utils.h"

#include "ext_obex.h"

#include "z_dsp.h"

#include <cstring>

static std::int32_t initialized = 0;

void k_init_utils()
{
    if (initialized) return;
    initialized = 1;
    k_make_sampfilt_tab(); // where memory is short, instances try again
    k_rnd_init_pool();
    k_init_pan_tables();
    k_init_pos_tables();
    k_init_sqrt_table();
}

std::int64_t k_get_vs() { return sys_getblksize(); }

double k_get_srate() { return double(sys_getsr()); }

std::int32_t k_find_mark(const k_mark_table *table, const char *name)
{
    for (std::int32_t i = 0; i < table->count; ++i)
        if (std::strcmp(table->marks[i].name, name) == 0) return i;
    return -1;
}
