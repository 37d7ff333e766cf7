// The object in a Pd: what must not end Pd, and that it plays on when things are well again.
#include "pd_layer.h"

#include <cmath>

using fake::player, fake::set_array;
using testing::Each;

TEST_F(pd_layer, memory_that_is_missing_at_any_moment_does_no_lasting_harm)
{
    set_array("a", 44100, 1);
    set_array("b", 44100, 1);
    const std::vector<vorb_pd::atom> arguments = box(4, 100);
    const vorb_pd::atom other = word("b"), one = num(1), many = num(100);
    bool failed = true;
    for (long k = 1; failed; ++k) {
        host::fail_allocation(k);
        vorb_pd::instance *x = vorb_pd::create(&failed, int(arguments.size()), arguments.data());
        if (x) {
            float left, block[10][64];
            float *outs[10];
            for (int c = 0; c < 10; ++c) outs[c] = block[c];
            const float *const ins[2] = {block[0], nullptr};
            vorb_pd::send(x, 0, "set", 1, &other, &left);
            vorb_pd::send(x, 0, "maxfogs", 1, &many, &left);
            vorb_pd::start(x, true, false, 44100, 4096);
            vorb_pd::start(x, true, false, 44100, 64);
            vorb_pd::send(x, 0, "bang", 0, nullptr, &left);
            std::fill_n(block[0], 64, 100.f);
            vorb_pd::run(x, ins, outs, 64);
        }
        failed = host::fail_allocation(0) == 0;
        if (x) vorb_pd::destroy(x);

        player well(box(1, 100));
        well.send("list", {one, one});
        well.send("bang");
        well.run();
        well.run();
        ASSERT_THAT(well.run(), Each(testing::FloatNear(1, 1e-6f))) << k;
    }
}

TEST_F(pd_layer, plays_on_after_numbers_of_any_size)
{
    set_array("a", 44100, 1);
    for (const double transposition : {0., -1., 1e-30, 1e6, 1e30, -1e30})
        for (const double offset : {0., 500., 1e30, -1e30}) {
            player x(box(2, 100));
            x.plug(true, true);
            x.send("transp", {num(transposition)});
            for (int i = 0; i < 20; ++i)
                for (const float v : x.run(3000, float(offset))) ASSERT_TRUE(std::isfinite(v));
            x.plug(false, false);
            x.send("reset");
            x.send("transp", {num(1)});
            x.send("offset", {num(100)});
            x.send("bang");
            x.run();
            x.run();
            ASSERT_THAT(x.run(), Each(testing::FloatNear(1, 1e-6f)))
                << transposition << ' ' << offset;
        }
}

TEST_F(pd_layer, a_signal_chain_of_any_blocks_and_rates_may_be_built_while_fogs_sound)
{
    set_array("a", 44100, 1);
    player x(box(10, 100)), longer(box(10, 100), 4096), odd(box(10, 100), 1);
    for (player *p : {&x, &longer, &odd}) {
        p->send("bang");
        for (const double rate : {44100., 1000., 192000., 0., 44100.}) {
            fake::now.rate = rate;
            p->plug(rate > 44100, false);
            for (int i = 0; i < 3; ++i)
                for (const float v : p->run(100)) ASSERT_TRUE(std::isfinite(v)) << rate;
        }
        p->send("reset");
        p->send("bang");
        for (int i = 0; i < 3; ++i) p->run();
        EXPECT_THAT(p->run(), Each(testing::FloatNear(1, 1e-6f)));
    }
}
