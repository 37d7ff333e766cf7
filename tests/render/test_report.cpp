// What the program says while it works and when it is done.
#include "workshop.h"

#include <cstdio>
#include <sstream>

class Report : public workshop {};

static const std::string sounding = "buffer b half.wav\nobject v k.vorb~ 2 b 5 0 0 0 1 0 100 0 1\n";

TEST_F(Report, console_rows_and_numbers_carry_the_time_of_their_block)
{
    render(sounding + "0 v 0 usedfogs\n100 v 0 bang\n100 v 0 usedfogs\n150 v 0 tex -5\n"
                      "400 v 0 freefogs\n500 end\n");
    const auto has = [&](const char *line) { return last.err.find(line) != std::string::npos; };
    EXPECT_TRUE(has("0.000 ms v: outlet 3: 0\n")) << last.err;
    EXPECT_TRUE(has("\n100.136 ms v: outlet 3: 1\n")) << last.err; // block 69 of 64 frames
    EXPECT_TRUE(has("\n150.930 ms v: error: k.vorb~: parameter 'tex' (-5.00e+00) out of range "
                    "[0.00e+00 .. 1.00e+38] - set to 0.00e+00\n"))
        << last.err;
    EXPECT_TRUE(has("\n400.544 ms v: outlet 3: 5\n")) << last.err;
}

TEST_F(Report, the_closing_line_tells_what_is_in_the_file)
{
    const recording heard = render(sounding + "100 v 0 0.5 0.125\n100 v 0 bang\n500 end\n");
    double seconds = 0, level = 0, speed = 0;
    int channels = 0;
    ASSERT_EQ(std::sscanf(last.out.c_str(),
                          "s.wav: %lf s, %d channels, peak %lf dBFS, %lf times real time\n",
                          &seconds, &channels, &level, &speed),
              4)
        << last.out;
    EXPECT_NEAR(seconds, heard.seconds(), 0.0006);
    EXPECT_EQ(channels, 2);
    EXPECT_NEAR(level, decibels(peak(heard.channels[0])), 0.051);
    EXPECT_GT(speed, 0);
}

TEST_F(Report, silence_has_no_level)
{
    render("object v k.vorb~ 1\n100 end\n");
    EXPECT_EQ(last.out.find("s.wav: 0.100 s, 1 channel, silent, "), 0u) << last.out;
}

TEST_F(Report, silence_for_want_of_a_buffer_is_explained)
{
    const std::string box = "object v k.vorb~ 1 sampel1\n0 v 0 bang\n100 end\n";
    const std::string line = "there is no buffer named sampel1\n";
    render("buffer sample1 half.wav\n" + box);
    ASSERT_GE(last.err.size(), line.size());
    EXPECT_EQ(last.err.substr(last.err.size() - line.size()), line) << last.err;
    render("buffer b half.wav\nobject w k.vorb~ 1 b 5 0 0 0 1 0 50 0 1\n0 w 0 bang\n" + box);
    EXPECT_EQ(last.err.find(line), std::string::npos) << "something sounds: " << last.err;
}

TEST_F(Report, help_shows_every_option_and_an_example)
{
    EXPECT_EQ(run({"--help"}).status, 0);
    for (const char *word : {"SCORE", "--output", "--format", "--rate", "--vector", "--start",
                             "--externals", "--stereo", "--picture", "--picture-top", "signal off",
                             "render examples/choir.score -o choir.wav"})
        EXPECT_NE(last.out.find(word), std::string::npos) << word;
    EXPECT_EQ(last.err, "");
}

TEST_F(Report, the_score_in_the_help_can_be_played)
{
    run({"--help"});
    std::istringstream help(last.out);
    std::string text;
    for (std::string line; std::getline(help, line) && line.find("Usage") != 0;)
        if (line.find("    ") == 0) text += line + "\n";
    ASSERT_NE(text.find("9000    end\n"), std::string::npos) << text;
    std::filesystem::create_symlink(MEDIA, folder / "media");
    const recording heard = render(text);
    EXPECT_EQ(last.err, "0.000 ms: k.vorb~ 0.1.0\n");
    EXPECT_GT(peak(part(heard.channels[0], 44100, 1, 1)), 0.01);
    EXPECT_GT(peak(part(heard.channels[0], 44100, 5, 1)), 0.01);
    EXPECT_LE(peak(heard.channels[0]), 1);
}
