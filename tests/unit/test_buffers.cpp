// Buffer references: one per table name ever set, kept for the instance's life.
#include "buffer_session.h"

namespace {

// ---- Setting ------------------------------------------------------------------------------------

TEST_F(buffers, a_new_instance_has_no_table_until_the_main_thread_comes_by)
{
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~"));
    EXPECT_EQ(x->inputs.table, nullptr);
    EXPECT_EQ(x->inputs.bufref, nullptr);
    EXPECT_EQ(x->bufref_list, nullptr);
    host::drain();
    EXPECT_EQ(x->inputs.table, gensym("sample1"));
    EXPECT_THAT(names(x), ElementsAre("sample1"));
    EXPECT_EQ(x->inputs.bufref, x->bufref_list->ref);
    EXPECT_NE(x->inputs.bufref, nullptr);
}

TEST_F(buffers, a_host_that_defers_at_once_finds_the_table_set_after_creation)
{
    host::defer_at_once(true);
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 1 voice"));
    host::defer_at_once(false);
    EXPECT_EQ(x->inputs.table, gensym("voice"));
    EXPECT_THAT(names(x), ElementsAre("voice"));
}

TEST_F(buffers, a_name_used_before_gets_its_reference_back)
{
    vorb *x = create("1 foo");
    const t_buffer_ref *foo = x->inputs.bufref;
    set(x, "bar");
    const t_buffer_ref *bar = x->inputs.bufref;
    EXPECT_NE(bar, foo);
    set(x, "foo");
    EXPECT_EQ(x->inputs.bufref, foo);
    EXPECT_EQ(x->inputs.table, gensym("foo"));
    EXPECT_THAT(names(x), ElementsAre("foo", "bar"));
    EXPECT_EQ(find(x, "bar"), bar);
}

TEST_F(buffers, a_fog_keeps_the_table_of_its_start)
{
    level("foo", 0.25);
    level("bar", 1);
    vorb *x = listener("bar");
    host::start_audio();
    send(x, 0, "bang");
    set(x, "foo");
    EXPECT_NEAR(block(x)[63], 1, 1e-6);
    send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 1.25, 1e-6);
}

TEST_F(buffers, set_acts_at_the_left_inlet_alone)
{
    vorb *x = create();
    for (int inlet = 1; inlet < 9; ++inlet) {
        send(x, inlet, "set foo");
        host::drain();
        EXPECT_EQ(x->inputs.table, gensym("sample1")) << inlet;
    }
    EXPECT_THAT(names(x), ElementsAre("sample1"));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(buffers, a_whole_number_at_the_left_inlet_sets_the_sample_of_that_number)
{
    vorb *x = create("1 other");
    for (const char *number : {"2", "-3", "0", "9999999999"}) {
        send(x, 0, number);
        EXPECT_NE(x->inputs.table, gensym((std::string("sample") + number).c_str())) << number;
        host::drain();
        EXPECT_EQ(x->inputs.table, gensym((std::string("sample") + number).c_str())) << number;
    }
    const t_buffer_ref *sample2 = find(x, "sample2");
    set(x, "sample2");
    EXPECT_EQ(x->inputs.bufref, sample2);
    EXPECT_THAT(names(x),
                ElementsAre("other", "sample2", "sample-3", "sample0", "sample9999999999"));
}

TEST_F(buffers, set_waits_for_the_main_thread_and_keeps_its_order)
{
    vorb *x = create();
    for (const char *name : {"c", "a", "b", "a"}) send(x, 0, std::string("set ") + name);
    EXPECT_EQ(x->inputs.table, gensym("sample1"));
    EXPECT_THAT(names(x), ElementsAre("sample1"));
    host::drain();
    EXPECT_EQ(x->inputs.table, gensym("a"));
    EXPECT_EQ(x->inputs.bufref, find(x, "a"));
    EXPECT_THAT(names(x), ElementsAre("sample1", "c", "a", "b")); // also what was overwritten
}

TEST_F(buffers, set_without_a_name_sets_the_empty_name)
{
    vorb *x = create();
    set(x, "");
    EXPECT_EQ(x->inputs.table, gensym(""));
    EXPECT_THAT(names(x), ElementsAre("sample1", ""));
}

TEST_F(buffers, an_instance_has_its_own_references)
{
    vorb *x = create("1 foo"), *y = create("1 foo");
    EXPECT_NE(x->inputs.bufref, y->inputs.bufref);
    EXPECT_EQ(find(y, "bar"), nullptr);
    set(x, "bar");
    EXPECT_EQ(find(y, "bar"), nullptr);
    EXPECT_THAT(names(y), ElementsAre("foo"));
}

TEST_F(buffers, an_entry_is_found_by_the_text_of_its_name)
{
    vorb *x = create("1 foo");
    char text[] = "foo", other[] = "fo";
    t_symbol twin = {text, nullptr}, stranger = {other, nullptr};
    EXPECT_EQ(vorb_bufref_find_entry(x, &twin), x->inputs.bufref);
    EXPECT_EQ(vorb_bufref_find_entry(x, &stranger), nullptr);
    EXPECT_EQ(vorb_newbufref(x, &twin), x->inputs.bufref);
    EXPECT_THAT(names(x), ElementsAre("foo"));
}

TEST_F(buffers, an_empty_list_holds_nothing)
{
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~"));
    EXPECT_EQ(find(x, "sample1"), nullptr);
}

// ---- Fogs and references ------------------------------------------------------------------------

TEST_F(buffers, a_fog_started_before_the_table_is_set_never_finds_it)
{
    level("sample1", 1);
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 1 sample1 5 0 0 0 1 0 60000 0"));
    host::start_audio();
    send(x, 0, "bang");
    EXPECT_THAT(block(x), ::testing::Each(0.0));
    host::drain();
    EXPECT_EQ(x->pool.used->reader.bufref, nullptr);
    EXPECT_THAT(block(x), ::testing::Each(0.0));
    send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 1, 1e-6);
}

