// Bad input gets one clear line and exit status 2, and leaves no file.
#include "workshop.h"

#include <sys/stat.h>

struct mistake {
    const char *name, *score, *line;
};

static void PrintTo(const mistake &m, std::ostream *out) { *out << m.name; }

class Errors : public workshop {
protected:
    void expect_refused(const std::vector<std::string> &arguments, const std::string &line)
    {
        const std::string before = inventory();
        run(arguments);
        EXPECT_EQ(last.status, 2);
        EXPECT_EQ(last.err, line + "\n");
        EXPECT_EQ(last.out, "");
        EXPECT_EQ(inventory(), before);
    }
};

class Mistakes : public Errors, public testing::WithParamInterface<mistake> {};

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

TEST_F(Errors, of_a_class_whose_name_no_file_can_have)
{
    const std::string name(300, 'n');
    write("s.score", "# a long one\nobject v " + name + " 1\n");
    expect_refused({"s.score", "-o", "x.wav"},
                   "s.score:2: cannot make v: " + name + ": No such object");
}

TEST_F(Errors, of_a_score_that_is_no_text)
{
    const std::string line = "s.score:1: a control character, but scores are plain text";
    write("s.score", std::string("object v k.vorb~\0\n", 18));
    expect_refused({"s.score", "-o", "x.wav"}, line);
    write("s.score", text_of("half.wav"));
    expect_refused({"s.score", "-o", "x.wav"}, line);
}

TEST_F(Errors, of_an_object_without_a_signal_outlet)
{
    write("s.score", "object t through~ 0\n100 end\n");
    expect_refused({"s.score", "-o", "x.wav", "--externals", TEST_EXTERNALS},
                   "s.score:1: t has no signal outlet");
}

