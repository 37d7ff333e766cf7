// Kinds of sound files and how they store samples.
#include "workshop.h"

#include <sndfile.h>
#include <sound_format.h>

struct stored {
    const char *ending, *word;
    int format;
    double tolerance;
};

static void PrintTo(const stored &s, std::ostream *out) { *out << s.ending << ' ' << s.word; }

class Formats : public workshop, public testing::WithParamInterface<stored> {};

TEST_P(Formats, hold_the_same_sound)
{
    const auto [ending, word, format, tolerance] = GetParam();
    const std::string file = std::string("x.") + ending;
    write("s.score", "buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 100 400 100 1\n"
                     "0 v 0 0.5 0.25\n100 v 0 bang\n1000 end\n");
    std::vector<std::string> arguments{"s.score", "-o", file, "--rate", "32000"};
    if (*word) arguments.insert(arguments.end(), {"--format", word});
    ASSERT_EQ(run(arguments).status, 0) << last.err;
    const recording heard = listen(folder / file);
    EXPECT_EQ(heard.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK), format);
    EXPECT_EQ(heard.rate, 32000);
    ASSERT_EQ(heard.channels.size(), 2u);
    EXPECT_EQ(heard.frames(), 32000u);
    // Measured where the level stands still, as the mean: a coder that loses bits may ripple.
    const auto level = [&](size_t k) {
        double sum = 0;
        const channel x = part(heard.channels[k], 32000, 0.25, 0.2);
        for (const double v : x) sum += v;
        return sum / static_cast<double>(x.size());
    };
    EXPECT_NEAR(level(0), 0.25, tolerance);
    EXPECT_NEAR(level(1), 0.125, tolerance);
    EXPECT_NEAR(peak(part(heard.channels[0], 32000, 0.8, 0.1)), 0, tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    All, Formats,
    testing::Values(stored{"wav", "", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1e-7},
                    stored{"WAV", "pcm16", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 5e-5},
                    stored{"wav", "pcm24", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2e-7},
                    stored{"wav", "pcm32", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 1e-8},
                    stored{"wav", "double", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1e-9},
                    stored{"aiff", "", SF_FORMAT_AIFF | SF_FORMAT_FLOAT, 1e-7},
                    stored{"aif", "pcm24", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 2e-7},
                    stored{"caf", "", SF_FORMAT_CAF | SF_FORMAT_FLOAT, 1e-7},
                    stored{"w64", "", SF_FORMAT_W64 | SF_FORMAT_FLOAT, 1e-7},
                    stored{"au", "", SF_FORMAT_AU | SF_FORMAT_FLOAT, 1e-7},
                    stored{"flac", "", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2e-7},
                    stored{"flac", "pcm16", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 5e-5},
                    stored{"ogg", "", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 0.02}),
    [](const auto &test) {
        return std::string(test.param.ending) + "_" +
               (*test.param.word ? test.param.word : "default");
    });

TEST(Room, ends_at_4_GB_where_sizes_have_32_bits)
{
    const sf_count_t most = 0xFFFFFFFF;
    const auto room = [](const char *name, const char *word, int channels, sf_count_t frames) {
        return has_room(choose_format(name, word, channels, 44100), frames);
    };
    for (const char *name : {"x.wav", "x.aiff", "x.au"}) {
        EXPECT_FALSE(room(name, "float", 2, most / 8)) << name << ": a header too has its bytes";
        EXPECT_TRUE(room(name, "float", 2, most / 8 - 10000)) << name;
        EXPECT_TRUE(room(name, "pcm16", 2, most / 4 - 20000)) << name;
        EXPECT_FALSE(room(name, "pcm16", 2, most / 4)) << name;
        EXPECT_TRUE(room(name, "pcm24", 1, most / 3 - 30000)) << name;
        EXPECT_FALSE(room(name, "pcm24", 1, most / 3)) << name;
        EXPECT_TRUE(room(name, "double", 10, most / 80 - 1000)) << name;
        EXPECT_FALSE(room(name, "double", 10, most / 80)) << name;
    }
    EXPECT_TRUE(room("x.caf", "float", 10, most));
    EXPECT_TRUE(room("x.w64", "float", 10, most));
    EXPECT_TRUE(room("x.flac", "pcm24", 2, most));
    EXPECT_TRUE(room("x.ogg", "vorbis", 2, most));
}

TEST(Room, of_a_wav_file_grows_where_it_may_be_needed)
{
    const auto type = [](const char *name, const char *word, sf_count_t frames) {
        return with_room(choose_format(name, word, 10, 44100), frames).format;
    };
    constexpr sf_count_t two_hours = 2 * 3600 * 44100;
    EXPECT_EQ(type("x.wav", "", two_hours), SF_FORMAT_RF64 | SF_FORMAT_FLOAT);
    EXPECT_EQ(type("x.wav", "pcm24", two_hours), SF_FORMAT_RF64 | SF_FORMAT_PCM_24);
    EXPECT_EQ(type("x.wav", "", two_hours / 4), SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    EXPECT_EQ(type("x.aiff", "", two_hours), SF_FORMAT_AIFF | SF_FORMAT_FLOAT);
    EXPECT_EQ(type("x.caf", "", two_hours), SF_FORMAT_CAF | SF_FORMAT_FLOAT);
}