TEST_F(buffers, a_name_without_a_buffer_is_silent_until_the_buffer_comes)
{
    vorb *x = listener("later");
    EXPECT_THAT(born, IsEmpty());
    EXPECT_NE(x->inputs.bufref, nullptr);
    EXPECT_EQ(vorb_buffer(x->inputs.bufref), nullptr);
    EXPECT_EQ(vorb_buffer(nullptr), nullptr);
    host::start_audio();
    level("later", 0.5);
    send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 0.5, 1e-6);
}

TEST_F(buffers, a_buffer_that_changes_is_heard_from_the_next_block_on)
{
    level("voice", 0.5);
    vorb *x = listener("voice");
    host::start_audio();
    send(x, 0, "bang");
    EXPECT_NEAR(block(x)[63], 0.5, 1e-6);
    level("voice", -0.75);
    EXPECT_NEAR(block(x)[0], -0.75, 1e-6);
    host::delete_buffer("voice");
    EXPECT_THAT(block(x), ::testing::Each(0.0));
    level("voice", 2);
    EXPECT_NEAR(block(x)[0], 2, 1e-6);
}

TEST_F(buffers, a_reference_not_in_use_now_still_follows_its_buffer)
{
    vorb *x = create("1 foo");
    set(x, "bar");
    level("foo", 1);
    level("bar", 1);
    host::delete_buffer("foo");
    EXPECT_EQ(vorb_buffer(find(x, "foo")), nullptr); // the host objects where a notice was lost
    EXPECT_NE(vorb_buffer(find(x, "bar")), nullptr);
}

// ---- Double-click -------------------------------------------------------------------------------

TEST_F(buffers, a_double_click_opens_the_editor_of_the_current_table)
{
    vorb *x = create("1 foo");
    host::double_click(object(x)); // no such buffer: nothing to open
    level("foo", 1);
    level("bar", 1);
    host::double_click(object(x));
    set(x, "bar");
    host::double_click(object(x));
    host::double_click(object(x));
    EXPECT_EQ(host::views("foo"), 1);
    EXPECT_EQ(host::views("bar"), 2);
    EXPECT_THAT(names(x), ElementsAre("foo", "bar"));
}

TEST_F(buffers, a_double_click_points_the_reference_at_the_table_again)
{
    level("foo", 1);
    level("bar", 1);
    vorb *x = create("1 foo");
    buffer_ref_set(x->inputs.bufref, gensym("bar"));
    host::double_click(object(x));
    EXPECT_EQ(host::views("foo"), 1);
    EXPECT_EQ(host::views("bar"), 0);
}

TEST_F(buffers, a_double_click_before_any_table_makes_a_reference_outside_the_list)
{
    level("sample1", 1);
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~"));
    host::double_click(object(x));
    const t_buffer_ref *nameless = x->inputs.bufref;
    EXPECT_NE(nameless, nullptr);
    EXPECT_EQ(x->bufref_list, nullptr);
    host::double_click(object(x));
    EXPECT_EQ(x->inputs.bufref, nameless);
    host::drain();
    EXPECT_NE(x->inputs.bufref, nameless);
    EXPECT_THAT(names(x), ElementsAre("sample1"));
    EXPECT_EQ(host::views("sample1"), 0);
}

// ---- The end ------------------------------------------------------------------------------------

TEST_F(buffers, an_instance_frees_its_entries_when_it_goes)
{
    vorb *x = create("1 foo");
    set(x, "bar");
    vorb_bufref_entry *first = x->bufref_list, *second = first->next;
    host::destroy(object(x));
    sysmem_freeptr(first); // not known any more
    sysmem_freeptr(second);
    const std::string fault = "sysmem_freeptr: not the host's memory";
    EXPECT_THAT(host::take_faults(), ElementsAre(fault, fault));
}

TEST_F(buffers, freeing_the_entries_leaves_references_and_list_head_as_they_are)
{
    level("foo", 1);
    vorb *x = create("1 foo");
    const vorb_bufref_entry *first = x->bufref_list;
    vorb_bufref_freeall(x);
    EXPECT_EQ(x->bufref_list, first);
    EXPECT_NE(vorb_buffer(x->inputs.bufref), nullptr);
    x->bufref_list = nullptr; // its entries are gone
}

TEST_F(buffers, a_set_still_queued_when_the_instance_goes_is_dropped)
{
    vorb *x = create();
    send(x, 0, "set foo");
    host::destroy(object(x));
    host::drain();
}

} // namespace
