// Rendering one fog: the envelope sample by sample, and what each outlet of a layout gets.
#include "session.h"

#include <random>

namespace {

using outlets = std::vector<std::vector<double>>;

constexpr double pi = 3.14159265358979323846;

/// A fog's envelope by its definition. Phases and steps are radians, counts samples.
struct envelope {
    long delay, attack, sustain, attenuation;
    double attack_phase, attack_step, attenuation_phase, attenuation_step, amp, decay;

    /// Sample i after the start of the fog's first block.
    double at(long i) const
    {
        const long t = i - delay;
        if (t < 0 || t >= attack + sustain + attenuation) return 0;
        const double level = amp * std::pow(decay, double(t + 1));
        if (t < attack) return level * 0.5 * (1 - std::cos(attack_phase + attack_step * double(t)));
        const long u = t - attack - sustain;
        if (u < 0) return level;
        return level * 0.5 * (1 + std::cos(attenuation_phase + attenuation_step * double(u)));
    }
};

constexpr envelope plain = {0, 0, 1000, 0, 0, 0, 0, 0, 1, 1};

class mix : public session {
protected:
    void SetUp() override
    {
        session::SetUp();
        mono_buffer("sample1", 1000, [](long) { return 1; });
        x = create();
        host::start_audio();
    }

    /// A fog of this envelope over a source that is 1 everywhere, with gains 1, 2, ... 10.
    vorb_fog make(const envelope &e) const
    {
        vorb_fog fog{};
        for (int k = 0; k < vorb_slots; ++k) fog.gains[k] = k + 1;
        fog.delay = e.delay;
        fog.tex_count = e.attack;
        fog.sustain = e.sustain;
        fog.atten_count = e.attenuation;
        fog.amp = e.amp;
        fog.bw_decay = e.decay;
        fog.tex_cos2 = 2 * std::cos(e.attack_step);
        fog.tex_y1 = 0.5 * std::cos(pi - e.attack_step + e.attack_phase);
        fog.tex_y2 = 0.5 * std::cos(pi - 2 * e.attack_step + e.attack_phase);
        fog.atten_cos2 = 2 * std::cos(e.attenuation_step);
        fog.atten_y1 = 0.5 * std::cos(e.attenuation_phase - e.attenuation_step);
        fog.atten_y2 = 0.5 * std::cos(e.attenuation_phase - 2 * e.attenuation_step);
        vorb_fogread &r = fog.reader; // stands at a whole frame: row 0, exactly 1
        r.bufref = x->inputs.bufref;
        r.vs_inv = 1 / 64.0;
        r.vs8 = 512;
        r.prev_pos = r.pos_ms = 10;
        r.frames_per_ms = r.lp_a = r.lp_k = 1;
        return fog;
    }

    static std::int32_t render(vorb_fog &fog, outlets &out, long from, long n)
    {
        std::vector<double *> o;
        for (auto &vector : out) o.push_back(vector.data() + from);
        switch (o.size()) {
        case 1:
            return vorb_run_one1(&fog, o[0], n);
        case 2:
            return vorb_run_one2(&fog, o[0], o[1], n);
        case 4:
            return vorb_run_one4(&fog, o[0], o[1], o[2], o[3], n);
        case 6:
            return vorb_run_one6(&fog, o[0], o[1], o[2], o[3], o[4], o[5], n);
        default:
            return vorb_run_one10(&fog, o[0], o[1], o[2], o[3], o[4], o[5], o[6], o[7], o[8], o[9],
                                  n);
        }
    }

    static outlets silence(size_t layout, long n)
    {
        return outlets(layout, std::vector<double>(static_cast<size_t>(n)));
    }