TEST_F(Errors, of_a_sound_that_is_cut_off)
{
    write("long.score", "buffer b half.wav\nobject v k.vorb~ 1 b\n0 v 0 bang\n1500 end\n");
    for (const std::string name : {"x.wav", "x.aiff", "x.flac", "x.ogg"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(run({"long.score", "-o", name}).status, 0) << last.err;
        std::filesystem::resize_file(folder / name,
                                     std::filesystem::file_size(folder / name) * 2 / 3);
        write("s.score", "object v k.vorb~\n\nbuffer b " + name + "\n");
        expect_refused({"s.score", "-o", "y.wav"},
                       "s.score:3: " + name + ": it is damaged or cut off");
    }
}

TEST_F(Errors, of_an_external_that_breaks_a_rule_are_status_1)
{
    write("s.score", "object t through~\n100 t 0 rude\n200 end\n");
    const std::string before = inventory();
    EXPECT_EQ(run({"s.score", "-o", "x.wav", "--externals", TEST_EXTERNALS}).status, 1);
    EXPECT_EQ(last.err, "fault: outlet_int: no such integer outlet\n"
                        "render: the object broke the host's rules\n");
    EXPECT_EQ(last.out, "");
    EXPECT_EQ(inventory(), before);
}

TEST_F(Errors, of_the_command_line)
{
    write("s.score", "object v k.vorb~ 10\n100 end\n");
    std::filesystem::create_directory(folder / "taken.wav");
    const std::string endings = "wav, aiff, aif, flac, ogg, caf, w64, au";
    const std::string words = "float, pcm24, vorbis, pcm16, pcm32, double";
    expect_refused({"none.score", "-o", "x.wav"},
                   "render: none.score: cannot be read: No such file or directory");
    expect_refused({"taken.wav", "-o", "x.wav"}, "render: taken.wav: cannot be read");
    expect_refused({"s.score", "-o", "x.mid"},
                   "render: x.mid: the ending must be one of " + endings);
    expect_refused({"s.score", "-o", "x"}, "render: x: the ending must be one of " + endings);
    expect_refused({"s.score", "-o", "x.wav", "--format", "pcm12"},
                   "render: unknown format pcm12, known are " + words);
    expect_refused({"s.score", "-o", "x.flac", "--format", "float"},
                   "render: a .flac file does not take the format float");
    expect_refused({"s.score", "-o", "x.flac"},
                   "render: x.flac: a .flac file does not take 10 channels at 44100 Hz");
    expect_refused({"s.score", "-o", "nowhere/x.wav"},
                   "render: nowhere/x.wav: cannot be written: No such file or directory");
    expect_refused({"s.score", "-o", "taken.wav"},
                   "render: taken.wav: cannot be written: it is no ordinary file");
    expect_refused({"s.score", "-o", ""}, "render: --output is empty");
    for (const std::string start : {"-1", "86400001", "nan"})
        expect_refused({"s.score", "-o", "x.wav", "--start", start},
                       "render: --start lies between 0 and 24 hours, in ms");
    expect_refused({"s.score"}, "render: --output or --picture is required");
    expect_refused({"s.score", "-o", "x.wav", "--picture-top", "5000"},
                   "render: --picture-top requires --picture");
    expect_refused({"s.score", "--picture", "x.png", "--format", "pcm16"},
                   "render: --format requires --output");
    expect_refused({"s.score", "-o", "s.score"}, "render: s.score: that is the score itself");
    expect_refused({"s.score", "-o", "x.wav", "--stereo=front"},
                   "render: unknown law --stereo=front, known are mono, sides, quad, ring, cube, "
                   "bformat");
    expect_refused({"-o", "x.wav"}, "render: SCORE is required");
    expect_refused({"s.score", "-o", "x.wav", "--rate", "fast"},
                   "render: --rate: Value fast not in range 1000 to 768000");
    expect_refused({"s.score", "-o", "x.wav", "--vector", "0"},
                   "render: --vector: Value 0 not in range 1 to 8192");
    expect_refused({"s.score", "-o", "x.wav", "--externals", "gone"},
                   "render: --externals: Directory does not exist: gone");
    expect_refused({"s.score", "-o", "x.wav", "--externals", "."},
                   "s.score:1: cannot make v: k.vorb~: No such object");
    expect_refused({"s.score", "-o", "x.wav", "--louder"},
                   "render: The following argument was not expected: --louder");
}

TEST_F(Errors, of_a_stereo_law_for_other_outlets)
{
    write("s.score", "object t through~ 3\n100 end\n");
    expect_refused({"s.score", "-o", "x.wav", "--stereo", "--externals", TEST_EXTERNALS},
                   "render: --stereo has no law for 3 outlets by itself: name one of mono, sides, "
                   "quad, ring, cube, bformat");
    expect_refused({"s.score", "-o", "x.wav", "--stereo=bformat", "--externals", TEST_EXTERNALS},
                   "render: --stereo=bformat needs 4 outlets, the score has 3");
    write("s.score", "object v k.vorb~ 4\n100 end\n");
    for (const std::string law : {"ring", "cube"}) {
        run({"s.score", "-o", "x.wav", "--stereo=" + law});
        EXPECT_EQ(last.status, 2);
        EXPECT_NE(last.err.find("render: --stereo=" + law + " needs 8 outlets, the score has 4\n"),
                  std::string::npos)
            << last.err;
    }
}

TEST_F(Errors, a_score_may_not_eat_its_own_sound)
{
    write("s.score", "buffer b half.wav\nobject v k.vorb~\n100 end\n");
    const std::string before = text_of("half.wav");
    expect_refused({"s.score", "-o", "./half.wav"},
                   "render: ./half.wav: the score itself plays that file");
    EXPECT_EQ(text_of("half.wav"), before);
}

TEST_F(Errors, nothing_to_write_is_said)
{
    write("s.score", "object v k.vorb~\n100 end\n");
    run({"s.score", "-o", "x.wav", "--start", "200"});
    EXPECT_EQ(last.status, 2);
    EXPECT_NE(last.err.find("render: s.score: it ends before there is anything to write\n"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder / "x.wav"));
}

TEST_F(Errors, a_sound_without_end_asks_for_one)
{
    write("s.score", "buffer b half.wav\nobject v k.vorb~ 1 b 5 0 0 0 1 0 5 0\n0 v 0 signal 100\n");
    const std::string before = inventory();
    run({"s.score", "-o", "x.wav"});
    EXPECT_EQ(last.status, 2);
    EXPECT_NE(last.err.find(
                  "\nrender: s.score: it still sounds 10 minutes after the last event: say when it "
                  "ends, with an end line\n"),
              std::string::npos)
        << last.err;
    EXPECT_EQ(inventory(), before);
}

TEST_F(Errors, a_level_that_no_file_holds_is_status_1)
{
    write("s.score", "buffer b half.wav\nobject v k.vorb~ 1 b 20 0 0 0 1e38 0 50 0\n"
                     "0 v 0 bang, bang, bang, bang, bang, bang, bang, bang, bang, bang\n100 end\n");
    const std::string before = inventory();
    run({"s.score", "-o", "x.wav"});
    EXPECT_EQ(last.status, 1);
    EXPECT_NE(last.err.find("\nrender: an outlet's level is beyond all numbers\n"), last.err.npos);
    EXPECT_EQ(inventory(), before);
}
