// Notices of buffers, passed on to every reference; and references and entries that fail.
#include "buffer_session.h"
#include "host_function.h"

#include <deque>

static std::deque<t_max_err> answers; // to the next notices, in place of the host's own
static bool references_fail = false;

t_max_err buffer_ref_notify(t_buffer_ref *ref, t_symbol *s, t_symbol *msg, void *sender, void *data)
{
    if (answers.empty())
        return host_function<decltype(buffer_ref_notify)>("buffer_ref_notify")(ref, s, msg, sender,
                                                                               data);
    const t_max_err answer = answers.front();
    answers.pop_front();
    return answer;
}

t_buffer_ref *buffer_ref_new(t_object *x, t_symbol *name)
{
    if (references_fail) return nullptr;
    return host_function<decltype(buffer_ref_new)>("buffer_ref_new")(x, name);
}

namespace {

// ---- Notices ------------------------------------------------------------------------------------

TEST_F(buffers, a_notice_to_an_empty_list_is_no_error)
{
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~"));
    console();
    EXPECT_EQ(vorb_notify(x, nullptr, nullptr, nullptr, nullptr), MAX_ERR_NONE);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(buffers, a_notice_that_every_reference_takes_is_no_error)
{
    vorb *x = create("1 foo");
    EXPECT_EQ(vorb_notify(x, gensym("foo"), gensym("other"), nullptr, nullptr), MAX_ERR_NONE);
    EXPECT_EQ(vorb_bufref_notify_all(x, gensym("foo"), gensym("other"), nullptr, nullptr),
              MAX_ERR_NONE);
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(buffers, each_reference_that_refuses_a_notice_is_reported_and_the_last_error_returned)
{
    vorb *x = create("1 foo");
    for (const char *name : {"bar", "baz", "last"}) set(x, name);
    answers = {-1, 0, -3, 0};
    EXPECT_EQ(vorb_notify(x, nullptr, nullptr, nullptr, nullptr), -3);
    EXPECT_THAT(answers, IsEmpty()); // all four were told
    const auto rows = host::take_console();
    ASSERT_EQ(rows.size(), 2u);
    for (const host::line &row : rows) {
        EXPECT_EQ(row.text, "vorb_bufref_notify_all: error = "); // with a blank and no number
        EXPECT_EQ(row.object, object(x));
        EXPECT_FALSE(row.error);
    }
}

TEST_F(buffers, after_one_failure_the_other_references_are_still_told)
{
    const auto x = reinterpret_cast<vorb *>(host::create("k.vorb~ 1 foo"));
    console();
    vorb_bufref_add_entry(x, gensym("broken"), nullptr); // stands first
    host::drain();
    level("foo", 1);
    EXPECT_NE(vorb_buffer(x->inputs.bufref), nullptr);
    EXPECT_THAT(console(), ElementsAre("vorb_bufref_notify_all: error = "));
    EXPECT_EQ(vorb_notify(x, gensym("foo"), gensym("other"), nullptr, nullptr),
              MAX_ERR_INVALID_PTR); // though the last one succeeds
    const std::string fault = "buffer_ref_notify: no such buffer reference";
    EXPECT_THAT(host::take_faults(), ElementsAre(fault, fault));
}

// ---- Failures
// --------------------------------------------------------------------------------------

TEST_F(buffers, without_memory_for_an_entry_the_reference_is_used_unlisted)
{
    vorb *x = create();
    send(x, 0, "set foo");
    host::fail_allocation(1);
    host::drain();
    const auto rows = host::take_console();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].text, "vorb_bufref_add_entry: cannot allocate memory");
    EXPECT_EQ(rows[0].object, object(x));
    const t_buffer_ref *unlisted = x->inputs.bufref;
    EXPECT_EQ(x->inputs.table, gensym("foo"));
    EXPECT_NE(unlisted, nullptr);
    EXPECT_NE(unlisted, x->bufref_list->ref);
    EXPECT_THAT(names(x), ElementsAre("sample1"));
    answers = {0, 0};
    vorb_notify(x, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(answers.size(), 1u); // nor is it notified
    answers.clear();
    set(x, "foo"); // a second reference of that name, listed
    EXPECT_NE(x->inputs.bufref, unlisted);
    EXPECT_THAT(names(x), ElementsAre("sample1", "foo"));
    EXPECT_THAT(console(), IsEmpty());
}

TEST_F(buffers, a_host_without_references_leaves_the_table_set_and_the_list_as_it_was)
{
    vorb *x = create("1 foo");
    references_fail = true;
    set(x, "bar");
    set(x, "bar");
    references_fail = false;
    EXPECT_EQ(x->inputs.table, gensym("bar"));
    EXPECT_EQ(x->inputs.bufref, nullptr);
    EXPECT_THAT(names(x), ElementsAre("foo"));
    EXPECT_THAT(console(), IsEmpty());
}

} // namespace
