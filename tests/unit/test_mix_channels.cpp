// Fogs of samples with several channels: what each outlet gets, and how a renderer is chosen in
// every block.
#include "channel_session.h"

#include <dlfcn.h>

namespace {

/// Answers to the next questions for a buffer's channel count; where null, the host answers.
const t_atom_long *answers = nullptr;

// Found before any audio runs, since looking it up may use the heap.
const auto host_count = reinterpret_cast<decltype(buffer_getchannelcount) *>(
    dlsym(RTLD_NEXT, "buffer_getchannelcount"));

} // namespace

// Stands in front of the host's own, so that a count can change between two questions.
t_atom_long buffer_getchannelcount(t_buffer_obj *b) { return answers ? *answers++ : host_count(b); }

namespace {

std::int32_t render(vorb_fog &fog, waves &out)
{
    const auto n = static_cast<std::int64_t>(out[0].size());
    std::vector<double *> o;
    for (wave &w : out) o.push_back(w.data());
    if (o.size() == 2) return vorb_run_one2s(&fog, o[0], o[1], n);
    if (o.size() == 4) return vorb_run_one4s(&fog, o[0], o[1], o[2], o[3], n);
    return vorb_run_one6q(&fog, o[0], o[1], o[2], o[3], o[4], o[5], n);
}

/// The renderer, a sample at a time: source and envelope in the order in which they are defined.
struct slow_renderer {
    const renderer &row;
    slow_reader reader;
    vorb_fog fog;
    waves scratch;

    std::int32_t render(waves &out)
    {
        reader.head = fog.reader;
        reader.read(scratch);
        fog.reader = reader.head;
        fog.reader.pos_ms += fog.reader.pos_step_ms;
        for (size_t i = 0; i < out[0].size(); ++i) {
            if (fog.delay > 0) {
                --fog.delay;
                continue;
            }
            double shape = 1;
            if (fog.tex_count > 0) {
                --fog.tex_count;
                shape = curve(fog.tex_cos2, fog.tex_y1, fog.tex_y2);
            } else if (fog.sustain > 0) {
                --fog.sustain;
            } else if (fog.atten_count > 0) {
                --fog.atten_count;
                shape = curve(fog.atten_cos2, fog.atten_y1, fog.atten_y2);
            } else {
                continue;
            }
            fog.amp *= fog.bw_decay;
            const double e = shape * fog.amp;
            for (size_t k = 0; k < out.size(); ++k)
                out[k][i] +=
                    e * scratch[row.outlets[k].source - 1][i] * fog.gains[row.outlets[k].slot];
        }
        return fog.tex_count > 0 || fog.sustain > 0 || fog.atten_count > 0;
    }

