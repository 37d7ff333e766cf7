// What comes from outside while a score renders: signals, closed pipes, and who watches.
#include "workshop.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class Interrupts : public workshop {
protected:
    void SetUp() override
    {
        workshop::SetUp();
        write("long.score", "object v k.vorb~\n86400000 end\n");
        write("short.score", "object v k.vorb~\n100 end\n");
        before = inventory();
    }

    bool said(const std::string &text) const { return last.err.find(text) != std::string::npos; }

    std::string before;
};

TEST_F(Interrupts, leave_nothing)
{
    for (const int s : {SIGTERM, SIGINT, SIGHUP}) {
        circumstances around;
        around.interrupted_after_ms = 300;
        around.interrupt = s;
        EXPECT_EQ(run({"long.score", "-o", "x.flac"}, around).status, 1) << s;
        EXPECT_TRUE(said("\nrender: interrupted\n")) << last.err;
        EXPECT_EQ(inventory(), before);
    }
}

TEST_F(Interrupts, that_are_ignored_from_outside_stay_so)
{
    write("hour.score", "object v k.vorb~\n3600000 end\n");
    circumstances around;
    around.interrupted_after_ms = 100;
    around.interrupt = around.ignored = SIGHUP;
    EXPECT_EQ(run({"hour.score", "-o", "x.flac", "--rate", "8000"}, around).status, 0);
}

TEST_F(Interrupts, end_a_score_that_never_comes)
{
    ASSERT_EQ(mkfifo((folder / "pipe.score").c_str(), 0600), 0);
    circumstances around;
    around.interrupted_after_ms = 300;
    EXPECT_EQ(run({"pipe.score", "-o", "x.wav"}, around).status, -1);
}

TEST_F(Interrupts, closed_standard_streams_end_up_in_no_file)
{
    ASSERT_EQ(run({"short.score", "-o", "open.wav", "--picture", "open.png"}).status, 0);
    circumstances around;
    around.closed = true;
    EXPECT_EQ(run({"short.score", "-o", "closed.wav", "--picture", "closed.png"}, around).status,
              0);
    EXPECT_EQ(text_of("open.wav"), text_of("closed.wav"));
    EXPECT_EQ(text_of("open.png"), text_of("closed.png"));
}

TEST_F(Interrupts, by_a_reader_who_left_do_not_end_the_render)
{
    circumstances around;
    around.deaf = true;
    EXPECT_EQ(run({"short.score", "-o", "x.wav"}, around).status, 0);
    EXPECT_EQ(inventory(), before + " x.wav");
}

TEST_F(Interrupts, standard_output_that_takes_nothing_is_status_1)
{
    circumstances around;
    around.out = "/dev/full";
    EXPECT_EQ(run({"short.score", "-o", "x.wav"}, around).status, 1);
    EXPECT_TRUE(said("\nrender: standard output cannot be written\n")) << last.err;
    EXPECT_EQ(run({"--help"}, around).status, 1);
}

TEST_F(Interrupts, progress_is_shown_on_a_terminal_when_it_takes_long)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (terminal < 0) GTEST_SKIP() << "this machine lends no pseudo-terminal";
    close(terminal);
    circumstances around;
    around.interrupted_after_ms = 1800;
    EXPECT_EQ(run({"long.score", "-o", "x.flac"}, around).status, 1);
    EXPECT_FALSE(said("\r")) << "no terminal, no bar";
    around.terminal = true;
    EXPECT_EQ(run({"long.score", "-o", "x.flac"}, around).status, 1);
    EXPECT_TRUE(said("\r[")) << last.err;
    EXPECT_TRUE(said(" %")) << last.err;
    EXPECT_TRUE(said("\r\033[Krender: interrupted")) << "erased at the end: " << last.err;
    around.interrupted_after_ms = 0;
    EXPECT_EQ(run({"short.score", "-o", "x.flac"}, around).status, 0);
    EXPECT_FALSE(said("\r[")) << last.err;
}
