// A disk that takes no more is said with the system's own words, and leaves nothing behind.
#include "workshop.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/syscall.h>

static constexpr refusal only_named_files{SYS_openat, EOPNOTSUPP, 2, O_TMPFILE};

class FullDisks : public workshop, public testing::WithParamInterface<const char *> {
protected:
    void SetUp() override
    {
        workshop::SetUp();
        write("s.score", "buffer b half.wav\nobject v k.vorb~ 2 b 20 0 0 0 1 2 5 2 1\n"
                         "0 v 0 signal 103.7 311.3 500\n500 end\n");
    }

    std::string name() const { return GetParam(); }

    outcome make(const circumstances &around = {})
    {
        return run({"s.score", name().find(".png") == name().npos ? "-o" : "--picture", name()},
                   around);
    }

    void expect_full(const circumstances &around, const std::string &why)
    {
        for (const bool older : {false, true}) {
            if (older) write(name(), "older");
            const std::string before = inventory();
            EXPECT_EQ(make(around).status, 2);
            const std::string said = "\nrender: " + name() + ": cannot be written: " + why + "\n";
            EXPECT_NE(last.err.find(said), std::string::npos) << last.err;
            EXPECT_EQ(last.out, "");
            EXPECT_EQ(inventory(), before);
            EXPECT_EQ(text_of(name()), older ? "older" : "");
        }
        std::filesystem::remove(folder / name());
    }
};

TEST_P(FullDisks, are_said_wherever_they_end)
{
    ASSERT_EQ(make().status, 0) << last.err;
    const long size = static_cast<long>(text_of(name()).size());
    std::filesystem::remove(folder / name());
    circumstances small;
    for (const long bytes : {200L, 2000L, size / 2, size - 1}) {
        SCOPED_TRACE(bytes);
        small.largest_file = bytes;
        expect_full(small, "File too large");
    }
    small.largest_file = size;
    EXPECT_EQ(make(small).status, 0) << last.err;
    EXPECT_EQ(static_cast<long>(text_of(name()).size()), size);
}

TEST_P(FullDisks, are_said_whatever_they_refuse)
{
    for (const int call : {SYS_fsync, SYS_linkat}) {
        SCOPED_TRACE(call);
        circumstances full;
        full.refused = {{call, ENOSPC}};
        expect_full(full, "No space left on device");
    }
    circumstances full;
    full.refused = {only_named_files, {SYS_fsync, EDQUOT}};
    expect_full(full, "Disk quota exceeded");
}

TEST_P(FullDisks, of_few_blocks_are_said)
{
    std::filesystem::create_directory(folder / "disk");
    const bool drawn = name().find(".png") != name().npos;
    const std::string command = "cd " + folder.string() +
                                " && unshare -Urm sh -c 'mount -t tmpfs -o size=8k none disk && "
                                "echo mounted && echo older >disk/" +
                                name() + "; " RENDER_PROGRAM " s.score " +
                                (drawn ? "--picture" : "-o") + " disk/" + name() +
                                "; ls -A disk; cat disk/*' 2>&1";
    FILE *shell = popen(command.c_str(), "r");
    ASSERT_TRUE(shell);
    std::string said;
    char some[1000];
    while (std::fgets(some, sizeof some, shell)) said += some;
    pclose(shell);
    if (said.find("mounted") == said.npos) GTEST_SKIP() << "no disk can be made here: " << said;
    EXPECT_NE(said.find("\nrender: disk/" + name() +
                        ": cannot be written: No space left on device\n" + name() + "\nolder\n"),
              said.npos)
        << said;
}

INSTANTIATE_TEST_SUITE_P(All, FullDisks,
                         testing::Values("x.wav", "x.aiff", "x.au", "x.caf", "x.w64", "x.flac",
                                         "x.ogg", "x.png"),
                         [](const auto &test) { return std::string(test.param + 2); });
