// What Pd does for the object: console, clock, rates and arrays.
#include "m_pd.h"
#include "pd_bridge.h"

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

const void *pd::find_array(void *symbol, long *frames)
{
    const auto array =
        reinterpret_cast<t_garray *>(pd_findbyclass(static_cast<t_symbol *>(symbol), garray_class));
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
