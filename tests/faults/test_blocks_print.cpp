// Printing, and asking for memory, on the audio thread. The host notes any use of the heap within a
// block, and each test ends without such a note.
#include "fault_session.h"

#include <algorithm>

namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using blocks_print = fault_session;

FOR_EVERY_SOURCE(blocks_print);

TEST_P(blocks_print, nothing_while_a_pool_fills_and_its_buffer_changes)
{
    fill(1);
    t_object *x = create(std::to_string(source().layout) + " sample1 100 0 1 20 1 1 5 1 0.5");
    host::connect(x, 0);
    host::connect(x, 1);
    for (int i = 0; i < 64; ++i) host::input(x, 1)[i] = 20 + i;
    long most = 0;
    for (int b = 0; b < 3000; ++b) { // 4.4 s
        std::fill_n(host::input(x, 0), 64, 13000.0 * b / 3000);
        if (b % 100 == 50) fill(b / 3000.0);
        host::run();
        if (b % 500 == 499) most = std::max(most, ask(x, "usedfogs"));
    }
    EXPECT_GT(most, 70);
    EXPECT_THAT(console(), IsEmpty());
}

/// However many fogs are missing, the console has one line a second, with their number.
TEST_P(blocks_print, one_line_a_second_however_many_fogs_are_missing)
{
    for (const auto &[message, text] : {std::pair{"maxfogs 1", "out of fogs"},
                                        {"maxfogs 10, limit 0 1", "fogs upper limit reached"}}) {
        host::unload();
        fill(1);
        t_object *x = create(std::to_string(source().layout) + " sample1 1 0 0 0 1 0 1e9 0");
        host::connect(x, 0);
        std::fill_n(host::input(x, 0), 64, 44100.0 / 64); // a fog a block
        host::send(x, 0, message);
        const double block_ms = 64 / 44.1;
        const int blocks = static_cast<int>(10500 / block_ms);
        for (int b = 0; b < blocks; ++b) {
            host::set_time(100000 + b * block_ms);
            host::run();
        }
        std::vector<std::string> said = console();
        EXPECT_EQ(said.size(), 11U) << message; // the first at once
        EXPECT_THAT(said, Each(HasSubstr(text)));
        ASSERT_FALSE(said.empty());
        EXPECT_EQ(said[0], "!k.vorb~: " + std::string(text) + " (1)");
        EXPECT_EQ(said.back(), "!k.vorb~: " + std::string(text) + " (690)"); // blocks of 1001 ms
    }
}

} // namespace
