// Every golden score must sound, and be commented on by the object, as it was when its transcript
// and sound were last looked over. `golden_tests --update [NAME...]` makes these anew.
#include "golden_files.h"
#include "score_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host.h>

#include <cstdio>
#include <cstring>
#include <set>

namespace fs = std::filesystem;

namespace {

class golden : public ::testing::TestWithParam<fs::path> {};

TEST_P(golden, sounds_as_it_did)
{
    const performance got = perform(GetParam());
    EXPECT_THAT(got.faults, ::testing::IsEmpty());
    const auto expected = read_golden(GetParam());
    const std::string name = GetParam().stem();
    ASSERT_TRUE(expected) << "nothing to compare with yet: run golden_tests --update " << name;
    const std::string wrong = difference(*expected, got, read_settings(GetParam()).tolerance);
    if (!wrong.empty())
        ADD_FAILURE() << wrong << "if that is meant: golden_tests --update " << name;
}

INSTANTIATE_TEST_SUITE_P(score, golden, ::testing::ValuesIn(golden_scores()),
                         [](const auto &of) { return of.param.stem().string(); });

/// Leaves alone what has not changed. False when the score cannot be played properly.
bool update(const fs::path &score_file)
{
    const performance got = perform(score_file);
    const std::string name = score_file.stem();
    for (const std::string &fault : got.faults)
        std::printf("%s: fault: %s\n", name.c_str(), fault.c_str());
    if (!got.faults.empty()) return false;
    const auto old = read_golden(score_file);
    const std::string news =
        old ? difference(*old, got, read_settings(score_file).tolerance) : "new\n";
    if (news.empty()) return true;
    std::printf("%s: %s", name.c_str(), news.c_str());
    write_golden(score_file, got);
    return true;
}

/// The scores of these names, or all of them.
bool update_all(std::set<std::string> names)
{
    const bool all = names.empty();
    bool well = true;
    for (const fs::path &score_file : golden_scores())
        if (names.erase(score_file.stem()) || all) well = update(score_file) && well;
    for (const std::string &name : names)
        std::printf("there is no score %s in " GOLDEN_SCORES "\n", name.c_str());
    return well && names.empty();
}

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    host::add_folder(EXTERNALS_FOLDER);
    if (argc > 1 && !std::strcmp(argv[1], "--update")) {
        try {
            return update_all({argv + 2, argv + argc}) ? 0 : 1;
        } catch (const std::exception &wrong) {
            std::fprintf(stderr, "%s\n", wrong.what());
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
