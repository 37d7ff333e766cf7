// Birth and death of an instance: its records, and what it asks of the host in which order.
#include "host_function.h"
#include "session.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace {

std::vector<std::string> calls; // host functions that make or free something, in order

} // namespace

// These stand in front of the host's own, so that a test sees who is called when.
void *object_alloc(t_class *c)
{
    calls.push_back("object_alloc");
    return host_function<decltype(object_alloc)>("object_alloc")(c);
}

void z_dsp_setup(t_pxobject *x, long n)
{
    calls.push_back("z_dsp_setup " + std::to_string(n));
    host_function<decltype(z_dsp_setup)>("z_dsp_setup")(x, n);
}

void z_dsp_free(t_pxobject *x)
{
    calls.push_back("z_dsp_free");
    host_function<decltype(z_dsp_free)>("z_dsp_free")(x);
}

t_ptr sysmem_newptr(t_ptr_size size)
{
    calls.push_back("sysmem_newptr " + std::to_string(size));
    return host_function<decltype(sysmem_newptr)>("sysmem_newptr")(size);
}

void sysmem_freeptr(void *memory)
{
    calls.push_back("sysmem_freeptr");
    host_function<decltype(sysmem_freeptr)>("sysmem_freeptr")(memory);
}

void *defer(void *x, method f, t_symbol *s, short argc, t_atom *argv)
{
    calls.push_back(std::string("defer ") + s->s_name);
    return host_function<decltype(defer)>("defer")(x, f, s, argc, argv);
}

void *intout(void *x)
{
    calls.push_back("intout");
    return host_function<decltype(intout)>("intout")(x);
}

static long inlet_of_surroundings = 0; // what a host in the midst of another message says

long proxy_getinlet(t_object *) { return inlet_of_surroundings; }

void *outlet_new(void *x, const char *type)
{
    calls.push_back(std::string("outlet_new ") + type);
    return host_function<decltype(outlet_new)>("outlet_new")(x, type);
}

namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;
using ::testing::StartsWith;

class birth : public session {};

// ---- Records ------------------------------------------------------------------------------------

TEST_F(birth, the_records_hold_their_fields_in_the_fixed_order)
{
    // Bytes from the field before: every field has eight, but the arrays of ten have eighty.
#define AFTER(field, previous) (offsetof(inputs, field) - offsetof(inputs, previous))
    const size_t steps[] = {AFTER(bufref, table),
                            AFTER(offset, bufref),
                            AFTER(trans, offset),
                            AFTER(bw, trans),
                            AFTER(amps, bw),
                            AFTER(gain, amps) / 10,
                            AFTER(tex, gain),
                            AFTER(debatt, tex),
                            AFTER(atten, debatt),
                            AFTER(lp1, atten),
                            AFTER(lp1m, lp1),
                            AFTER(lp2, lp1m),
                            AFTER(debatt_all, lp2),
                            AFTER(changed, debatt_all),
                            AFTER(sig_f0, changed),
                            AFTER(sig_offset, sig_f0),
                            AFTER(autoenv, sig_offset),
                            AFTER(autoenv_max, autoenv),
                            AFTER(limit_low, autoenv_max),
                            AFTER(limit_high, limit_low),
                            AFTER(channels, limit_high),
                            AFTER(bw_pi, channels),
                            AFTER(tex_w, bw_pi),
                            AFTER(atten_w, tex_w),
                            AFTER(bw_grow, atten_w),
                            AFTER(tex_step, bw_grow),
                            AFTER(atten_step, tex_step),
                            AFTER(vs, atten_step),
                            AFTER(sr, vs),
                            AFTER(nyquist, sr),
                            AFTER(sp, nyquist),
                            AFTER(pi, sp),
                            AFTER(twopi, pi),
                            AFTER(pi_sp, twopi),
                            AFTER(vs_ms, pi_sp),
                            AFTER(latency_ms, vs_ms),
                            AFTER(fog_amps, latency_ms),
                            AFTER(bw_decay, fog_amps) / 10,
                            AFTER(tex_cos2, bw_decay),
                            AFTER(atten_cos2, tex_cos2),
                            AFTER(vs_inv, atten_cos2),
                            AFTER(vs8, vs_inv),
                            AFTER(phase, vs8)};
#undef AFTER
    EXPECT_THAT(steps, Each(8u));
    EXPECT_LT(offsetof(vorb_pool, free), offsetof(vorb_pool, used));
    EXPECT_LT(offsetof(vorb_pool, used), offsetof(vorb_pool, maxfogs));
    EXPECT_LT(offsetof(vorb_pool, maxfogs), offsetof(vorb_pool, nfree));
    static_assert(std::is_same_v<decltype(inputs::changed), k_shared<std::int64_t>>);
    static_assert(std::is_same_v<decltype(vorb::forced_inlet), k_shared<std::int64_t>>);
    const size_t of_vorb[] = {offsetof(vorb, header),     offsetof(vorb, forced_inlet),
                              offsetof(vorb, inputs),     offsetof(vorb, pool),
                              offsetof(vorb, intout),     offsetof(vorb, debug),
                              offsetof(vorb, bufref_list)};
    EXPECT_EQ(of_vorb[0], 0u);
    EXPECT_TRUE(std::is_sorted(std::begin(of_vorb), std::end(of_vorb)));
}

