// Instances that are short of fogs.
#pragma once

#include "session.h"

#include <limits>

class pool_limits : public session {
protected:
    static void bang(vorb *x, int times = 1)
    {
        for (int k = 0; k < times; ++k) send(x, 0, "bang");
    }

    static std::int64_t used(const vorb *x) { return x->pool.maxfogs - x->pool.nfree; }

    /// An instance whose next trigger finds no free fog.
    vorb *exhausted()
    {
        vorb *x = create("1 sample1 1");
        bang(x);
        return x;
    }

    /// An instance whose next trigger finds the limit reached.
    vorb *limited()
    {
        vorb *x = create("1 sample1 8");
        send(x, 0, "limit 0 1");
        bang(x);
        return x;
    }
};
