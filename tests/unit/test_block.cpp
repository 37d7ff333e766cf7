// The course of one block: phasor, silence, fogs.
#include "session.h"

#include <algorithm>
#include <limits>

namespace {

using ::testing::Each;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// A fog of two seconds at full amplitude, no attack, no attenuation.
const std::string plain_fog = " sample1 100 0 1 0 1 0 2000 0";

class one_block : public session {
protected:
    void feed(vorb *x, int inlet, double value)
    {
        host::connect(object(x), inlet);
        std::fill_n(host::input(object(x), inlet), 8192, value);
    }
};

TEST_F(one_block, without_fogs_every_outlet_is_silent)
{
    for (const int channels : layouts) {
        vorb *x = create(std::to_string(channels));
        for (int inlet = 0; inlet < 9; ++inlet) feed(x, inlet, inlet ? 7.5 : 0);
        host::run();
        for (int k = 0; k < channels; ++k) // outlets held garbage, or the inlets' signals
            EXPECT_THAT(block(x, k), Each(0.0)) << channels << " outlets, outlet " << k;
        host::destroy(object(x));
    }
}

TEST_F(one_block, a_fog_started_by_hand_sounds_at_every_outlet_of_its_layout)
{
    mono_buffer("sample1", 88200, [](long) { return 1; });
    for (const int channels : layouts) {
        vorb *x = create(std::to_string(channels) + plain_fog);
        host::start_audio();
        send(x, 0, "bang");
        host::run();
        for (int k = 0; k < channels; ++k) {
            EXPECT_NEAR(host::output(object(x), k)[0], 1, 1e-6) << channels << ' ' << k;
            EXPECT_NEAR(host::output(object(x), k)[63], 1, 1e-6) << channels << ' ' << k;
        }
        host::destroy(object(x));
    }
}

TEST_F(one_block, signals_that_share_memory_with_the_outlets_are_read_before_these_are_cleared)
{
    mono_buffer("sample1", 88200, [](long) { return 1; });
    for (const int channels : layouts) {
        SCOPED_TRACE(channels);
        vorb *x = create(std::to_string(channels) + plain_fog);
        feed(x, 0, 4410); // a wrap at samples 9, 19, ... 59
        feed(x, 1, 30);
        for (int i = 0; i < 64; ++i) host::input(object(x), 1)[i] = 100 + i;
        host::run();
        EXPECT_EQ(x->pool.nfree, 94);
        EXPECT_EQ(x->inputs.offset, 159);
        host::destroy(object(x));
    }
}

TEST_F(one_block, fogs_of_one_block_begin_at_their_samples)
{
    mono_buffer("sample1", 88200, [](long) { return 1; });
    vorb *x = create("1" + plain_fog);
    feed(x, 0, 882); // a period of 50 samples
    std::vector<double> out;
    for (int k = 0; k < 4; ++k)
        for (const double v : block(x)) out.push_back(v);
    for (size_t i = 0; i < out.size(); ++i) // one fog more at 49, 99, ...
        ASSERT_NEAR(out[i], double((i + 1) / 50), 1e-5) << i;
}

TEST_F(one_block, without_a_cord_at_the_left_inlet_the_phasor_stands)
{
    vorb *x = create("1" + plain_fog);
    feed(x, 0, 441);
    host::run();
    EXPECT_EQ(x->inputs.phase, 64 * 441);
    host::connect(object(x), 0, 0);
    for (int k = 0; k < 5; ++k) host::run();
    EXPECT_EQ(x->inputs.phase, 64 * 441);
    EXPECT_EQ(x->pool.used, nullptr);
    host::connect(object(x), 0);
    host::run();
    EXPECT_EQ(x->inputs.phase, 128 * 441 - 44100);
    ASSERT_NE(x->pool.used, nullptr);
    EXPECT_EQ(x->pool.used->delay, 0); // done within its block
}

TEST_F(one_block, an_offset_signal_alone_does_nothing_and_leaves_its_last_value_behind)
{
    vorb *x = create("1 sample1 100 20 1 0 1 0 2000 0");
    const double typed = x->inputs.offset;
    feed(x, 1, 333);
    host::run();
    send(x, 0, "bang");
    EXPECT_EQ(x->inputs.offset, typed);
    feed(x, 0, 4410);
    host::run();
    host::connect(object(x), 0, 0);
    host::connect(object(x), 1, 0);
    host::run();
    send(x, 0, "bang");
    EXPECT_EQ(x->inputs.offset, 333); // without latency
    EXPECT_NEAR(x->pool.used->reader.pos_ms, 333, 1e-9);
    send(x, 1, "20.");
    EXPECT_EQ(x->inputs.offset, x->inputs.latency_ms + 20);
}

TEST_F(one_block, an_offset_signal_that_is_no_number_starts_silent_fogs)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("1" + plain_fog);
    feed(x, 0, 4410);
    for (const double wild : {not_a_number, infinity, -infinity, 1e300}) {
        feed(x, 1, wild);
        EXPECT_THAT(block(x), Each(0.0)) << wild;
        EXPECT_LT(x->pool.nfree, 100);
        vorb_init_list(&x->pool);
    }
}

TEST_F(one_block, a_fog_started_before_audio_is_silent_for_life_unless_it_stands_still)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    for (const bool moves : {true, false}) {
        SCOPED_TRACE(moves);
        vorb *x = create(std::string("1 sample1 5 0 ") + (moves ? "1" : "0") + " 0 1 0 10 0");
        send(x, 0, "bang");
        EXPECT_EQ(x->pool.used->reader.vs_inv, 0);
        EXPECT_EQ(x->pool.used->reader.vs8, 0);
        host::start_audio();
        EXPECT_THAT(block(x), Each(0.0)); // its first block is a sweep
        EXPECT_EQ(x->pool.nfree, 4);
        const std::vector<double> second = block(x);
        for (const double v : second) ASSERT_NEAR(v, moves ? 0 : 1, 1e-6);
        for (int k = 2; k < 7; ++k) host::run(); // 441 samples in all
        EXPECT_EQ(x->pool.nfree, 5);
        host::destroy(object(x));
    }
}

TEST_F(one_block, one_test_message_tells_of_one_block)
{
    vorb *x = create("2");
    host::start_audio();
    send(x, 0, "test 1");
    host::run();
    EXPECT_THAT(console(), ElementsAre("ctl->inputs.sig_f0=0", "ctl->inputs.sig_offset=0"));
    EXPECT_EQ(x->debug, 0);
    feed(x, 1, 12.5);
    send(x, 0, "test 1");
    host::run();
    EXPECT_THAT(console(), ElementsAre("ctl->inputs.sig_f0=0", "ctl->inputs.sig_offset=1"));
    feed(x, 0, 441);
    send(x, 0, "test -5");
    host::run();
    EXPECT_THAT(
        console(),
        ElementsAre("ctl->inputs.sig_f0=1", "ctl->inputs.sig_offset=1",
                    "enter vorb_run_phasor, freq[0]=441.000000, offset[0]=12.500000, n=64"));
    host::run();
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(one_block, clearing_a_vector_touches_as_many_values_as_told)
{
    double v[] = {1, 2, 3, 4};
    vorb_clear(v + 1, 2);
    EXPECT_THAT(v, ElementsAre(1, 0, 0, 4));
    vorb_clear(v, 0);
    EXPECT_THAT(v, ElementsAre(1, 0, 0, 4));
}

} // namespace