    vorb *x = nullptr;
};

// ---- Layouts ------------------------------------------------------------------------------------

struct layout_gains {
    size_t layout;
    std::vector<double> gains; // of each outlet, for slots that hold 1 to 10
};

const layout_gains gains_of_layouts[] = {{1, {1}}, // none at all
                                         {2, {1, 2}},
                                         {4, {1, 2, 3, 4}}, // not the aux slots
                                         {6, {1, 2, 3, 4, 9, 10}},
                                         {10, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}};

TEST_F(mix, each_outlet_gets_the_source_times_its_slot)
{
    envelope e = plain;
    e.amp = 0.5;
    for (const layout_gains &row : gains_of_layouts) {
        SCOPED_TRACE(row.layout);
        vorb_fog fog = make(e);
        outlets out = silence(row.layout, 64);
        EXPECT_EQ(render(fog, out, 0, 64), 1);
        for (size_t k = 0; k < row.layout; ++k)
            EXPECT_THAT(out[k], ::testing::Each(0.5 * row.gains[k])) << "outlet " << k;
    }
}

TEST_F(mix, the_single_outlet_has_no_gain)
{
    vorb_fog fog = make(plain);
    fog.gains[0] = 1e9;
    outlets out = silence(1, 64);
    render(fog, out, 0, 64);
    EXPECT_THAT(out[0], ::testing::Each(1.0));
}

TEST_F(mix, a_fog_adds_to_what_is_there)
{
    for (const layout_gains &row : gains_of_layouts) {
        vorb_fog fog = make(plain);
        outlets out(row.layout, std::vector<double>(64, 100));
        render(fog, out, 0, 64);
        for (size_t k = 0; k < row.layout; ++k)
            EXPECT_THAT(out[k], ::testing::Each(100 + row.gains[k]));
    }
}

TEST_F(mix, the_source_is_what_the_sample_holds)
{
    mono_buffer("sample1", 1000, [](long i) { return i * i % 17; });
    vorb_fog fog = make(plain);
    fog.reader.pos_ms = 74; // a frame a sample
    outlets out = silence(6, 64);
    render(fog, out, 0, 64);
    for (long i = 0; i < 64; ++i)
        for (size_t k = 0; k < 6; ++k)
            EXPECT_EQ(out[k][size_t(i)], (11 + i) * (11 + i) % 17 * gains_of_layouts[3].gains[k]);
}

// ---- Envelope -----------------------------------------------------------------------------------

TEST_F(mix, every_layout_follows_the_envelope_through_blocks_of_any_size)
{
    std::mt19937 random(7);
    const auto upto = [&](unsigned n) { return static_cast<long>(random() % (n + 1)); };
    const auto part = [&] { return double(random()) / 4294967296.0; };
    for (int trial = 0; trial < 300; ++trial) {
        const layout_gains &row = gains_of_layouts[trial % 5];
        const envelope e = {upto(3) * upto(50),
                            upto(2) * upto(120),
                            upto(2) * upto(200),
                            upto(2) * upto(120),
                            part(),
                            0.01 + part(),
                            part(),
                            0.01 + part(),
                            part(),
                            trial % 3 ? 0.95 + 0.05 * part() : 1};
        const long end = e.delay + e.attack + e.sustain + e.attenuation;
        SCOPED_TRACE(::testing::Message()
                     << "trial " << trial << ", " << e.delay << " + " << e.attack << " + "
                     << e.sustain << " + " << e.attenuation << " samples");
        vorb_fog fog = make(e);
        outlets out = silence(row.layout, 1000);
        bool sounds = true;
        for (long from = 0, n; from < 900 && sounds; from += n) {
            n = 1 + upto(63);
            sounds = render(fog, out, from, n) != 0;
            EXPECT_EQ(sounds, from + n < end && end > e.delay);
        }
        const bool lived = end > e.delay; // else its first block is its last
        for (long i = 0; i < 900; ++i)
            for (size_t k = 0; k < row.layout; ++k)
                ASSERT_NEAR(out[k][size_t(i)], lived ? e.at(i) * row.gains[k] : 0, 1e-10) << i;
    }
}

TEST_F(mix, the_attack_runs_into_the_sustain_within_a_block)
{
    envelope e = plain;
    e.attack = 21; // samples 0 to 20
    e.attack_step = pi / 40;
    vorb_fog fog = make(e);
    outlets out = silence(1, 64);
    EXPECT_EQ(render(fog, out, 0, 64), 1);
    EXPECT_NEAR(out[0][20], 0.5 * (1 - std::cos(pi / 2)), 1e-12);
    EXPECT_EQ(out[0][21], 1.0);
    EXPECT_EQ(fog.tex_count, 0);
    EXPECT_EQ(fog.sustain, 1000 - 43);
}

TEST_F(mix, the_decay_comes_before_the_first_sample_and_runs_through_all_phases)
{
    const envelope e = {0, 2, 2, 2, pi, 0, 0, 0, 1, 0.5}; // both curves stand at 1
    vorb_fog fog = make(e);
    outlets out = silence(1, 8);
    EXPECT_EQ(render(fog, out, 0, 8), 0);
    EXPECT_THAT(out[0], ElementsAre(0.5, 0.25, 0.125, 0.0625, 0.03125, 0.015625, 0, 0));
    EXPECT_EQ(fog.amp, 0.015625);
}

TEST_F(mix, the_rest_of_the_last_block_is_left_as_it_is)
{
    envelope e = plain;
    e.sustain = 10;
    e.attenuation = 10;
    e.attenuation_step = pi / 10;
    vorb_fog fog = make(e);
    outlets out(2, std::vector<double>(64, 7));
    EXPECT_EQ(render(fog, out, 0, 64), 0);
    EXPECT_NE(out[0][19], 7);
    for (size_t i = 20; i < 64; ++i) EXPECT_EQ(out[0][i], 7) << i;
}

TEST_F(mix, a_fog_sounds_on_while_any_count_is_left)
{
    struct row {
        long attack, sustain, attenuation;
        std::int32_t sounds;
    };
    for (const row &r : {row{64, 0, 0, 0},
                         {65, 0, 0, 1},
                         {0, 64, 0, 0},
                         {0, 65, 0, 1},
                         {0, 0, 64, 0},
                         {0, 0, 65, 1},
                         {20, 20, 24, 0},
                         {20, 20, 25, 1},
                         {0, 0, 0, 0}}) {
        envelope e = plain;
        e.attack = r.attack;
        e.sustain = r.sustain;
        e.attenuation = r.attenuation;
        for (const layout_gains &layout : gains_of_layouts) {
            vorb_fog fog = make(e);
            outlets out = silence(layout.layout, 64);
            EXPECT_EQ(render(fog, out, 0, 64), r.sounds)
                << r.attack << " " << r.sustain << " " << r.attenuation;
        }
    }
}

TEST_F(mix, an_attack_of_fewer_than_no_samples_is_none)
{
    envelope e = plain;
    e.attack = -5;
    e.sustain = 10;
    vorb_fog fog = make(e);
    outlets out = silence(1, 64);
    EXPECT_EQ(render(fog, out, 0, 64), 0);
    EXPECT_EQ(fog.tex_count, -5);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(out[0][i], i < 10 ? 1 : 0) << i;
}

// ---- Delay --------------------------------------------------------------------------------------

TEST_F(mix, a_delayed_fog_begins_inside_the_block)
{
    envelope e = plain;
    e.delay = 10;
    vorb_fog fog = make(e);
    fog.reader.pos_step_ms = 0.125;
    outlets out = silence(2, 64);
    render(fog, out, 0, 64);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(out[0][i], i < 10 ? 0.0 : 1.0) << i;
    EXPECT_EQ(fog.delay, 0);
    EXPECT_EQ(fog.sustain, 1000 - 54);
    EXPECT_EQ(fog.reader.pos_ms, 10.125); // a whole block's way all the same
}

TEST_F(mix, the_head_moves_on_in_blocks_that_the_fog_waits_through)
{
    envelope e = plain;
    e.delay = 150;
    vorb_fog fog = make(e);
    fog.reader.pos_step_ms = 8;
    outlets out = silence(1, 192);
    for (long block = 0; block < 3; ++block) {
        EXPECT_EQ(fog.delay, 150 - 64 * block);
        render(fog, out, 64 * block, 64);
        EXPECT_EQ(fog.reader.pos_ms, 10 + 8.0 * double(block + 1));
        EXPECT_EQ(fog.reader.prev_pos, 10 + 8.0 * double(block)); // read, then moved
    }
    for (size_t i = 0; i < 192; ++i) EXPECT_NEAR(out[0][i], i < 150 ? 0.0 : 1.0, 1e-6) << i;
}

TEST_F(mix, the_whole_block_is_read_however_little_sounds)
{
    envelope e = plain;
    e.delay = 60;
    e.sustain = 1;
    vorb_fog fog = make(e);
    std::fill_n(+temp1, 64, -5.0);
    outlets out = silence(1, 64);
    EXPECT_EQ(render(fog, out, 0, 64), 0);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(temp1[i], 1.0) << i;
    EXPECT_EQ(out[0][60], 1.0);
    EXPECT_EQ(out[0][61], 0.0);
}

TEST_F(mix, a_fog_of_three_zero_counts_ends_before_its_delay_is_over)
{
    envelope e = plain;
    e.delay = 100;
    e.sustain = 0;
    for (const layout_gains &row : gains_of_layouts) {
        vorb_fog fog = make(e);
        outlets out = silence(row.layout, 64);
        EXPECT_EQ(render(fog, out, 0, 64), 0);
        EXPECT_EQ(fog.delay, 36);
        EXPECT_EQ(out, silence(row.layout, 64));
    }
}

} // namespace
