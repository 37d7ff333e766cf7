// What a message says while a block is played is not lost.
#include "dice.h"
#include "together.h"

#include <functional>

namespace {

class last_word : public together {
protected:
    void SetUp() override
    {
        together::SetUp();
        mono_buffer("sample1", 20, [](long) { return 1; });
        x = create("2 sample1 100 0 1 0 1 0 0.1 0");
    }

    /// Lets audio play, while after each round of messages, between two blocks, `look` must find
    /// what the last of them said.
    template <class Look>
    void play_rounds(double f0, const char *selector, double high, Look look)
    {
        plug(x, 0, f0);
        host::start_audio();
        dice d(1);
        long lost = 0;
        const auto round = [&] {
            float v = 0;
            for (long k = d.index(8); k >= 0; --k) {
                v = d.number(high / 2, high);
                if (k == 0 && before) send(x, 0, before);
                send(x, 0, selector, {host::atom(double(v))});
            }
            const host::between_blocks quiet;
            lost += look() != v;
        };
        play(3000, round, [] { host::perform(); });
        EXPECT_EQ(lost, 0) << selector;
    }

    /// The same with a fog at nearly every sample. `taken` is what it has of what was said.
    void play_fogs(const char *selector, double high, std::function<double()> taken)
    {
        play_rounds(0.9 * 44100, selector, high, [&] {
            send(x, 0, "reset, bang"); // there is room for it
            return static_cast<float>(taken());
        });
    }

    vorb *x = nullptr;
    const char *before = nullptr; // what is said ahead of the last word
};

TEST_F(last_word, about_the_amplitude_is_heard)
{
    play_fogs("amp", 1, [this] { return x->pool.used->gains[0]; });
}

TEST_F(last_word, about_the_bandwidth_is_heard)
{
    play_fogs("bw", 500, [this] { return x->inputs.bw_pi / x->inputs.pi; });
}

TEST_F(last_word, about_the_attack_is_heard)
{
    play_fogs("tex", 0.5, [this] { return x->inputs.pi / x->inputs.tex_w * 1000; });
}

TEST_F(last_word, about_the_attenuation_is_heard)
{
    play_fogs("atten", 0.5, [this] { return x->inputs.pi / x->inputs.atten_w * 1000; });
}

TEST_F(last_word, about_the_duration_is_heard_by_fogs_that_followed_the_sample)
{
    before = "all";
    play_fogs("debatt", 0.5, [this] { return x->inputs.debatt * 1000; });
}

TEST_F(last_word, about_the_phase_outlasts_the_block)
{
    play_rounds(1e-30, "f0phase", 1,
                [this] { return static_cast<float>(x->inputs.phase / 44100); });
}

} // namespace
