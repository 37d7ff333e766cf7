// Bad input gets one clear line and exit status 2, and leaves no file.
#include "workshop.h"

#include <sndfile.h>

class Errors : public workshop {};

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

TEST_F(Errors, of_a_line_that_hardly_ends)
{
    const std::string blanks((1 << 20) - 100, ' ');
    write("s.score", "object v k.vorb~\r\n" + blanks + "100 end" + blanks.substr(1000) + "\n");
    expect_refused({"s.score", "-o", "x.wav"},
                   "s.score:2: a line of more than a million characters");
    write("s.score", "object v k.vorb~\r\n" + blanks + "100 end");
    EXPECT_EQ(run({"s.score", "-o", "x.wav"}).status, 0) << last.err;
    EXPECT_NEAR(listen(folder / "x.wav").seconds(), 0.1, 0.01);
    std::filesystem::create_symlink("/dev/zero", folder / "zero.score");
    expect_refused({"zero.score", "-o", "y.wav"},
                   "zero.score:1: a line of more than a million characters");
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

/// A header is believed as far as the file goes.
TEST_F(Errors, of_a_sound_with_hardly_any_frames_of_many_channels_take_no_memory)
{
    const auto needed = [&](int channels, sf_count_t frames) {
        SF_INFO info{};
        info.samplerate = 44100;
        info.channels = channels;
        info.format = SF_FORMAT_AU | SF_FORMAT_PCM_16;
        SNDFILE *out = sf_open((folder / "x.au").c_str(), SFM_WRITE, &info);
        const std::vector<short> samples(static_cast<size_t>(frames * channels));
        sf_writef_short(out, samples.data(), frames);
        sf_close(out);
        write("s.score", "buffer b x.au\nobject v k.vorb~\n0 v 0 bang\n100 end\n");
        EXPECT_EQ(run({"s.score", "-o", "x.wav"}).status, 0) << last.err;
        return last.memory;
    };
    EXPECT_LT(needed(1000, 2), needed(1, 2000) + 16000);
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
    expect_refused({"taken.wav", "-o", "x.wav"},
                   "render: taken.wav: cannot be read: Is a directory");
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
    expect_refused({"", "-o", "x.wav"}, "render: SCORE is empty");
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

TEST_F(Errors, of_a_sound_too_long_for_its_kind_of_file_come_before_it_is_played)
{
    for (const std::string end : {"7200000 end\n", "7200000 v 0 reset\n"})
        for (const std::string name : {"x.aiff", "x.au"}) {
            write("s.score", "object v k.vorb~ 10\n" + end);
            expect_refused({"s.score", "-o", name},
                           "render: " + name +
                               ": cannot be written: the format ends at 4 GB, "
                               ".wav, .caf and .w64 do not");
        }
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