    static double curve(double cos2, double &last, double &before)
    {
        const double y = cos2 * last - before;
        before = last;
        last = y;
        return 0.5 + y;
    }
};

class mix_channels : public channel_session {
protected:
    vorb_fog random_fog()
    {
        vorb_fog fog{};
        for (double &g : fog.gains) g = uniform(-2, 2);
        fog.delay = any({0L, 0L, 10L, 63L, 64L, 100L});
        fog.tex_count = any({0L, 1L, 20L, 200L});
        fog.sustain = any({0L, 1L, 30L, 300L});
        fog.atten_count = any({0L, 1L, 40L, 100L});
        fog.amp = uniform(0, 2);
        fog.bw_decay = any({1.0, uniform(0.9, 1)});
        fog.tex_cos2 = 2 * std::cos(uniform(0, 0.5));
        fog.tex_y1 = uniform(-0.5, 0.5);
        fog.tex_y2 = uniform(-0.5, 0.5);
        fog.atten_cos2 = 2 * std::cos(uniform(0, 0.5));
        fog.atten_y1 = uniform(-0.5, 0.5);
        fog.atten_y2 = uniform(-0.5, 0.5);
        const double from = any({uniform(-5, 900), std::floor(uniform(520, 900))}),
                     way = any({uniform(-520, 520), uniform(-100, 100), 512.0, -512.0});
        fog.reader = head(from, from + way);
        fog.reader.pos_step_ms = way;
        fog.reader.lp_a = uniform(0.01, 1);
        fog.reader.lp_am1 = fog.reader.lp_a - 1;
        fog.reader.lp_k = uniform(0.99, 1);
        for (double &y : fog.reader.lp_y) y = uniform(-1, 1);
        return fog;
    }
};

// ---- What each outlet gets ----------------------------------------------------------------------

TEST_F(mix_channels, each_outlet_gets_its_source_channel_times_its_slot)
{
    const wave slot = {3, 5, 7, 11, 13, 17, 19, 23, 29, 31};
    for (const renderer &row : renderers) {
        SCOPED_TRACE(row.layout);
        levels(long(row.channels));
        vorb *fogs = standing(row.layout);
        send(fogs, 0, "bang");
        wave expected;
        for (const tap &t : row.outlets)
            expected.push_back(double(1 << (t.source - 1)) * slot[t.slot]);
        EXPECT_THAT(heard(fogs), near(expected));
    }
}

TEST_F(mix_channels, random_fogs_sound_bit_for_bit_as_those_rendered_slowly)
{
    host::start_audio(); // makes the scratch
    int sounding = 0;
    for (int trial = 0; trial < 600 && !HasFailure(); ++trial) {
        const renderer &row = renderers[trial % 3];
        SCOPED_TRACE(::testing::Message() << "trial " << trial << ", layout " << row.layout);
        fill_with_noise(any({100L, 1000L, 5000L}), 44100, long(row.channels));
        vorb_fog fog = random_fog();
        slow_renderer slow{row, {samples, fog.reader, row.channels}, fog, {}};
        double *const temps[] = {temp1, temp2, temp3, temp4};
        for (size_t c = 0; c < row.channels; ++c) // which an unwritten block repeats
            slow.scratch.push_back(wave(temps[c], temps[c] + 64));
        waves out(row.layout, wave(64, 0.25)), expected = out; // to be added to
        for (bool sounds = true; sounds && !HasFailure();) {
            sounds = render(fog, out) != 0;
            EXPECT_EQ(sounds, slow.render(expected) != 0);
            for (size_t k = 0; k < row.layout; ++k)
                EXPECT_TRUE(same_bits(out[k], expected[k], 64)) << "outlet " << k;
            EXPECT_EQ(std::memcmp(&fog, &slow.fog, sizeof fog), 0) << "the fog's state differs";
        }
        sounding += out[0] != wave(64, 0.25);
    }
    EXPECT_GT(sounding, 200);
}

TEST_F(mix_channels, a_gain_of_1_and_0_lets_the_first_channel_through_alone)
{
    levels(2);
    vorb *fogs = standing(2);
    send(fogs, 0, "list 1 0");
    send(fogs, 0, "bang");
    EXPECT_THAT(heard(fogs), near({1, 0}));
}

TEST_F(mix_channels, an_angle_reaches_the_outlets_3_and_4_from_one_channel_and_not_from_two)
{
    const double half = std::sqrt(0.5); // halfway between the speakers at 45 and 135 degrees
    for (const long channels : {1L, 2L}) {
        levels(channels);
        vorb *fogs = standing(4);
        send(fogs, 0, "aux1 0.25, aux2 0.5, angle 1 90");
        send(fogs, 0, "bang");
        if (channels == 1) EXPECT_THAT(heard(fogs), near({0, half, half, 0}));
        else EXPECT_THAT(heard(fogs), near({0, 2 * half, 0.25, 2 * 0.5}));
    }
}

TEST_F(mix_channels, the_aux_sends_of_four_channels_carry_the_first_alone)
{
    levels(4);
    vorb *fogs = standing(6);
    send(fogs, 0, "list 0 0 0 0, aux1 1, aux2 0.5");
    send(fogs, 0, "bang");
    EXPECT_THAT(heard(fogs), near({0, 0, 0, 0, 1, 0.5}));
}

// ---- The choice of a renderer -------------------------------------------------------------------

TEST_F(mix_channels, counts_of_channels_that_no_renderer_reads_are_silent_while_the_envelope_runs)
{
    for (const size_t layout : {1u, 2u, 4u, 6u, 10u})
        for (const long channels : {1L, 2L, 3L, 4L, 5L, 8L}) {
            SCOPED_TRACE(::testing::Message() << channels << " in " << layout);
            levels(channels);
            vorb *fogs = standing(layout);
            send(fogs, 0, "bang");
            const vorb_fog *fog = fogs->pool.used;
            const std::int64_t length = fog->sustain;
            const bool read = channels == 1 || (channels == 2 && (layout == 2 || layout == 4)) ||
                              (channels == 4 && layout == 6);
            EXPECT_EQ(heard(fogs) != wave(layout), read);
            EXPECT_EQ(used(fogs), 1);
            EXPECT_EQ(fog->sustain, length - 64);
            host::destroy(object(fogs));
        }
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(mix_channels, a_sounding_fog_changes_its_renderer_with_the_sample)
{
    struct row {
        size_t layout;
        long channels;
        wave expected;
    };
    for (const row &r : {row{2, 1, {3, 5}},
                         {2, 2, {3, 10}},
                         {4, 1, {3, 5, 7, 11}},
                         {4, 2, {3, 10, 29, 62}},
                         {6, 1, {3, 5, 7, 11, 29, 31}},
                         {6, 4, {3, 10, 28, 88, 29, 31}}}) {
        SCOPED_TRACE(::testing::Message() << r.channels << " in " << r.layout);
        levels(1);
        vorb *fogs = standing(r.layout);
        send(fogs, 0, "bang");
        heard(fogs);
        for (const double level : {1.0, 0.5, 2.0}) {
            levels(3);
            EXPECT_THAT(heard(fogs), near(wave(r.layout)));
            levels(r.channels, level);
            wave expected = r.expected;
            for (double &v : expected) v *= level;
            EXPECT_THAT(heard(fogs), near(expected));
        }
        EXPECT_EQ(used(fogs), 1);
    }
}

TEST_F(mix_channels, a_fog_is_silent_when_the_count_changes_between_choice_and_reading)
{
    const t_atom_long to_two[] = {1, 2}, to_four[] = {1, 4}, to_one[] = {2, 1};
    for (const size_t layout : {2u, 4u, 6u})
        for (const t_atom_long *change : {to_two, to_four, to_one}) {
            levels(layout == 6 ? 4 : 2);
            vorb *fogs = standing(layout);
            send(fogs, 0, "bang");
            answers = change;
            host::run();
            EXPECT_EQ(answers, change + 2); // no further question, and no lock
            answers = nullptr;
            for (size_t k = 0; k < layout; ++k)
                EXPECT_EQ(host::output(object(fogs), int(k))[63], 0) << layout;
            EXPECT_NE(heard(fogs), wave(layout));
            host::destroy(object(fogs));
        }
}

TEST_F(mix_channels, a_count_that_is_odd_goes_to_the_renderer_of_several_channels)
{
    const t_atom_long wide = t_atom_long{1} << 32; // a count of more than 32 bits
    for (const size_t layout : {2u, 4u, 6u})
        for (const t_atom_long odd : {t_atom_long{0}, t_atom_long{-1}, wide + 1, wide + 2}) {
            levels(1);
            vorb *fogs = standing(layout);
            send(fogs, 0, "bang");
            const t_atom_long both[] = {odd, odd};
            std::fill_n(+temp2, 64, 5.0);
            answers = both;
            host::run();
            answers = nullptr;
            EXPECT_EQ(host::output(object(fogs), 0)[63], 0) << odd;
            EXPECT_EQ(temp2[63], 0); // only the readers of several channels write it
            host::destroy(object(fogs));
        }
}

TEST_F(mix_channels, fogs_end_with_a_sample_of_several_channels_even_before_their_time)
{
    for (const renderer &row : renderers) {
        levels(long(row.channels));
        vorb *fogs = standing(row.layout);
        send(fogs, 0, "bang, 5000."); // now, and in five seconds
        EXPECT_NE(heard(fogs), wave(row.layout));
        EXPECT_EQ(used(fogs), 2);
        host::delete_buffer("sample1");
        EXPECT_EQ(heard(fogs), wave(row.layout));
        send(fogs, 0, "freefogs");
        EXPECT_THAT(numbers(), ElementsAre(8));
    }
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
