// The guide's scores play, and say what the guide prints below them; nothing that a document points
// to is missing.
#include "child.h"
#include "markdown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

const fs::path root = ROOT;

/// A folder with the repository's sounds, as the top folder has them.
class guide : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "guide-XXXXXX").string();
        folder = mkdtemp(name.data());
        for (const char *shelf : {"media", "docs"})
            fs::create_symlink(root / shelf, folder / shelf);
    }
    void TearDown() override { fs::remove_all(folder); }

    /// What the program says on standard error, after the banner.
    std::string hear(const fs::path &score)
    {
        const outcome heard = run_render(folder, {score, "-o", "out.wav"});
        EXPECT_EQ(heard.status, 0) << heard.err;
        EXPECT_THAT(heard.out, testing::HasSubstr("peak")) << "it is silent";
        return heard.err.substr(heard.err.find('\n') + 1);
    }

    fs::path folder;
};

TEST_F(guide, scores_play_and_say_what_is_printed_below_them)
{
    const auto blocks = read_markdown(root / "docs" / "guide.md").blocks;
    int played = 0;
    for (size_t k = 0; k < blocks.size(); ++k) {
        if (blocks[k].kind != "score") continue;
        SCOPED_TRACE("guide.md:" + std::to_string(blocks[k].line));
        std::ofstream(folder / "snippet.score") << blocks[k].text;
        const bool speaks = k + 1 < blocks.size() && blocks[k + 1].kind == "console";
        EXPECT_EQ(hear("snippet.score"), speaks ? blocks[k + 1].text : "");
        ++played;
    }
    EXPECT_GE(played, 8);
}

TEST_F(guide, scores_of_the_pictures_play_without_a_word)
{
    std::set<fs::path> scores;
    for (const auto &entry : fs::directory_iterator(root / "docs" / "scores"))
        if (entry.path().extension() == ".score") scores.insert(entry.path());
    EXPECT_FALSE(scores.empty());
    for (const fs::path &score : scores) EXPECT_EQ(hear(score), "") << score;
}

TEST_F(guide, links_lead_somewhere)
{
    for (const char *document :
         {"README.md", "docs/guide.md", "docs/reference.md", "docs/speed.md"})
        for (const std::string &link : read_markdown(root / document).links)
            EXPECT_TRUE(fs::exists((root / document).parent_path() / link))
                << document << ": " << link;
}

} // namespace
