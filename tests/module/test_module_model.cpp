// The engine's output against the plain model, over random parameters. KVORB_SEED in the
// environment sets the seed.
#include "dice.h"
#include "fog_model.h"
#include "module_session.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>

namespace {

const std::uint64_t seed = chosen("KVORB_SEED", 20240229);

class plain_model : public module_session {
protected:
    void SetUp() override
    {
        module_session::SetUp();
        RecordProperty("seed", std::to_string(seed));
        std::cout << "seed " << seed << '\n';
    }

    static model::sample noise(dice &d, long frames, double rate, long channels = 1)
    {
        model::sample s{rate, {}, static_cast<std::size_t>(channels)};
        for (long i = 0; i < frames * channels; ++i) s.values.push_back(d.number(-1, 1));
        return s;
    }

    /// A channel count: mostly one that the layout can read.
    static long random_channels(dice &d, int layout)
    {
        if (d.chance(0.1)) return d.one_of<long>({1, 2, 3, 4, 5});
        if (d.chance(0.4) || layout == 1 || layout == 10) return 1;
        return layout == 6 ? 4 : 2;
    }

    static void put(const model::sample &s)
    {
        host::set_buffer("sample1", static_cast<long>(s.channels), s.rate, s.values);
    }

    static model::stage random_stage(dice &d)
    {
        const double rate =
            d.chance(0.5) ? d.one_of<double>({22050, 44100, 48000, 96000, 192000, 48000 / 1.001})
                          : d.between(22050, 192000);
        return {rate, d.one_of<long>({1, 16, 64, 128, 256})};
    }

    /// An instance of the scene's layout and pool whose buffer is chosen.
    t_object *instance(const model::scene &s)
    {
        host::unload();
        host::set_audio(s.host.rate, s.host.vector);
        silence_scratch();
        t_object *x = create(std::to_string(s.layout) + " sample1 " + std::to_string(s.maxfogs));
        if (!s.f0.empty()) host::connect(x, 0);
        if (!s.offset_ms.empty()) host::connect(x, 1);
        host::start_audio();
        return x;
    }

    /// Gives the instance random parameters and the model the same.
    static model::voice random_voice(dice &d, const model::stage &stage, t_object *x)
    {
        const auto tell = [x](int inlet, const char *selector, std::vector<float> values) {
            host::atoms atoms;
            for (const float v : values) atoms.push_back(host::atom(static_cast<double>(v)));
            host::send(x, inlet, selector, atoms);
        };
        model::voice v;
        const float offset = d.number(0, d.one_of<double>({5, 60, 400}));
        if (d.chance(0.5)) {
            tell(1, "float", {offset});
            v.position_ms = model::position_of_number(stage, offset);
        } else {
            tell(0, "offset", {offset});
            v.position_ms = model::position_of_message(stage, offset);
        }
        const float transposition = d.chance(0.1) ? d.one_of<float>({0, 1, 9}) : d.number(0, 3);
        tell(2, "float", {transposition});
        v.transposition = static_cast<double>(transposition);
        const float bandwidth = d.chance(0.2) ? 0 : d.number(0, 300);
        tell(0, "bw", {bandwidth});
        v.bandwidth_hz = static_cast<double>(bandwidth);

        // Short phases drift so little that nothing else can hide in the tolerance.
        const double longest = d.one_of<double>({1, 5, 30});
        const auto random_ms = [&] { return d.chance(0.15) ? 0 : d.number(0, longest); };
        const float tex = random_ms(), debatt = random_ms(), atten = random_ms();
        tell(5, "float", {tex});
        v.tex_s = model::seconds(tex);
        v.debatt_all = d.chance(0.2); // what a new instance has
        if (!v.debatt_all) {
            tell(0, "debatt", {debatt});
            v.debatt_s = model::seconds(debatt);
        }
        tell(7, "float", {atten});
        v.atten_s = model::seconds(atten);

        if (d.chance(0.5)) {
            const float lowpass = d.number(0.3, 1);
            tell(8, "float", {lowpass});
            v.lowpass = model::lowpass_of_number(lowpass);
            v.rest = 1 - v.lowpass;
        } else {
            const float exponent = d.number(-6, 0), closing = d.number(0, 40);
            tell(0, "lp", {exponent, closing});
            v.lowpass = model::lowpass_of_message(static_cast<double>(exponent));
            v.rest = model::rest_of_message(static_cast<double>(exponent));
            v.closing_hz = static_cast<double>(closing);
        }
        std::vector<float> gains;
        for (double &g : v.gains) {
            gains.push_back(d.number(-1.5, 1.5));
            g = static_cast<double>(gains.back());
        }
        tell(0, "list", gains);
        return v;
    }

