// The used list rendered fog by fog with the plain renderers: what the fast path must equal bit for
// bit, and what its speed is measured against.
#pragma once

#include "k_vorb.h"

namespace plain {

template <class Sounds>
void walk(inputs *in, Sounds sounds)
{
    vorb_pool &pool = vorb_owner(in)->pool;
    for (vorb_fog **link = &pool.used; vorb_fog *fog = *link;) {
        if (sounds(fog)) link = &fog->next;
        else vorb_release(&pool, link);
    }
}

/// With 2, 4 and 6 outlets the channels of the buffer choose the renderer.
template <class Renderer, class... Out>
bool by_source(vorb_fog *fog, Renderer mono, Renderer multi, std::int64_t n, Out... out)
{
    t_buffer_obj *b = vorb_buffer(fog->reader.bufref);
    return b && (buffer_getchannelcount(b) == 1 ? mono : multi)(fog, out..., n);
}

inline void run_all(std::int64_t outlets, inputs *in, double **o, std::int64_t n)
{
    switch (outlets) {
    case 1:
        return walk(in, [=](vorb_fog *f) { return vorb_run_one1(f, o[0], n); });
    case 2:
        return walk(in, [=](vorb_fog *f) {
            return by_source(f, vorb_run_one2, vorb_run_one2s, n, o[0], o[1]);
        });
    case 4:
        return walk(in, [=](vorb_fog *f) {
            return by_source(f, vorb_run_one4, vorb_run_one4s, n, o[0], o[1], o[2], o[3]);
        });
    case 6:
        return walk(in, [=](vorb_fog *f) {
            return by_source(f, vorb_run_one6, vorb_run_one6q, n, o[0], o[1], o[2], o[3], o[4],
                             o[5]);
        });
    default:
        return walk(in, [=](vorb_fog *f) {
            return f->reader.bufref &&
                   vorb_run_one10(f, o[0], o[1], o[2], o[3], o[4], o[5], o[6], o[7], o[8], o[9], n);
        });
    }
}

} // namespace plain
