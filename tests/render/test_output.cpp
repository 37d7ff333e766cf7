// The output file is whole or not there.
#include "workshop.h"

#include <sndfile.h>
#include <unistd.h>

class Output : public workshop {
protected:
    void SetUp() override
    {
        workshop::SetUp();
        write("s.score", "buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 2 5 2 1\n"
                         "0 v 0 signal 103.7 311.3 5000\n0 v 1 signal 0 1500 5000\n5000 end\n");
        before = inventory();
    }

    std::string before;
};

TEST_F(Output, is_the_same_to_the_byte_every_time)
{
    ASSERT_EQ(run({"s.score", "-o", "a.wav"}).status, 0);
    usleep(1100 * 1000); // no second may be found in the file
    ASSERT_EQ(run({"s.score", "-o", "b.wav"}).status, 0);
    EXPECT_GT(text_of("a.wav").size(), 1000000u);
    EXPECT_EQ(text_of("a.wav"), text_of("b.wav"));
}

TEST_F(Output, replaces_an_older_file_and_leaves_nothing_beside_it)
{
    write("a.wav", "older");
    ASSERT_EQ(run({"s.score", "-o", "a.wav"}).status, 0);
    EXPECT_NEAR(listen(folder / "a.wav").seconds(), 5, 0.01);
    EXPECT_EQ(inventory(), "a.wav " + before);
}

TEST_F(Output, may_be_read_as_any_new_file)
{
    write("plain", "");
    ASSERT_EQ(run({"s.score", "-o", "a.wav"}).status, 0);
    EXPECT_EQ(std::filesystem::status(folder / "a.wav").permissions(),
              std::filesystem::status(folder / "plain").permissions());
}

TEST_F(Output, that_is_a_link_is_written_where_the_link_leads)
{
    std::filesystem::create_directory(folder / "sub");
    write("sub/real.wav", "older");
    for (const std::string target : {"real.wav", "new.wav"}) {
        std::filesystem::create_symlink(target, folder / "sub" / ("to-" + target));
        std::filesystem::create_symlink("sub/to-" + target, folder / "link.wav");
        ASSERT_EQ(run({"s.score", "-o", "link.wav"}).status, 0) << last.err;
        EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.wav"));
        EXPECT_TRUE(std::filesystem::is_symlink(folder / "sub" / ("to-" + target)));
        EXPECT_NEAR(listen(folder / "sub" / target).seconds(), 5, 0.01);
        std::filesystem::remove(folder / "link.wav");
    }
    std::filesystem::create_symlink("turn.wav", folder / "turn.wav");
    EXPECT_EQ(run({"s.score", "-o", "turn.wav"}).status, 2);
    EXPECT_NE(last.err.find("render: turn.wav: cannot be written: Too many levels of symbolic "
                            "links\n"),
              std::string::npos)
        << last.err;
}

TEST_F(Output, keeps_the_permissions_of_an_older_file)
{
    using std::filesystem::perms;
    write("a.wav", "older");
    for (const perms p : {perms::owner_read | perms::owner_write,
                          perms::owner_all | perms::group_all | perms::others_all}) {
        std::filesystem::permissions(folder / "a.wav", p);
        ASSERT_EQ(run({"s.score", "-o", "a.wav"}).status, 0);
        EXPECT_EQ(std::filesystem::status(folder / "a.wav").permissions(), p);
    }
}

TEST_F(Output, integers_stop_at_full_scale_instead_of_turning_over)
{
    write("loud.score", "buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 0 200 0 1\n"
                        "0 v 0 4. -4.\n0 v 0 bang\n100 end\n");
    ASSERT_EQ(run({"loud.score", "-o", "x.wav", "--format", "pcm16"}).status, 0);
    const recording integers = listen(folder / "x.wav");
    EXPECT_GT(integers.channels[0][1000], 0.999);
    EXPECT_LT(integers.channels[1][1000], -0.999);
    EXPECT_NE(last.out.find("peak 6.0 dBFS (clipped)"), std::string::npos) << last.out;
    ASSERT_EQ(run({"loud.score", "-o", "x.wav"}).status, 0);
    EXPECT_FLOAT_EQ(listen(folder / "x.wav").channels[0][1000], 2);
    EXPECT_NE(last.out.find("peak 6.0 dBFS (above full scale)"), std::string::npos) << last.out;
}

TEST_F(Output, at_full_scale_is_not_called_clipped)
{
    write("full.score", "object t through~\n0 t 0 signal -1\n100 end\n");
    for (const char *word : {"pcm16", "float"}) {
        ASSERT_EQ(
            run({"full.score", "-o", "x.wav", "--format", word, "--externals", TEST_EXTERNALS})
                .status,
            0);
        EXPECT_NE(last.out.find(", peak 0.0 dBFS, "), std::string::npos) << last.out;
    }
}
