// Each mistake in a score gets one clear line that names its own.
#include "workshop.h"

#include <sys/stat.h>

struct mistake {
    const char *name, *score, *line;
};

static void PrintTo(const mistake &m, std::ostream *out) { *out << m.name; }

class Mistakes : public workshop, public testing::WithParamInterface<mistake> {};

TEST_P(Mistakes, name_their_line)
{
    write("s.score", GetParam().score);
    write("text.wav", "no sound");
    write_sound("empty.wav", {});
    std::filesystem::create_directory(folder / "folder.wav");
    ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
    expect_refused({"s.score", "-o", "x.wav"}, GetParam().line);
}

static const mistake mistakes[] = {
    {"no_object", "# empty\n", "render: s.score: the score has no object"},
    {"unknown_object", "object v k.vorb~\n\n0 w 0 bang\n", "s.score:3: there is no object named w"},
    {"object_declared_too_late", "0 v 0 bang\nobject v k.vorb~\n",
     "s.score:1: there is no object named v"},
    {"unknown_class", "object v nothing~ 1\n",
     "s.score:1: cannot make v: nothing~: No such object"},
    {"class_that_is_a_path", "object v ../externals/k.vorb~\n",
     "s.score:1: cannot make v: ../externals/k.vorb~: No such object"},
    {"class_that_is_a_number", "object v 12\n", "s.score:1: cannot make v: its class is no word"},
    {"class_that_is_empty", "object v \"\"\n", "s.score:1: cannot make v: its class is no word"},
    {"object_twice", "object v k.vorb~\nobject v k.vorb~\n",
     "s.score:2: there is an object named v already"},
    {"object_without_box", "object v\n", "s.score:1: object needs a name and a class"},
    {"object_with_a_time", "0 object v k.vorb~\n",
     "s.score:1: objects are there from the start: leave out the time"},
    {"object_after_a_time", "object v k.vorb~\n5 v 0 bang\nobject w k.vorb~\n",
     "s.score:3: times must not run backwards"},
    {"reserved_name", "object end k.vorb~\n", "s.score:1: an object cannot be named end"},
    {"unknown_message", "object v k.vorb~\n0 v 0 sing 3\n",
     "s.score:2: v does not understand sing"},
    {"unknown_message_after_a_comma", "object v k.vorb~\n0 v 0 bang, 1 2 3, hum\n",
     "s.score:2: v does not understand hum"},
    {"message_of_the_host_alone", "object v k.vorb~\n0 v 0 dsp64\n",
     "s.score:2: v does not understand dsp64"},
    {"no_such_inlet", "object v k.vorb~\n0 v 9 1.\n", "s.score:2: v has no inlet 9"},
    {"no_such_signal_inlet", "object v k.vorb~\n0 v 9 signal 1\n", "s.score:2: v has no inlet 9"},
    {"inlet_below_0", "object v k.vorb~\n0 v -1 1.\n", "s.score:2: not a whole number: -1"},
    {"inlet_that_is_none", "object v k.vorb~\n0 v bang\n", "s.score:2: not a whole number: bang"},
    {"inlet_alone", "object v k.vorb~\n0 v 0\n", "s.score:2: what goes to the inlet is missing"},
    {"time_alone", "object v k.vorb~\n10 # here\n", "s.score:2: a time alone: what happens then?"},
    {"time_backwards", "object v k.vorb~\n10 v 0 bang\n9.5 v 0 bang\n",
     "s.score:3: times must not run backwards"},
    {"time_below_0", "object v k.vorb~\n-1 v 0 bang\n",
     "s.score:2: a time lies between 0 and 24 hours, in ms"},
    {"time_beyond_a_day", "object v k.vorb~\n1e9 end\n",
     "s.score:2: a time lies between 0 and 24 hours, in ms"},
    {"time_that_is_none", "object v k.vorb~\nsoon v 0 bang\n", "s.score:2: not a number: soon"},
    {"time_with_a_comma", "object v k.vorb~\n1,5 v 0 bang\n", "s.score:2: not a number: 1,5"},
    {"time_that_never_comes", "object v k.vorb~\ninf end\n", "s.score:2: not a number: inf"},
    {"signal_without_a_value", "object v k.vorb~\n0 v 0 signal\n",
     "s.score:2: signal needs a number, or off"},
    {"signal_with_half_a_pair", "object v k.vorb~\n0 v 0 signal 110 220\n",
     "s.score:2: signal needs a start, then pairs of target and time in ms"},
    {"signal_of_a_word", "object v k.vorb~\n0 v 0 signal 110 loud 10\n",
     "s.score:2: not a number: loud"},
    {"signal_that_is_no_number", "object v k.vorb~\n0 v 0 signal nan\n",
     "s.score:2: not a number: nan"},
    {"signal_back_in_time", "object v k.vorb~\n0 v 0 signal 110 220 -5\n",
     "s.score:2: a signal's time is below 0: -5"},
    {"signal_longer_than_a_day", "object v k.vorb~\n0 v 0 signal 1 2 1e12\n",
     "s.score:2: a signal's times add up to more than 24 hours"},
    {"signal_longer_than_a_day_in_all",
     "object v k.vorb~\n0 v 0 signal 1 2 43200000 3 43200000 4 0.5\n",
     "s.score:2: a signal's times add up to more than 24 hours"},
    {"signal_that_falls_beyond_all_numbers", "object v k.vorb~\n0 v 0 signal 1e308 -1e308 10\n",
     "s.score:2: a signal's step is beyond all numbers: -1e308"},
    {"signal_that_rises_too_long", "object v k.vorb~\n0 v 0 signal 0 1 5 1e307 1000\n",
     "s.score:2: a signal's step is beyond all numbers: 1e307"},
    {"signal_with_a_message", "object v k.vorb~\n0 v 0 signal 110, bang\n",
     "s.score:2: a signal stands alone on its line"},
    {"signal_after_a_message", "object v k.vorb~\n0 v 0 bang, signal 110\n",
     "s.score:2: a signal stands alone on its line"},
    {"signal_off_with_more", "object v k.vorb~\n0 v 0 signal off now\n",
     "s.score:2: signal off stands alone"},
    {"empty_message", "object v k.vorb~\n0 v 0 \"\"\n", "s.score:2: a message is empty"},
    {"empty_message_after_a_comma", "object v k.vorb~\n0 v 0 bang, \"\"\n",
     "s.score:2: a message is empty"},
    {"control_character", "object v k.vorb~\n0 v 0 ba\x07ng\n",
     "s.score:2: a control character, but scores are plain text"},
    {"delete_character", "object v k.vorb~ \x7f\n",
     "s.score:1: a control character, but scores are plain text"},
    {"line_ends_that_are_none", "object v k.vorb~\r0 v 0 bang\r",
     "s.score:1: a control character, but scores are plain text"},
    {"mark_in_the_middle",
     "object v k.vorb~\n\xEF\xBB\xBF"
     "10 end\n",
     "s.score:2: not a number: \xEF\xBB\xBF"
     "10"},
    {"folder_as_sound", "object v k.vorb~\n700 buffer b folder.wav\n",
     "s.score:2: folder.wav: it is a folder"},
    {"pipe_as_sound", "object v k.vorb~\n700 buffer b pipe.wav\n",
     "s.score:2: pipe.wav: it is no ordinary file"},
    {"missing_sound", "object v k.vorb~\n700 buffer b gone.wav\n",
     "s.score:2: gone.wav: there is no such file"},
    {"unreadable_sound", "object v k.vorb~\n700 buffer b text.wav\n",
     "s.score:2: text.wav: Format not recognised."},
    {"empty_sound", "buffer b empty.wav\nobject v k.vorb~\n",
     "s.score:1: empty.wav: it holds no sound"},
    {"buffer_alone", "object v k.vorb~\nbuffer\n",
     "s.score:2: buffer needs a name and a sound file, or a name alone to remove it"},
    {"buffer_with_too_much", "object v k.vorb~\nbuffer b half.wav loud\n",
     "s.score:2: buffer needs a name and a sound file, or a name alone to remove it"},
    {"buffer_removed_twice", "buffer b half.wav\nobject v k.vorb~\n1 buffer b\n2 buffer b\n",
     "s.score:4: there is no buffer b"},
    {"open_quote", "object v k.vorb~\nbuffer b \"half.wav\n", "s.score:2: a quote stays open"},
    {"end_with_more", "object v k.vorb~\n100 end now\n", "s.score:2: end stands alone"},
    {"after_the_end", "object v k.vorb~\n100 end\n100 v 0 bang\n",
     "s.score:3: nothing may follow the end"},
};

INSTANTIATE_TEST_SUITE_P(All, Mistakes, testing::ValuesIn(mistakes),
                         [](const auto &test) { return std::string(test.param.name); });
