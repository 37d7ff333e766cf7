// The picture as the program writes it, read back pixel by pixel.
#include "colours.h"
#include "layout.h"
#include "workshop.h"

#include <cairo.h>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

class Picture : public workshop {
protected:
    void SetUp() override
    {
        workshop::SetUp();
        std::vector<float> sine(88200);
        for (size_t i = 0; i < sine.size(); ++i)
            sine[i] =
                static_cast<float>(std::sin(2 * M_PI * 1000 * static_cast<double>(i) / 44100));
        write_sound("sine.wav", sine);
        // the right outlet sounds in the second half
        write("s.score", "buffer b sine.wav\nobject v k.vorb~ 2 b 20 0 1 0 1 0 0 10 1\n"
                         "0 v 6 500\n0 v 0 1 0\n0 v 0 bang\n500 v 0 0 1\n500 v 0 bang\n1000 end\n");
        before = inventory();
    }

    void draw(const std::vector<std::string> &more = {})
    {
        std::vector<std::string> arguments{"s.score", "--picture", "s.png"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(run(arguments).status, 0) << last.err;
        drawn.reset(cairo_image_surface_create_from_png((folder / "s.png").c_str()));
        ASSERT_EQ(cairo_surface_status(drawn.get()), CAIRO_STATUS_SUCCESS);
    }

    int width() const { return cairo_image_surface_get_width(drawn.get()); }
    int height() const { return cairo_image_surface_get_height(drawn.get()); }

    colour pixel(double x, double y) const
    {
        const unsigned char *row =
            cairo_image_surface_get_data(drawn.get()) +
            static_cast<int>(y) * cairo_image_surface_get_stride(drawn.get());
        const std::uint32_t p = reinterpret_cast<const std::uint32_t *>(row)[static_cast<int>(x)];
        const auto part = [&](int shift) { return (p >> shift & 255) / 255.0; };
        return {part(16), part(8), part(0)};
    }

    static double difference(const colour &a, const colour &b)
    {
        return std::abs(a.red - b.red) + std::abs(a.green - b.green) + std::abs(a.blue - b.blue);
    }

    static double brightness(const colour &c) { return c.red + c.green + c.blue; }

    /// Whether there is any ink on a white place.
    bool inked(double x, double y) const { return brightness(pixel(x, y)) < 2.9; }

    /// The brightest pixel of a column of the spectrogram, as a frequency.
    double brightest(const box &b, double x, double top) const
    {
        double best = b.y;
        for (double y = b.y; y < b.bottom(); ++y)
            if (brightness(pixel(x, y)) > brightness(pixel(x, best))) best = y;
        return top * (b.bottom() - best - 0.5) / b.height;
    }

    std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> drawn{nullptr,
                                                                        cairo_surface_destroy};
    std::string before;
};

TEST_F(Picture, shows_a_full_scale_sine_at_its_frequency_in_the_colour_of_0_dB)
{
    ASSERT_NO_FATAL_FAILURE(draw());
    const layout l = lay_out(2);
    EXPECT_EQ(width(), l.width);
    EXPECT_EQ(height(), l.height);
    for (const double x : {0.2, 0.4, 0.6, 0.8}) {
        const double at = l.spectrogram.x + x * l.spectrogram.width;
        EXPECT_NEAR(brightest(l.spectrogram, at, 8000), 1000, 21) << x;
        const double y = l.spectrogram.bottom() - l.spectrogram.height / 8;
        EXPECT_LT(difference(pixel(at, y), level_colour(1)), 0.1) << x;
        EXPECT_LT(difference(pixel(at, l.spectrogram.y + 10), level_colour(0)), 0.1) << x;
    }
    EXPECT_EQ(inventory(), "half.wav quarter.wav s.png s.score sine.wav") << "no sound file";
    EXPECT_EQ(last.out.find("s.png: 1.001 s, 2 channels, peak 0.0 dBFS"), 0u) << last.out;
}

TEST_F(Picture, shows_each_outlet_in_its_lane_and_time)
{
    ASSERT_NO_FATAL_FAILURE(draw());
    const layout l = lay_out(2);
    for (size_t k = 0; k < 2; ++k)
        for (const double x : {0.2, 0.4, 0.6, 0.8}) {
            const box &lane = l.lanes[k];
            for (const double y : {0.1, 0.9}) // of the lane's height: amplitudes of 0.8
                EXPECT_EQ(inked(lane.x + x * lane.width, lane.y + y * lane.height),
                          (x > 0.5) == (k == 1))
                    << k << ' ' << x;
        }
}

TEST_F(Picture, has_a_mean_spectrum_that_peaks_beside_its_frequency)
{
    ASSERT_NO_FATAL_FAILURE(draw());
    const layout l = lay_out(2);
    const double x = l.mean.right() - 4; // 1.2 dB below 0 dB, where no grid line runs
    std::vector<double> rows;
    for (double y = l.mean.y; y < l.mean.bottom(); ++y)
        if (inked(x, y) && std::abs(y - (l.mean.bottom() - l.mean.height / 8)) > 30)
            rows.push_back(y);
    for (const double y : rows)
        EXPECT_EQ(std::lround(l.mean.bottom() - y) % 50, 0) << "only the grid is elsewhere";
    EXPECT_TRUE(inked(x, l.mean.bottom() - l.mean.height / 8 - 1));
}

TEST_F(Picture, goes_up_to_another_frequency_and_folds_and_starts_later)
{
    ASSERT_NO_FATAL_FAILURE(draw({"--picture-top", "5000", "--stereo=mono", "--start", "300"}));
    const layout l = lay_out(2);
    const double at = l.spectrogram.x + 0.1 * l.spectrogram.width;
    EXPECT_NEAR(brightest(l.spectrogram, at, 5000), 1000, 14);
    const box &left = l.lanes[0], &right = l.lanes[1];
    EXPECT_TRUE(inked(right.x + 0.1 * right.width, right.y + 0.1 * right.height));
    EXPECT_TRUE(inked(left.x + 0.25 * left.width, left.y + 0.1 * left.height));
    EXPECT_FALSE(inked(left.x + 0.4 * left.width, left.y + 0.1 * left.height)) << "outlet 2";
    // the first block at or after 300 ms is the 207th, the end at 1 s the 690th
    const double from = 207 * 64 / 44100.0, to = 690 * 64 / 44100.0;
    for (const double t : {0.4, 0.7, 0.9}) {
        const double mark = l.spectrogram.x + (t - from) / (to - from) * l.spectrogram.width;
        EXPECT_TRUE(inked(mark, l.spectrogram.bottom() + 3)) << t;
        EXPECT_FALSE(inked(mark + 20, l.spectrogram.bottom() + 3)) << t;
    }
}

TEST_F(Picture, ends_at_half_the_sample_rate)
{
    ASSERT_NO_FATAL_FAILURE(draw({"--rate", "8000"}));
    const layout l = lay_out(2);
    const double at = l.spectrogram.x + 0.2 * l.spectrogram.width;
    EXPECT_NEAR(brightest(l.spectrogram, at, 4000), 1000, 11);
}

TEST_F(Picture, of_ten_outlets_of_silence_and_of_one_block_is_drawn)
{
    write("s.score", "object v k.vorb~ 10\n1 end\n");
    ASSERT_NO_FATAL_FAILURE(draw());
    const layout l = lay_out(10);
    EXPECT_EQ(height(), l.height);
    const double middle = l.spectrogram.x + l.spectrogram.width / 2;
    EXPECT_LT(difference(pixel(middle, l.spectrogram.y + 200), level_colour(0)), 0.02);
    for (const box &lane : l.lanes) EXPECT_TRUE(inked(lane.x + 400, lane.y + lane.height / 2));
}

TEST_F(Picture, goes_with_a_sound_file_and_changes_nothing_in_it)
{
    ASSERT_NO_FATAL_FAILURE(draw({"-o", "a.wav"}));
    EXPECT_EQ(last.out.find("a.wav and s.png: 1.001 s, 2 channels"), 0u) << last.out;
    ASSERT_EQ(run({"s.score", "-o", "b.wav"}).status, 0);
    EXPECT_EQ(text_of("a.wav"), text_of("b.wav"));
}

TEST_F(Picture, is_the_same_every_time)
{
    ASSERT_NO_FATAL_FAILURE(draw());
    const std::string first = text_of("s.png");
    ASSERT_NO_FATAL_FAILURE(draw());
    EXPECT_EQ(text_of("s.png"), first);
}

TEST_F(Picture, bears_any_file_name_and_needs_no_font)
{
    write("\xC4\xFF.score", "object v k.vorb~\n100 end\n");
    EXPECT_EQ(run({"\xC4\xFF.score", "--picture", "x.png"}).status, 0) << last.err;
    write("fonts.conf", "<fontconfig></fontconfig>");
    setenv("FONTCONFIG_FILE", (folder / "fonts.conf").c_str(), 1);
    EXPECT_EQ(run({"s.score", "--picture", "x.png"}).status, 0) << last.err;
    unsetenv("FONTCONFIG_FILE");
}

TEST_F(Picture, that_cannot_be_written_is_said_and_nothing_is_left)
{
    std::filesystem::create_directory(folder / "taken.png");
    std::filesystem::create_symlink("a.wav", folder / "link.png");
    std::filesystem::copy_file(folder / "sine.wav", folder / "sound.png");
    write("p.score", "buffer b sound.png\nobject v k.vorb~\n100 end\n");
    write("score.png", "object v k.vorb~\n100 end\n");
    before = inventory();
    const auto refused = [&](const std::vector<std::string> &arguments, const std::string &line) {
        EXPECT_EQ(run(arguments).status, 2);
        EXPECT_NE(last.err.find("render: " + line + "\n"), std::string::npos) << last.err;
        EXPECT_EQ(last.out, "");
        EXPECT_EQ(inventory(), before);
    };
    refused({"s.score", "-o", "a.wav", "--picture", "nowhere/x.png"},
            "nowhere/x.png: cannot be written: No such file or directory");
    refused({"s.score", "-o", "a.wav", "--picture", "taken.png"},
            "taken.png: cannot be written: it is no ordinary file");
    refused({"s.score", "--picture", "x.jpg"}, "x.jpg: a picture's ending must be png");
    refused({"s.score", "--picture", ""}, "--picture is empty");
    refused({"s.score", "-o", "a.wav", "--picture", "link.png"},
            "link.png: that is the sound file too");
    refused({"p.score", "--picture", "./sound.png"},
            "./sound.png: the score itself plays that file");
    refused({"score.png", "--picture", "score.png"}, "score.png: that is the score itself");
    refused({"s.score", "--picture", "x.png", "--picture-top", "20"},
            "--picture-top: Value 20 not in range 100 to 384000");

    circumstances small;
    small.largest_file = 6000;
    write("x.png", "older");
    before = inventory();
    EXPECT_EQ(run({"s.score", "--picture", "x.png"}, small).status, 2);
    EXPECT_NE(last.err.find("\nrender: x.png: cannot be written: File too large\n"),
              std::string::npos)
        << last.err;
    EXPECT_EQ(run({"s.score", "-o", "a.wav", "--picture", "x.png"}, small).status, 2);
    EXPECT_EQ(inventory(), before);
    write("s.score", "object v k.vorb~\n1 end\n"); // room for the sound, not for the picture
    EXPECT_EQ(run({"s.score", "-o", "a.wav", "--picture", "x.png"}, small).status, 2);
    EXPECT_EQ(inventory(), before);
    EXPECT_EQ(text_of("x.png"), "older");
}

TEST_F(Picture, that_is_interrupted_leaves_nothing)
{
    write("long.score", "object v k.vorb~\n86400000 end\n");
    before = inventory();
    circumstances around;
    around.interrupted_after_ms = 300;
    EXPECT_EQ(run({"long.score", "-o", "x.flac", "--picture", "x.png"}, around).status, 1);
    EXPECT_NE(last.err.find("\nrender: interrupted\n"), std::string::npos) << last.err;
    EXPECT_EQ(inventory(), before);
}
