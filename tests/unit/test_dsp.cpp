// Audio start: the routine it adds, the constants it refreshes, and what it leaves as it was.
#include "session.h"

#include <dlfcn.h>
#include <set>

namespace {

struct chain_call {
    std::string selector;
    void *object, *routine, *flags, *user;
};

std::vector<chain_call> chain_calls;

} // namespace

// Stands in front of the host's own, so that a test sees what is added to the chain.
void *object_method_imp(void *x, void *sym, void *p1, void *p2, void *p3, void *p4, void *p5,
                        void *p6, void *p7, void *p8)
{
    chain_calls.push_back({static_cast<t_symbol *>(sym)->s_name, p1, p2, p3, p4});
    const auto host = dlsym(RTLD_NEXT, "object_method_imp");
    return reinterpret_cast<decltype(object_method_imp) *>(host)(x, sym, p1, p2, p3, p4, p5, p6, p7,
                                                                 p8);
}

namespace {

/// A fog of two seconds at full amplitude, no attack, no attenuation.
const std::string plain_fog = " sample1 100 0 1 0 1 0 2000 0";

class dsp : public session {
protected:
    static void start(double rate, long vector_size)
    {
        host::set_audio(rate, vector_size);
        host::start_audio();
    }
};

TEST_F(dsp, each_layout_adds_a_routine_of_its_own_to_the_chain)
{
    std::set<void *> routines;
    for (const int channels : layouts) {
        SCOPED_TRACE(channels);
        vorb *x = create(std::to_string(channels));
        chain_calls.clear();
        host::start_audio();
        ASSERT_EQ(chain_calls.size(), 1u);
        EXPECT_EQ(chain_calls[0].selector, "dsp_add64");
        EXPECT_EQ(chain_calls[0].object, x);
        EXPECT_EQ(chain_calls[0].flags, nullptr);
        EXPECT_EQ(chain_calls[0].user, nullptr);
        routines.insert(chain_calls[0].routine);
        host::destroy(object(x));
    }
    EXPECT_EQ(routines.size(), 5u);
    EXPECT_EQ(routines.count(nullptr), 0u);
}

TEST_F(dsp, an_unknown_layout_adds_nothing_yet_the_constants_are_refreshed)
{
    vorb *x = create("2");
    x->inputs.channels = 3;
    chain_calls.clear();
    start(48000, 128);
    EXPECT_THAT(chain_calls, IsEmpty());
    EXPECT_THAT(console(),
                ElementsAre("!k.vorb~: illegal internal channel count",
                            "!k.vorb~: signal vector size = 128 (required to be smaller or "
                            "equal to 64)"));
    EXPECT_EQ(x->inputs.sr, 48000);
    EXPECT_EQ(x->inputs.vs_inv, 1.0 / 128);
    EXPECT_EQ(temp_size, 128);
}

TEST_F(dsp, a_vector_size_above_64_is_reported_and_still_runs)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1" + plain_fog);
    for (const long size : {1L, 16L, 64L}) {
        start(44100, size);
        EXPECT_THAT(console(), IsEmpty()) << size;
    }
    for (const long size : {65L, 128L, 4096L}) {
        start(44100, size);
        EXPECT_THAT(console(),
                    ElementsAre("!k.vorb~: signal vector size = " + std::to_string(size) +
                                " (required to be smaller or equal to 64)"));
    }
    start(44100, 128);
    send(x, 0, "bang");
    host::run();
    EXPECT_NEAR(host::output(object(x), 0)[127], 1, 1e-6);
}

TEST_F(dsp, notes_cords_in_the_first_two_inlets_and_no_others)
{
    vorb *x = create();
    for (const int f0 : {0, 1, 3})
        for (const int offset : {0, 1, 2}) {
            host::connect(object(x), 0, f0);
            host::connect(object(x), 1, offset);
            host::start_audio();
            EXPECT_EQ(x->inputs.sig_f0, f0 > 0);
            EXPECT_EQ(x->inputs.sig_offset, offset > 0);
        }
    host::connect(object(x), 0, 0);
    host::connect(object(x), 1, 0);
    for (int inlet = 2; inlet < 9; ++inlet) host::connect(object(x), inlet);
    host::start_audio();
    EXPECT_EQ(x->inputs.sig_f0, 0);
    EXPECT_EQ(x->inputs.sig_offset, 0);
}