    /// Plays the scene and compares outlets and free fogs; `before` follows the buffer's fate.
    void compare(t_object *x, const model::scene &s,
                 const std::function<void(long block)> &before = {})
    {
        const model::performance expected = model::perform(s);
        const auto n = static_cast<std::size_t>(s.host.vector);
        std::vector<long> free;
        const std::vector<signal> out = play(x, s.blocks, s.host.vector, [&](long block) {
            if (block > 0) free.push_back(ask(x, "freefogs"));
            if (before) before(block);
            const std::size_t at = static_cast<std::size_t>(block) * n;
            if (!s.f0.empty()) std::copy_n(&s.f0[at], n, host::input(x, 0));
            if (!s.offset_ms.empty()) std::copy_n(&s.offset_ms[at], n, host::input(x, 1));
        });
        free.push_back(ask(x, "freefogs"));

        ASSERT_EQ(out.size(), expected.outlets.size());
        double peak = 0;
        for (std::size_t o = 0; o < out.size(); ++o)
            for (std::size_t i = 0; i < out[o].size(); ++i) {
                ASSERT_NEAR(out[o][i], expected.outlets[o][i], expected.tolerance)
                    << "outlet " << o << " frame " << i;
                peak = std::max(peak, std::abs(out[o][i]));
            }
        EXPECT_EQ(free, expected.free);
        for (std::size_t k = 0; k < reads.size(); ++k) reads[k] += expected.reads[k];
        of_several += expected.of_several;
        heard += peak > 1e-3 ? 1 : 0;
        fogs += expected.fogs;
        refused += expected.refused;
    }

