// The readers of samples of 1, 2 and 4 channels: bit for bit as one written the slow way.
#include "slow_reader.h"

#include <map>
#include <utility>

namespace {

using whole_fog = reading;

/// Heads in a sample of some channels.
class random_heads : public reading, public ::testing::WithParamInterface<size_t> {
protected:
    /// Some blocks of a head with random settings. `told` is the block size it was told.
    void travel(size_t n, double told)
    {
        vorb_fogread r = head(0, 0, told);
        const double length = static_cast<double>(samples.size() / GetParam());
        const double speed = any({0.0, uniform(-1, 1), uniform(-8.5, 8.5), 1.0, 8.0, -8.0});
        r.frames_per_ms = any({44.1, 48.0, 1.0, 8.0, 192.0, uniform(0.01, 100)});
        r.prev_pos = any({uniform(-5, length + 5), std::floor(uniform(0, 40)), uniform(0, 2)});
        r.pos_ms = (r.prev_pos + speed * told) / r.frames_per_ms;
        r.pos_step_ms = speed * told / r.frames_per_ms;
        r.lp_a = any({1.0, uniform(0.001, 1)});
        r.lp_am1 = any({r.lp_a - 1, static_cast<double>(static_cast<float>(r.lp_a - 1))});
        r.lp_k = any({1.0, uniform(0.99, 1), std::pow(0.5, 50 / 44100.0)});
        for (double &y : r.lp_y) y = uniform(-1, 1);
        slow_reader slow{samples, r, GetParam()};
        waves heard(GetParam(), wave(n, unwritten_mark)), expected = heard;
        for (int block = 0; block < 3 && !HasFailure(); ++block) {
            SCOPED_TRACE(::testing::Message()
                         << "n " << n << ", speed " << speed << ", " << length << " frames, from "
                         << r.prev_pos << ", block " << block);
            ++seen[compare(r, slow, heard, expected)];
            r.pos_ms += r.pos_step_ms;
            slow.head.pos_ms = r.pos_ms;
        }
    }

    void noise(long frames) { fill_with_noise(frames, 44100, static_cast<long>(GetParam())); }

    std::map<passage, int> seen;
};

TEST_P(random_heads, sound_bit_for_bit_as_the_slow_reader)
{
    for (int trial = 0; trial < 3000 && !HasFailure(); ++trial) {
        noise(any({0L, 1L, 6L, 7L, 8L, 15L, 100L, 700L, 5000L, 20000L}));
        const size_t n = any<size_t>({1, 2, 3, 5, 16, 48, 64, 64, 65, 100, 128, 512, 1024, 4096});
        travel(n, static_cast<double>(n));
    }
    for (const passage way :
         {passage::forward, passage::backward, passage::standing, passage::silent, passage::kept})
        EXPECT_GT(seen[way], 100) << "too few blocks of kind " << static_cast<int>(way);
}

TEST_P(random_heads, survive_blocks_of_another_size_than_they_were_told)
{
    for (int trial = 0; trial < 1500 && !HasFailure(); ++trial) {
        noise(any({12L, 100L, 700L, 5000L}));
        travel(any<size_t>({1, 16, 64, 1024, 4096}), any({1.0, 16.0, 64.0, 1024.0}));
    }
    EXPECT_GT(seen[passage::forward] + seen[passage::backward], 500);
}

INSTANTIATE_TEST_SUITE_P(channels, random_heads, ::testing::Values(1, 2, 4));

/// Fogs as the object starts them, their first block's sweep included, in a block size.
class whole_fogs : public reading, public ::testing::WithParamInterface<long> {};

TEST_P(whole_fogs, sound_bit_for_bit_as_the_slow_reader)
{
    const long n = GetParam();
    vorb *fogs = create("1 sample1 1 0 1 0 1 0 100000000 0 1");
    host::set_audio(44100, n);
    host::start_audio();
    for (int trial = 0; trial < 60 && !HasFailure(); ++trial) {
        fill_with_noise(30000, any({44100.0, 22050.0, 48000.0, 96000.0}));
        send(fogs, 0, "reset");
        send(fogs, 1, "float", {host::atom(any({0.0, uniform(0, 30), uniform(0, 700)}))});
        send(fogs, 2, "float",
             {host::atom(any({0.0, 1.0, uniform(0, 2), 8.0, 8.01, uniform(0, 12),
                              uniform(0, 510.0 / double(n)), 1e38, 1e-38}))});
        send(fogs, 0, "lp", {host::atom(uniform(-8, 0)), host::atom(any({0.0, uniform(0, 500)}))});
        send(fogs, 0, "bang");
        vorb_fogread &r = fogs->pool.used->reader;
        slow_reader slow{samples, r};
        wave expected(+temp1, temp1 + n); // what an unwritten block repeats
        for (int played = 0; played < 6 && !HasFailure(); ++played) {
            SCOPED_TRACE(::testing::Message() << "offset " << fogs->inputs.offset << " transp "
                                              << fogs->inputs.trans << " block " << played);
            const wave heard = block(fogs, 0, n);
            slow.read(expected);
            slow.head.pos_ms += slow.head.pos_step_ms;
            for (size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], expected[i]) << i;
            EXPECT_EQ(std::memcmp(&r, &slow.head, sizeof r), 0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(vector_sizes, whole_fogs, ::testing::Values(1, 7, 16, 64, 128, 512, 4096));

TEST_F(whole_fog, survives_a_change_of_vector_size)
{
    fill_with_noise(40000);
    for (const char *transposition : {"0.01", "1.", "7.9"})
        for (const auto &[before, after] :
             {std::pair<long, long>{16, 1024}, {1024, 16}, {1, 4096}}) {
            vorb *fogs = create("1 sample1 1 0 1 0 1 0 100000000 0 1");
            send(fogs, 2, transposition);
            host::set_audio(44100, before);
            host::start_audio();
            send(fogs, 0, "bang");
            for (int k = 0; k < 3; ++k) host::run();
            EXPECT_GT(fogs->pool.used->reader.prev_pos, 0);
            host::set_audio(44100, after);
            for (int k = 0; k < 3; ++k) {
                host::run();
                const double *out = host::output(object(fogs), 0);
                for (long i = 0; i < after; ++i) ASSERT_LT(std::fabs(out[i]), 2);
            }
            host::destroy(object(fogs));
        }
}

} // namespace
