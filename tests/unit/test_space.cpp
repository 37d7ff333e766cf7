// Spatial messages: which inlets answer, how arguments are read, checked and reported, and that
// they reach the fogs to come alone.
#include "space_session.h"

#include <random>

namespace {

const double gains[] = {1, 0.5, 3};

host::atoms ordinary(const space_message &m)
{
    return host::atoms(m.arguments.size(), host::atom(0.25)); // in every range
}

// ---- Arguments ----------------------------------------------------------------------------------

TEST_F(space, each_argument_is_read_checked_and_used)
{
    for (const double gain : gains)
        for (const space_message &m : space_messages)
            for (std::size_t k = 0; k < m.arguments.size(); ++k)
                for (const t_atom &value : values_for(m, k, gain)) {
                    host::atoms given = ordinary(m);
                    given[k] = value;
                    restart(gain);
                    ASSERT_NO_FATAL_FAILURE(expect(m, given));
                }
}

TEST_F(space, arguments_of_any_kind_are_read_and_checked_one_by_one)
{
    std::mt19937 dice(1);
    for (const space_message &m : space_messages) {
        std::vector<host::atoms> choices;
        for (std::size_t k = 0; k < m.arguments.size(); ++k)
            choices.push_back(values_for(m, k, 0.5));
        for (int turn = 0; turn < 3000; ++turn) {
            host::atoms given;
            for (const host::atoms &some : choices) given.push_back(some[dice() % some.size()]);
            restart(0.5);
            ASSERT_NO_FATAL_FAILURE(expect(m, given)) << turn;
        }
    }
}

TEST_F(space, reports_follow_the_order_of_the_arguments)
{
    send(x, 0, "pan -1 foo, direction 2 foo -3 1e39, polar 181 -91 foo");
    EXPECT_EQ(
        complaints(x),
        (lines{out_of_range("amplitude (message pan)", -0.25, 0, 1e38, 1), number_expected(),
               out_of_range("x (message direction)", 2, -1, 1, 0), number_expected(),
               out_of_range("z (message direction)", -3, -1, 1, 0),
               out_of_range("d (message direction)", HUGE_VAL, -1e38, 1e38, 0),
               out_of_range("azimuth (message polar)", 181, -180, 180, 0),
               out_of_range("elevation (message polar)", -91, -90, 90, 0), number_expected()}));
}

TEST_F(space, every_report_of_a_range_word_for_word)
{
    restart(1);
    send(x, 0, "gain -1, pan -1 2, pan8 -1 1e39, panb -1 1e39 -1e39, angle -1 1e39");
    send(x, 0, "direction 2 -2 2 -1e39, polar 181 91 1e39, aux1 1e39, aux2 -1e39");
    const std::string head = "k.vorb~: parameter '", one = " - set to 1.00e+00",
                      none = " - set to 0.00e+00", positive = "out of range [0.00e+00 .. 1.00e+38]",
                      open = "out of range [-1.00e+38 .. 1.00e+38]",
                      unit = "out of range [-1.00e+00 .. 1.00e+00]";
    EXPECT_EQ(complaints(x),
              (lines{head + "gain' (-1.00e+00) " + positive + one,
                     head + "amplitude (message pan)' (-1.00e+00) " + positive + one,
                     head + "pan (message pan)' (2.00e+00) " + unit + none,
                     head + "amplitude (message pan8)' (-1.00e+00) " + positive + one,
                     head + "pan (message pan8)' (inf) " + open + none,
                     head + "amplitude (message panb)' (-1.00e+00) " + positive + one,
                     head + "azimuth (message panb)' (inf) " + open + none,
                     head + "elevation (message panb)' (-inf) " + open + none,
                     head + "amplitude (message angle)' (-1.00e+00) " + positive + one,
                     head + "angle (message angle)' (inf) " + open + none,
                     head + "x (message direction)' (2.00e+00) " + unit + none,
                     head + "y (message direction)' (-2.00e+00) " + unit + none,
                     head + "z (message direction)' (2.00e+00) " + unit + none,
                     head + "d (message direction)' (-inf) " + open + none,
                     head +
                         "azimuth (message polar)' (1.81e+02) out of range "
                         "[-1.80e+02 .. 1.80e+02]" +
                         none,
                     head +
                         "elevation (message polar)' (9.10e+01) out of range "
                         "[-9.00e+01 .. 9.00e+01]" +
                         none,
                     head + "distance (message polar)' (inf) " + open + none,
                     head + "aux1' (inf) " + open + one, head + "aux2' (-inf) " + open + one}));
}

TEST_F(space, with_too_few_arguments_a_message_is_reported_and_changes_nothing)
{
    for (const space_message &m : space_messages)
        for (host::atoms given = ordinary(m); !given.empty();) {
            given.pop_back();
            restart(0.5);
            ASSERT_NO_FATAL_FAILURE(expect(m, given));
            if (given.empty()) continue;
            given[0] = host::atom("foo"); // not even read
            ASSERT_NO_FATAL_FAILURE(expect(m, given));
        }
    send(x, 4, "gain, pan, pan8, panb, angle, direction, polar, aux1, aux2");
    const char *const texts[] = {"k.vorb~: insufficient arguments for gain message",
                                 "k.vorb~: insufficient arguments for pan message",
                                 "k.vorb~: insufficient arguments for pan8 message",
                                 "k.vorb~: insufficient arguments for panb message",
                                 "k.vorb~: insufficient arguments for angle message",
                                 "k.vorb~: insufficient arguments for direction message",
                                 "k.vorb~: insufficient arguments for polar message",
                                 "k.vorb~: insufficient arguments for aux1 message",
                                 "k.vorb~: insufficient arguments for aux2 message"};
    EXPECT_THAT(complaints(x), ::testing::ElementsAreArray(texts));
}

TEST_F(space, the_number_of_arguments_wraps_at_16_bits)
{
    for (const space_message &m : space_messages)
        for (const std::size_t count : {32768u, 65536u}) { // below zero, and none
            restart(1);
            const inputs before = x->inputs;
            send(x, 0, m.selector, host::atoms(count, host::atom(0.25)));
            EXPECT_EQ(complaints(x), (lines{std::string("k.vorb~: insufficient arguments for ") +
                                            m.selector + " message"}));
            EXPECT_THAT(differences(x->inputs, before), IsEmpty()) << m.selector;
        }
}

TEST_F(space, arguments_to_spare_are_not_even_read)
{
    for (const space_message &m : space_messages)
        for (const t_atom &spare : {host::atom("foo"), host::atom(-1e39), host::atom(7)}) {
            host::atoms given = ordinary(m);
            given.insert(given.end(), 3, spare);
            restart(0.5);
            ASSERT_NO_FATAL_FAILURE(expect(m, given));
        }
}

TEST_F(space, a_nan_passes_without_a_word)
{
    const double nan = std::nan("");
    for (const space_message &m : space_messages) {
        if (m.selector == std::string("gain")) continue;
        restart(0.5);
        send(x, 0, m.selector, host::atoms(m.arguments.size(), host::atom(nan)));
        EXPECT_THAT(complaints(x), IsEmpty()) << m.selector;
        EXPECT_EQ(x->inputs.changed, 1) << m.selector;
    }
}

// ---- Inlets -------------------------------------------------------------------------------------

TEST_F(space, answers_at_the_left_and_the_amplitude_inlet_alone)
{
    for (const space_message &m : space_messages) {
        std::vector<host::atoms> all = {{}, ordinary(m), ordinary(m), ordinary(m), ordinary(m)};
        all[2][0] = host::atom("foo");
        all[3][0] = host::atom(-1e39);
        all[4].push_back(host::atom(2));
        for (const host::atoms &given : all)
            for (int inlet = 0; inlet < 9; ++inlet) {
                SCOPED_TRACE(inlet);
                restart(0.5);
                if (inlet == 0 || inlet == 4) {
                    ASSERT_NO_FATAL_FAILURE(expect(m, given, inlet));
                    continue;
                }
                const inputs before = x->inputs;
                send(x, inlet, m.selector, given);
                ASSERT_THAT(complaints(x), IsEmpty()) << m.selector;
                ASSERT_THAT(differences(x->inputs, before), IsEmpty()) << m.selector;
            }
    }
}

TEST_F(space, all_answers_at_the_left_and_the_start_of_attenuation_inlet_alone)
{
    for (int inlet = 0; inlet < 9; ++inlet) {
        SCOPED_TRACE(inlet);
        x->inputs = start;
        x->inputs.debatt_all = 0;
        inputs wanted = x->inputs;
        if (inlet == 0 || inlet == 6) wanted.debatt_all = wanted.changed = 1;
        send(x, inlet, "all");
        EXPECT_THAT(complaints(x), IsEmpty());
        EXPECT_THAT(differences(x->inputs, wanted), IsEmpty());
    }
}

// ---- Fogs ---------------------------------------------------------------------------------------

TEST_F(space, a_new_instance_has_all_slots_and_the_master_gain_at_one)
{
    const vorb *fresh = create();
    EXPECT_THAT(fresh->inputs.amps, ::testing::Each(1.0));
    EXPECT_EQ(fresh->inputs.gain, 1.0);
}

TEST_F(space, a_fog_keeps_the_gains_it_started_with)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *ten = create("10 sample1 8 0 0 0 0 0 400 0");
    const auto heard = [&] {
        host::run();
        std::vector<double> levels;
        for (int k = 0; k < 10; ++k) {
            const double level = host::output(object(ten), k)[10];
            levels.push_back(std::round(level * 1e5) / 1e5);
        }
        return levels;
    };
    host::start_audio();
    send(ten, 0, "pan8 1 3, aux1 0.5, bang");
    EXPECT_THAT(heard(), ElementsAre(0, 0, 1, 0, 0, 0, 0, 0, 0.5, 0));
    send(ten, 0, "pan8 0.25 6, aux1 0, aux2 -0.75");
    EXPECT_THAT(heard(), ElementsAre(0, 0, 1, 0, 0, 0, 0, 0, 0.5, 0));
    send(ten, 0, "bang");
    EXPECT_THAT(heard(), ElementsAre(0, 0, 1, 0, 0, 0.25, 0, 0, 0.5, -0.75));
}

} // namespace