TEST_F(dsp, refreshes_the_constants_from_the_values_that_the_host_passes)
{
    vorb *x = create();
    inputs &in = x->inputs;
    const double rate = 48000 / 1.001; // no single-precision number
    in.pi = 3;
    in.twopi = 6; // neither is touched
    start(rate, 32);
    const double sp = 1 / rate;
    EXPECT_EQ(in.vs, 32);
    EXPECT_EQ(in.sr, rate);
    EXPECT_EQ(in.nyquist, 0.5 * rate);
    EXPECT_EQ(in.sp, sp);
    EXPECT_EQ(in.pi_sp, 3 * sp);
    EXPECT_EQ(in.vs_ms, 32 * sp * 1000);
    EXPECT_EQ(in.vs8, 256);
    EXPECT_EQ(in.vs_inv, 1.0 / 32);
    EXPECT_EQ(in.latency_ms, 76 * sp * 1000);
    EXPECT_EQ(in.pi, 3);
    EXPECT_EQ(in.twopi, 6);
}

TEST_F(dsp, creation_and_audio_start_round_the_same_constants_differently)
{
    int latencies = 0, blocks = 0;
    for (const long size : {1L, 15L, 16L, 17L, 30L, 60L, 64L}) {
        host::set_audio(44100, size);
        const vorb *x = create();
        const double vs = double(size), sp = 1.0 / 44100;
        const double latency = x->inputs.latency_ms, block_ms = x->inputs.vs_ms;
        EXPECT_EQ(latency, (12 + 2 * vs) * (1000 * sp));
        EXPECT_EQ(block_ms, vs / 44100 * 1000);
        host::start_audio();
        EXPECT_EQ(x->inputs.latency_ms, (2 * vs + 12) * sp * 1000);
        EXPECT_EQ(x->inputs.vs_ms, vs * sp * 1000);
        latencies += x->inputs.latency_ms != latency;
        blocks += x->inputs.vs_ms != block_ms;
    }
    EXPECT_GT(latencies, 0);
    EXPECT_GT(blocks, 0);
}

TEST_F(dsp, a_restart_keeps_offset_phase_and_derived_values)
{
    vorb *x = create("1 sample1 5 20 1 100 1 5 50 5");
    inputs &in = x->inputs;
    start(44100, 64);
    send(x, 0, "bang");
    ASSERT_EQ(in.changed, 0);
    in.phase = 12345;
    const inputs before = in;
    start(96000, 32);
    EXPECT_EQ(in.changed, 0);
    EXPECT_EQ(in.offset, 140 * (1000 * (1.0 / 44100)) + 20); // the latency of its own time
    EXPECT_EQ(in.phase, 12345);
    const auto derived = [](const inputs &i) {
        return std::vector<double>{i.bw_pi,      i.tex_w,    i.atten_w,  i.bw_grow,   i.tex_step,
                                   i.atten_step, i.bw_decay, i.tex_cos2, i.atten_cos2};
    };
    EXPECT_EQ(derived(in), derived(before));

    // A fog of the new rate still decays at the old one, until a parameter changes.
    send(x, 0, "bang");
    EXPECT_DOUBLE_EQ(x->pool.used->bw_decay, std::exp(-M_PI * 100 / 44100));
    send(x, 0, "bw 100");
    send(x, 0, "bang");
    EXPECT_DOUBLE_EQ(x->pool.used->bw_decay, std::exp(-M_PI * 100 / 96000));
}

TEST_F(dsp, a_restart_leaves_sounding_fogs_with_what_they_began_with)
{
    vorb *x = create("1" + plain_fog);
    send(x, 0, "lp 0 3");
    start(44100, 64);
    send(x, 0, "bang");
    start(96000, 32);
    ASSERT_NE(x->pool.used, nullptr);
    const vorb_fogread &old = x->pool.used->reader;
    EXPECT_EQ(old.vs_inv, 1.0 / 64);
    EXPECT_EQ(old.vs8, 512);
    EXPECT_EQ(old.pos_step_ms, 64 * (1.0 / 44100) * 1000);
    EXPECT_DOUBLE_EQ(old.lp_k, std::pow(0.5, 3.0 / 44100));
    send(x, 0, "bang");
    EXPECT_EQ(x->pool.used->reader.vs_inv, 1.0 / 32);
    EXPECT_EQ(x->pool.used->reader.vs8, 256);
}

TEST_F(dsp, sounding_fogs_survive_any_change_of_vector_size)
{
    mono_buffer("sample1", 441000, [](long) { return 0.5; });
    for (const char *transposition : {"1", "7.5", "0.01"}) {
        vorb *x = create(std::string("1 sample1 5 500 ") + transposition + " 0 1 0 2000 0");
        for (const long size : {16L, 1024L, 1L, 4096L, 64L, 5000L}) {
            start(44100, size);
            send(x, 0, "bang");
            host::run();
            for (long i = 0; i < size; ++i)
                ASSERT_TRUE(std::isfinite(host::output(object(x), 0)[i]));
        }
        host::run(8192); // more frames than announced
        host::destroy(object(x));
    }
}

} // namespace
