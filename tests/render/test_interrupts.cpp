// What comes from outside while a score renders: signals, closed pipes, and who watches.
#include "workshop.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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
        around.interrupted_at_bytes = 100000;
        around.interrupt = s;
        EXPECT_EQ(run({"long.score", "-o", "x.flac"}, around).status, 1) << s;
        EXPECT_TRUE(said("\nrender: interrupted\n")) << last.err;
        EXPECT_EQ(inventory(), before);
    }
}

TEST_F(Interrupts, of_every_kind_leave_an_older_file_as_it_was)
{
    write("x.wav", "older");
    write("x.png", "older");
    before = inventory();
    for (const int s : {SIGKILL, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGALRM}) {
        circumstances around;
        around.interrupted_at_bytes = 100000;
        around.interrupt = s;
        const bool caught = s == SIGTERM || s == SIGINT || s == SIGHUP;
        EXPECT_EQ(run({"long.score", "-o", "x.wav", "--picture", "x.png"}, around).status,
                  caught ? 1 : -1)
            << s;
        EXPECT_EQ(inventory(), before) << s;
        EXPECT_EQ(text_of("x.wav"), "older") << s;
        EXPECT_EQ(text_of("x.png"), "older") << s;
    }
}

/// At whatever moment: also as the files take their places.
TEST_F(Interrupts, leave_the_older_file_or_the_new_one)
{
    ASSERT_EQ(run({"short.score", "-o", "x.wav"}).status, 0);
    const std::string whole = text_of("x.wav");
    for (const int s : {SIGKILL, SIGTERM})
        for (int ms = 1; ms < 60; ms += 2) {
            write("x.wav", "older");
            before = inventory();
            circumstances around;
            around.interrupt = s;
            around.interrupted_after_ms = ms;
            const int status = run({"short.score", "-o", "x.wav"}, around).status;
            const std::string left = text_of("x.wav");
            EXPECT_TRUE(left == whole || (left == "older" && status != 0)) << ms << ' ' << left;
            // Killed between two system calls, the whole new file may stay beside the older one.
            const std::string all = inventory();
            EXPECT_TRUE(all == before || (s == SIGKILL && all.find(".render.") == 0)) << all;
        }
}

TEST_F(Interrupts, leave_nothing_where_every_file_has_a_name_but_when_they_cannot_be_caught)
{
    circumstances around;
    around.refused = {{SYS_openat, EOPNOTSUPP, 2, O_TMPFILE}};
    around.interrupted_at_bytes = 100000;
    for (const int s : {SIGTERM, SIGINT, SIGHUP}) {
        around.interrupt = s;
        EXPECT_EQ(run({"long.score", "-o", "x.wav"}, around).status, 1);
        EXPECT_EQ(inventory(), before);
    }
    around.interrupt = SIGKILL;
    EXPECT_EQ(run({"long.score", "-o", "x.wav"}, around).status, -1);
    const std::string left = inventory();
    EXPECT_EQ(left.find(".render."), 0u);
    EXPECT_EQ(left.substr(sizeof ".render.XXXXXX"), before);
    around.interrupted_at_bytes = 0; // the next render works, and touches nothing of it
    EXPECT_EQ(run({"short.score", "-o", "x.wav"}, around).status, 0) << last.err;
    EXPECT_EQ(inventory(), left + " x.wav");
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
