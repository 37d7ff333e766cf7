// Whole renders through the loaded module while buffers come, change and go, and tables are chosen.
#include "module_session.h"

namespace {

using ::testing::Each;

class sources : public module_session {
protected:
    void SetUp() override
    {
        module_session::SetUp();
        level("sample1", 1);
    }

    static bool needs_buffer(int layout) { return layout != 1 && layout != 10; }

    static signal block(t_object *x) { return play(x, 1, 64)[0]; }
};

TEST_F(sources, a_fog_without_a_buffer_takes_its_place_for_its_time_in_layouts_1_and_10)
{
    host::delete_buffer("sample1");
    for (const int layout : layouts) {
        t_object *x = player(layout);
        host::send(x, 0, "bang");
        for (const signal &out : play(x, 34, 64)) EXPECT_THAT(out, Each(0.0)); // 2176 samples
        EXPECT_EQ(ask(x, "usedfogs"), needs_buffer(layout) ? 0 : 1) << layout;
        block(x);
        EXPECT_EQ(ask(x, "usedfogs"), 0) << layout;
    }
}

TEST_F(sources, a_fog_without_a_reference_ends_at_once_except_in_layout_1)
{
    for (const int layout : layouts) {
        t_object *x =
            host::create("k.vorb~ " + std::to_string(layout) + " sample1 5 0 1 0 1 0 50 0");
        host::start_audio();
        host::send(x, 0, "bang"); // ahead of the deferred choice of the table
        host::drain();
        EXPECT_THAT(block(x), Each(0.0)) << layout;
        EXPECT_EQ(ask(x, "usedfogs"), layout == 1 ? 1 : 0) << layout;
        EXPECT_THAT(block(x), Each(0.0)) << layout; // silent for life
        host::send(x, 0, "bang");
        EXPECT_NEAR(block(x)[63], 1, near_one) << layout;
        host::take_console();
    }
}

TEST_F(sources, fogs_keep_the_table_they_started_with)
{
    level("sample2", 0.25);
    t_object *x = player(1);
    host::send(x, 0, "bang");
    host::run();
    for (const auto &[message, expected] :
         {std::pair{"set sample2", 1.25}, {"set sample1", 2.25}, {"2", 2.5}, {"1", 3.5}}) {
        host::send(x, 0, message);
        host::drain();
        host::send(x, 0, "bang");
        EXPECT_NEAR(block(x)[63], expected, 4 * near_one) << message;
    }
    host::delete_buffer("sample2");
    EXPECT_NEAR(block(x)[63], 3, 4 * near_one);
}

TEST_F(sources, tables_may_be_chosen_before_or_after_the_constructor_returns)
{
    for (const bool at_once : {true, false}) {
        host::defer_at_once(at_once);
        t_object *x = host::create("k.vorb~ 1 sample1 5 0 1 0 1 0 50 0");
        host::start_audio();
        host::send(x, 0, "bang");
        EXPECT_NEAR(block(x)[63], at_once ? 1 : 0, near_one);
        host::drain();
        host::send(x, 0, "bang");
        EXPECT_NEAR(block(x)[63], at_once ? 2 : 1, 2 * near_one);
        host::destroy(x);
    }
    host::defer_at_once(false);
}

} // namespace
