// The same fogs give the same bits on every platform. What the C library computes is left out:
// amplitudes, decays, curves and lowpasses are numbers thrown here, and all that is done with them
// from there on is plain arithmetic, which every processor and compiler has to round alike.
#include "dice.h"
#include "player_sets.h"
#include "session.h"

#include <cstring>
#include <map>

namespace {

/// A layout with a kind of sample that it takes, and a digest of what it plays.
struct rendering {
    long outlets, channels;
    std::uint64_t digest;
};

void PrintTo(const rendering &r, std::ostream *out) { *out << r.outlets << '/' << r.channels; }

constexpr rendering renderings[] = {
    {1, 1, 0x57DB43D1D0378C6B}, {2, 1, 0x3CD8250B0956F1DB},  {2, 2, 0x01D4775BD1D9E97E},
    {4, 1, 0x5A2FD86934A3CDA5}, {4, 2, 0x8A39A2E0084BB868},  {6, 1, 0x29023D074CFEE6DD},
    {6, 4, 0xE9E62B79D87D7495}, {10, 1, 0x605567F3409EF9D8},
};

constexpr std::int64_t block_size = 64;
constexpr int blocks = 10, fogs = 30;
constexpr long frames = 4000;

void throw_curve(dice &d, std::int64_t &count, double &cos2, double &last, double &before)
{
    count = d.index(200);
    cos2 = d.between(1.99, 2);
    last = d.between(-0.5, 0.5);
    before = last + d.between(-0.01, 0.01);
}

vorb_fog throw_fog(dice &d, t_buffer_ref *ref)
{
    vorb_fog f{};
    for (double &g : f.gains) g = d.between(-1.5, 1.5);
    f.bw_decay = d.between(0.999, 1);
    f.amp = d.between(0.1, 1.5);
    f.delay = d.index(100);
    f.sustain = d.index(400);
    throw_curve(d, f.tex_count, f.tex_cos2, f.tex_y1, f.tex_y2);
    throw_curve(d, f.atten_count, f.atten_cos2, f.atten_y1, f.atten_y2);
    vorb_fogread &r = f.reader;
    r.bufref = ref;
    r.vs_inv = 1 / double(block_size);
    r.vs8 = 8 * double(block_size);
    r.frames_per_ms = 44.1;
    r.pos_step_ms = d.between(-2, 3);
    r.pos_ms = d.between(20, 60);
    r.prev_pos = (r.pos_ms - r.pos_step_ms) * r.frames_per_ms;
    r.lp_a = d.between(0.1, 1);
    r.lp_am1 = r.lp_a - 1;
    r.lp_k = d.between(0.999, 1);
    for (double &y : r.lp_y) y = d.between(-1, 1);
    return f;
}

/// FNV-1a over the bits of every sample.
void digest(std::uint64_t &of, double sample)
{
    std::uint64_t bits;
    std::memcpy(&bits, &sample, sizeof bits);
    for (int byte = 0; byte < 8; ++byte) of = (of ^ (bits >> 8 * byte & 0xFF)) * 0x100000001B3;
}

class same_bits : public session, public ::testing::WithParamInterface<rendering> {
protected:
    /// A digest of what a pool of thrown fogs gives in some blocks.
    std::uint64_t play()
    {
        static const std::map<long, void (*)(inputs *, double **, std::int64_t)> mixers = {
            {1, vorb_run_all1},
            {2, vorb_run_all2},
            {4, vorb_run_all4},
            {6, vorb_run_all6},
            {10, vorb_run_all10}};
        const auto [outlets, channels, expected] = GetParam();
        dice d(1);
        std::vector<float> noise;
        for (long i = 0; i < frames * channels; ++i) noise.push_back(d.number(-1, 1));
        host::set_buffer("noise", channels, 44100, noise);
        vorb *x = create(std::to_string(outlets) + " noise 100");
        host::start_audio();

        vorb_pool &pool = x->pool;
        pool.nfree = pool.nfree - fogs;
        pool.used = pool.fogs;
        pool.free = &pool.fogs[fogs];
        for (int k = 0; k < fogs; ++k) {
            pool.fogs[k] = throw_fog(d, x->inputs.bufref);
            pool.fogs[k].next = k + 1 < fogs ? &pool.fogs[k + 1] : nullptr;
        }
        std::uint64_t sum = 0xCBF29CE484222325;
        for (int block = 0; block < blocks; ++block) {
            std::vector outs(static_cast<std::size_t>(outlets), std::vector<double>(block_size));
            std::vector<double *> to;
            for (auto &out : outs) to.push_back(out.data());
            mixers.at(outlets)(&x->inputs, to.data(), block_size);
            for (const auto &out : outs)
                for (const double v : out) digest(sum, v);
        }
        EXPECT_LT(pool.nfree, vorb_pool_size) << "all ended early";
        EXPECT_GT(pool.nfree, vorb_pool_size - fogs) << "none has ended";
        host::reset();
        return sum;
    }
};

TEST_P(same_bits, as_everywhere_else)
{
    for (const player_set &set : player_sets()) {
        const with_players these(set.players);
        EXPECT_EQ(play(), GetParam().digest) << "played by: " << set.name;
    }
}

INSTANTIATE_TEST_SUITE_P(layout, same_bits, ::testing::ValuesIn(renderings));

} // namespace