    std::array<long, 4> reads{}; // by model::reading, over all scenes
    long of_several = 0, heard = 0, fogs = 0, refused = 0;
};

std::string text(int set, const model::scene &s)
{
    std::ostringstream to;
    to << "set " << set << ": layout " << s.layout << " rate " << s.host.rate << " vector "
       << s.host.vector << " position " << s.parameters.position_ms << " transposition "
       << s.parameters.transposition;
    return to.str();
}

TEST_F(plain_model, single_fogs_agree_over_random_parameters)
{
    dice d(seed);
    for (int set = 0; set < 400; ++set) {
        model::scene s;
        s.host = random_stage(d);
        s.layout = d.one_of<int>({1, 2, 4, 6, 10});
        const model::sample sound = noise(
            d, d.index(30000) + 10, d.one_of<double>({450, 450, 8000, 44100, 48000, s.host.rate}),
            random_channels(d, s.layout));
        s.buffer = [&](long) { return &sound; };
        t_object *x = instance(s);
        put(sound);
        s.parameters = random_voice(d, s.host, x);
        const float start = d.chance(0.3) ? 0 : d.number(0, 12);
        s.starts = {model::start_of_number(s.host, 0, start)};
        s.blocks = static_cast<long>(0.12 * s.host.rate / static_cast<double>(s.host.vector)) + 3;
        SCOPED_TRACE(text(set, s));
        host::send(x, 0, "float", {host::atom(static_cast<double>(start))});
        compare(x, s);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(heard, 200);
    EXPECT_GT(of_several, 1000);
    for (const long count : reads) EXPECT_GT(count, 5); // silent, stale, forward, backward
}

TEST_F(plain_model, sung_fogs_agree_under_random_f0_and_offset_signals)
{
    dice d(seed + 1);
    for (int set = 0; set < 60; ++set) {
        model::scene s;
        s.host = random_stage(d);
        s.layout = d.one_of<int>({1, 2, 4, 6, 10});
        s.maxfogs = d.one_of<long>({1, 2, 5, 20, 100});
        s.blocks = static_cast<long>(0.15 * s.host.rate / static_cast<double>(s.host.vector)) + 1;
        const auto frames = static_cast<std::size_t>(s.blocks * s.host.vector);
        const model::sample sound =
            noise(d, 20000, d.one_of<double>({22050, 44100, 96000}), random_channels(d, s.layout));
        s.buffer = [&](long) { return &sound; };
        const double low = d.between(-600, 600), high = d.between(-600, 600);
        for (std::size_t i = 0; i < frames; ++i)
            s.f0.push_back(low +
                           (high - low) * static_cast<double>(i) / static_cast<double>(frames));
        for (std::size_t i = frames / 3; i < frames / 3 + 200; ++i)
            s.f0[i] = i % 2 ? 0 : s.host.rate; // neither moves the phase
        const double from = d.between(0, 40), slope = d.between(-0.002, 0.002);
        if (d.chance(0.6))
            for (std::size_t i = 0; i < frames; ++i)
                s.offset_ms.push_back(from + slope * static_cast<double>(i));
        t_object *x = instance(s);
        put(sound);
        s.parameters = random_voice(d, s.host, x);
        if (d.chance(0.3)) {
            const float periods = d.number(0.2, 3), most = d.chance(0.5) ? 0 : d.number(1, 10);
            s.autoenv = static_cast<double>(periods);
            s.autoenv_max_s = model::seconds(most);
            host::send(x, 0, "autoenv",
                       {host::atom(s.autoenv), host::atom(static_cast<double>(most))});
        }
        SCOPED_TRACE(text(set, s));
        compare(x, s);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(heard, 40);
    EXPECT_GT(of_several, 1000);
    EXPECT_GT(fogs, 500);
    EXPECT_GT(refused, 100);
}

TEST_F(plain_model, fogs_agree_while_their_buffer_comes_goes_and_changes)
{
    dice d(seed + 2);
    for (int set = 0; set < 60; ++set) {
        model::scene s;
        s.host = {d.one_of<double>({44100, 48000}), d.one_of<long>({16, 64})};
        s.layout = d.one_of<int>({1, 2, 4, 6, 10});
        s.maxfogs = 6;
        s.blocks = 150;
        const auto channels = [&] { return random_channels(d, s.layout); };
        const std::vector<model::sample> sounds = {noise(d, 9000, 44100, channels()),
                                                   noise(d, 4000, 22050, channels()),
                                                   noise(d, 2000, 44100, channels())};
        std::vector<const model::sample *> fate; // per block
        const model::sample *now = d.chance(0.5) ? &sounds[0] : nullptr;
        for (long block = 0; block < s.blocks; ++block) {
            if (d.chance(0.06))
                now = d.chance(0.4) ? nullptr : &sounds[static_cast<std::size_t>(d.index(3))];
            fate.push_back(now);
        }
        s.buffer = [&](long block) { return fate[static_cast<std::size_t>(block)]; };
        s.f0.assign(static_cast<std::size_t>(s.blocks * s.host.vector), d.between(50, 400));
        t_object *x = instance(s);
        s.parameters = random_voice(d, s.host, x);
        SCOPED_TRACE(text(set, s));
        const model::sample *there = nullptr;
        compare(x, s, [&](long block) {
            const model::sample *wanted = fate[static_cast<std::size_t>(block)];
            if (wanted == there) return;
            if (wanted) put(*wanted);
            else host::delete_buffer("sample1");
            there = wanted;
        });
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(heard, 30);
    EXPECT_GT(of_several, 1000);
}

TEST_F(plain_model, creation_arguments_agree)
{
    dice d(seed + 3);
    for (int set = 0; set < 40; ++set) {
        model::scene s;
        s.host = random_stage(d);
        const model::sample sound = noise(d, 30000, 44100);
        s.buffer = [&](long) { return &sound; };
        host::unload();
        host::set_audio(s.host.rate, s.host.vector);
        silence_scratch();
        put(sound);
        const float offset = d.number(0, 50), lowpass = d.number(0.5, 1);
        s.parameters.position_ms = model::position_of_argument(s.host, offset);
        s.parameters.lowpass = model::lowpass_of_number(lowpass);
        s.parameters.rest = 1 - s.parameters.lowpass;
        s.parameters.transposition = 0.75;
        s.parameters.bandwidth_hz = 40;
        s.parameters.gains.fill(0.5);
        s.parameters.tex_s = model::seconds(5);
        s.parameters.debatt_s = model::seconds(20);
        s.parameters.atten_s = model::seconds(15);
        char box[120];
        std::snprintf(box, sizeof box, "1 sample1 5 %.9f 0.75 40. 0.5 5 20 15. %.9f",
                      static_cast<double>(offset), static_cast<double>(lowpass));
        t_object *x = create(box);
        s.starts = {{0, 0, 0}};
        s.blocks = static_cast<long>(0.05 * s.host.rate / static_cast<double>(s.host.vector)) + 1;
        SCOPED_TRACE(text(set, s));
        host::start_audio();
        host::send(x, 0, "bang");
        compare(x, s);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(heard, 30);
}

// At 64000 Hz one frame is exactly 1/64 ms: phases of exactly one sample, fogs that start on or
// halfway between samples, and a way of exactly 512 frames per block.
TEST_F(plain_model, fogs_agree_at_the_exact_edges)
{
    dice d(seed + 4);
    const model::sample sound = noise(d, 20000, 64000);
    model::scene s;
    s.buffer = [&](long) { return &sound; };
    s.host = {64000, 64};
    s.blocks = 6;
    t_object *x = instance(s);
    put(sound);
    const float one = 0.015625F;
    for (const float transposition : {0.0F, 1.0F, 8.0F})
        for (const float tex : {0.0F, one, 1.0F})
            for (const float debatt : {0.0F, one, 2.0F})
                for (const float atten : {0.0F, one, 1.0F})
                    for (const float start : {0.0F, one / 2, one, 1.0F}) {
                        model::voice &v = s.parameters;
                        v.gains.fill(1);
                        v.position_ms = model::position_of_number(s.host, 0);
                        v.transposition = static_cast<double>(transposition);
                        v.tex_s = model::seconds(tex);
                        v.debatt_s = model::seconds(debatt);
                        v.atten_s = model::seconds(atten);
                        s.starts = {model::start_of_number(s.host, 0, start)};
                        const float numbers[] = {0, transposition, 0, 1, tex, debatt, atten, 1};
                        for (int inlet = 1; inlet <= 8; ++inlet)
                            host::send(x, inlet, "float",
                                       {host::atom(static_cast<double>(numbers[inlet - 1]))});
                        SCOPED_TRACE(text(static_cast<int>(fogs), s));
                        silence_scratch();
                        host::send(x, 0, "float", {host::atom(static_cast<double>(start))});
                        compare(x, s);
                        if (HasFatalFailure()) return;
                    }
    EXPECT_GT(reads[static_cast<std::size_t>(model::reading::stale)], 50);
}

} // namespace
