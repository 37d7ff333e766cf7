// All that a block may change, and when two such states are alike.
#pragma once

#include "player_sets.h"
#include "session.h"

#include <limits>

using wave = std::vector<double>;
using waves = std::vector<wave>;

/// All that a block may change.
struct state {
    vorb_pool pool;
    waves scratch, outs;
    std::vector<std::string> rows;
};

/// Nothing heard tells zeros apart: the sums of outlets begin at +0, and nothing is divided. Open
/// lowpasses that are skipped keep the sign of a zero where the plain one may lose it.
inline bool alike_inside(double a, double b) { return alike(a, b) || (a == 0 && b == 0); }

/// Makes like numbers the same bits.
inline void settle(double &v)
{
    if (v == 0) v = 0;
    if (std::isnan(v)) v = std::numeric_limits<double>::quiet_NaN();
}

inline void settle(vorb_fog &f)
{
    for (double &g : f.gains) settle(g);
    for (double &y : f.reader.lp_y) settle(y);
    vorb_fogread &r = f.reader;
    for (double *v : {&f.bw_decay, &f.tex_cos2, &f.atten_cos2, &f.amp, &f.tex_y1, &f.tex_y2,
                      &f.atten_y1, &f.atten_y2, &r.vs_inv, &r.prev_pos, &r.vs8, &r.frames_per_ms,
                      &r.pos_ms, &r.pos_step_ms, &r.lp_a, &r.lp_am1, &r.lp_k})
        settle(*v);
}

inline void expect_alike(const waves &heard, const waves &expected, bool same(double, double),
                         const char *what)
{
    for (size_t k = 0; k < expected.size(); ++k)
        for (size_t i = 0; i < expected[k].size(); ++i)
            ASSERT_TRUE(same(heard[k][i], expected[k][i]))
                << what << ' ' << k + 1 << ", sample " << i << ": " << heard[k][i] << ", not "
                << expected[k][i];
}

/// The list's own fields too: links, counts, who is first.
inline void expect_alike(vorb_pool heard, vorb_pool expected)
{
    for (int k = 0; k < vorb_pool_size; ++k) {
        settle(heard.fogs[k]);
        settle(expected.fogs[k]);
        ASSERT_EQ(0, std::memcmp(&heard.fogs[k], &expected.fogs[k], sizeof(vorb_fog)))
            << "record of fog " << k;
    }
    ASSERT_EQ(0, std::memcmp(&heard, &expected, sizeof heard)) << "the lists";
}

inline void expect_alike(const state &heard, const state &expected)
{
    expect_alike(heard.outs, expected.outs, alike, "outlet");
    expect_alike(heard.scratch, expected.scratch, alike_inside, "scratch");
    expect_alike(heard.pool, expected.pool);
    ASSERT_EQ(heard.rows, expected.rows);
}