TEST_F(birth, init_sets_its_fields_and_leaves_the_others_alone)
{
    host::set_audio(48000, 32);
    inputs in;
    std::memset(static_cast<void *>(&in), 0x5A, sizeof in);
    inputs kept = in;
    vorb_init(&in);
    EXPECT_EQ(in.table, nullptr);
    EXPECT_EQ(in.offset, 0);
    EXPECT_EQ(in.trans, 1);
    EXPECT_EQ(in.bw, 0);
    EXPECT_THAT(in.amps, Each(0.0));
    EXPECT_EQ(in.gain, 1);
    EXPECT_EQ(in.tex, 0);
    EXPECT_EQ(in.debatt, 0);
    EXPECT_EQ(in.atten, 0);
    EXPECT_EQ(in.autoenv, 0);
    EXPECT_EQ(in.autoenv_max, 0);
    EXPECT_EQ(in.changed, 1);
    EXPECT_EQ(in.vs, 32);
    EXPECT_EQ(in.sr, 48000);
    EXPECT_EQ(in.nyquist, 24000);
    EXPECT_EQ(in.sp, 1.0 / 48000);
    EXPECT_EQ(in.pi, 3.14159265358979323846);
    EXPECT_EQ(in.twopi, 6.28318530717958647692);
    EXPECT_EQ(in.pi_sp, 3.14159265358979323846 * (1.0 / 48000));
    EXPECT_EQ(in.latency_ms, 76 * (1000 * (1.0 / 48000)));
    EXPECT_EQ(in.vs_ms, 32.0 / 48000 * 1000);
    EXPECT_EQ(in.phase, 0);

    for (auto &amp : kept.amps) amp = 0;
    // The rest is not its own: with its fields taken over, the record is as it was.
    kept.table = in.table;
    kept.offset = in.offset;
    kept.trans = in.trans;
    kept.bw = in.bw;
    kept.gain = in.gain;
    kept.tex = in.tex;
    kept.debatt = in.debatt;
    kept.atten = in.atten;
    kept.autoenv = in.autoenv;
    kept.autoenv_max = in.autoenv_max;
    kept.changed = in.changed;
    kept.vs = in.vs;
    kept.sr = in.sr;
    kept.nyquist = in.nyquist;
    kept.sp = in.sp;
    kept.pi = in.pi;
    kept.twopi = in.twopi;
    kept.pi_sp = in.pi_sp;
    kept.latency_ms = in.latency_ms;
    kept.vs_ms = in.vs_ms;
    kept.phase = in.phase;
    EXPECT_EQ(std::memcmp(&in, &kept, sizeof in), 0);
}

TEST_F(birth, pi_over_the_rate_is_a_product)
{
    host::set_audio(9600, 64);
    inputs in{};
    vorb_init(&in);
    EXPECT_EQ(in.pi_sp, in.pi * (1.0 / 9600));
    EXPECT_NE(in.pi_sp, in.pi / 9600);
}

TEST_F(birth, the_rate_is_the_host_s_single_precision_one)
{
    host::set_audio(47952.047952047955, 64);
    const vorb *x = create();
    EXPECT_EQ(x->inputs.sr, double(47952.047952047955f));
    EXPECT_NE(x->inputs.sr, 47952.047952047955);
    EXPECT_EQ(k_get_srate(), double(47952.047952047955f));
    EXPECT_EQ(k_get_vs(), 64);
}

// ---- What the host sees -------------------------------------------------------------------------

