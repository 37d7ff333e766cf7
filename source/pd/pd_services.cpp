// What Pd does for the object: console, clock, rates and arrays.
#include "m_pd.h"
#include "pd_bridge.h"

#include <cstring>

void pd::write_console(void *owner, bool error, const char *text)
{
    if (error) pd_error(owner, "%s", text);
    else post("%s", text);
}

/// The object's warnings are a second apart, the first one counted from time 0: without a past it
/// would be lost on a patch that begins to play at once.
double pd::time_ms() { return 2000 + clock_gettimesince(0); }

double pd::sample_rate() { return double(sys_getsr()); }
int pd::block_size() { return sys_getblksize(); }

void *pd::symbol(const char *name) { return gensym(name); }

/// What stands behind a name that several objects bear. No header has it, yet Pd has never changed
/// it; and pd_findbyclass, which walks through it, complains of two arrays each time it is asked.
struct bind_element {
    t_pd *who;
    bind_element *next; // the one that was there before
};
struct bind_list {
    t_pd type;
    bind_element *first;
};

static t_garray *oldest_array(const t_symbol *name, bool *several)
{
    *several = false;
    t_pd *thing = name->s_thing;
    if (!thing || *thing == garray_class) return reinterpret_cast<t_garray *>(thing);
    if (std::strcmp(class_getname(*thing), "bindlist") != 0) return nullptr;
    t_pd *oldest = nullptr;
    const bind_element *e = reinterpret_cast<const bind_list *>(thing)->first;
    for (; e; e = e->next)
        if (e->who && *e->who == garray_class) {
            *several = oldest;
            oldest = e->who;
        }
    return reinterpret_cast<t_garray *>(oldest);
}

const void *pd::find_array(void *symbol, long *frames, bool *several)
{
    t_garray *const array = oldest_array(static_cast<t_symbol *>(symbol), several);
    int count = 0;
    t_word *elements = nullptr;
    if (!array || !garray_getfloatwords(array, &count, &elements)) return nullptr;
    garray_usedindsp(array);
    *frames = count;
    return elements;
}

void pd::copy_elements(float *to, int stride, const void *elements, long first, long count)
{
    const t_word *from = static_cast<const t_word *>(elements) + first;
    if (stride == 1) // by itself, since the compiler has vectors for it
        for (long i = 0; i < count; ++i) to[i] = from[i].w_float;
    else
        for (long i = 0; i < count; ++i) to[i * stride] = from[i].w_float;
}

void pd::refresh_soon()
{
    static t_clock *const clock =
        clock_new(nullptr, t_method(+[](void *) { vorb_pd::refresh(nullptr); }));
    clock_delay(clock, 0);
}