TEST_F(birth, the_host_is_asked_in_a_fixed_order)
{
    create(); // so that the table exists
    calls.clear();
    create("4 voice");
    EXPECT_THAT(calls, ElementsAre("object_alloc", "z_dsp_setup 9", "defer voice", "intout",
                                   "outlet_new signal", "outlet_new signal", "outlet_new signal",
                                   "outlet_new signal", StartsWith("sysmem_newptr")));
}

TEST_F(birth, each_layout_has_nine_inlets_and_its_outlets_with_the_integer_rightmost)
{
    for (const int channels : layouts) {
        SCOPED_TRACE(channels);
        vorb *x = create(std::to_string(channels) + " sample1 33");
        EXPECT_EQ(host::inlets(object(x)), 9);
        std::vector<std::string> expected(static_cast<size_t>(channels), "signal");
        expected.push_back("int");
        EXPECT_THAT(host::outlets(object(x)), ElementsAreArray(expected));
        send(x, 0, "freefogs");
        const std::vector<host::number> told = host::take_numbers();
        ASSERT_EQ(told.size(), 1u);
        EXPECT_EQ(told[0].outlet, channels);
        EXPECT_EQ(told[0].value, 33);
    }
}

TEST_F(birth, a_deferred_call_that_runs_at_once_finds_an_instance_it_can_use)
{
    mono_buffer("voice", 100, [](long) { return 1; });
    host::defer_at_once(true);
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 10 voice"));
    EXPECT_EQ(x->inputs.table, gensym("voice"));
    ASSERT_NE(x->inputs.bufref, nullptr);
    ASSERT_NE(x->bufref_list, nullptr);
    EXPECT_EQ(x->bufref_list->ref, x->inputs.bufref);
    EXPECT_EQ(host::outlets(object(x)).size(), 11u);
}

TEST_F(birth, until_the_deferred_call_there_is_no_table)
{
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 1 voice"));
    EXPECT_EQ(x->inputs.table, nullptr);
    EXPECT_EQ(x->inputs.bufref, nullptr);
    EXPECT_EQ(x->bufref_list, nullptr);
    host::drain();
    EXPECT_EQ(x->inputs.table, gensym("voice"));
}

TEST_F(birth, a_message_in_progress_does_not_divert_the_arguments)
{
    inlet_of_surroundings = 3;
    const vorb *x = create("2 voice 7");
    inlet_of_surroundings = 0;
    EXPECT_EQ(x->inputs.table, gensym("voice"));
    EXPECT_EQ(x->pool.maxfogs, 7);
    EXPECT_EQ(x->inputs.debatt_all, 1);
}

// ---- Short of memory ----------------------------------------------------------------------------

TEST_F(birth, without_memory_for_the_instance_there_is_none)
{
    create();
    host::fail_allocation(1);
    EXPECT_EQ(host::create("k.vorb~ 2"), nullptr);
    const std::vector<host::line> rows = host::take_console();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].text, "vorb_new: object_alloc failed");
    EXPECT_FALSE(rows[0].error);
    EXPECT_EQ(rows[0].object, nullptr);
}

TEST_F(birth, the_line_about_the_table_comes_before_those_about_the_arguments)
{
    create();
    k_sampfilt_row *const table = k_sampfilt_tab;
    k_sampfilt_tab = nullptr;
    create("3");
    EXPECT_THAT(born, ElementsAre("!k.vorb~: make samp tab",
                                  "!k.vorb~: illegal channel count (3), set to 1"));
    sysmem_freeptr(k_sampfilt_tab);
    k_sampfilt_tab = table;
}

// ---- Death --------------------------------------------------------------------------------------

TEST_F(birth, death_frees_the_reference_entries_and_then_leaves_the_signal_chain)
{
    vorb *x = create("1 one");
    send(x, 0, "set two");
    host::drain();
    host::start_audio();
    const double *scratch = temp1;
    const k_sampfilt_row *table = k_sampfilt_tab;
    calls.clear();
    host::destroy(object(x));
    EXPECT_THAT(calls, ElementsAre("sysmem_freeptr", "sysmem_freeptr", "z_dsp_free"));
    EXPECT_EQ(temp1, scratch);
    EXPECT_EQ(k_sampfilt_tab, table);
}

TEST_F(birth, a_new_instance_leaves_what_all_instances_share_as_it_was)
{
    vorb *first = create();
    host::start_audio();
    send(first, 0, "silent 1");
    vorb_error_count = 3;
    const double *scratch = temp1;
    create("10");
    EXPECT_EQ(vorb_error_silent, 1);
    EXPECT_EQ(vorb_error_count, 3);
    EXPECT_EQ(temp1, scratch);
}

} // namespace
