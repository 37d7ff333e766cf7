// The reference is true: what its tables say of messages and of the numbers in them is what the
// object does. All names and values come from the document.
#include "reference_session.h"

#include <algorithm>
#include <limits>
#include <set>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string selector_of(const row &message)
{
    const std::string usage = quoted(message["Message"]).at(0);
    return usage.substr(0, usage.find(' '));
}

// ---- Messages -----------------------------------------------------------------------------------

TEST_F(reference, lists_each_message_that_a_patch_can_send_once)
{
    std::vector<std::string> listed;
    for (const row &r : table_with(text(), "Least")) listed.push_back(selector_of(r));
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, host::selectors(create("")));
}

TEST_F(reference, messages_are_answered_at_their_inlets_and_ignored_elsewhere)
{
    const trace untouched = play_scene();
    const int inlets = host::inlets(create(""));
    for (const row &r : table_with(text(), "Least")) {
        std::istringstream listed(r["Inlets"]);
        const std::set<int> answering{std::istream_iterator<int>(listed), {}};
        const std::string example = quoted(r["Example"]).at(0);
        for (int inlet = 0; inlet < inlets; ++inlet)
            EXPECT_EQ(play_scene(sending(inlet, example)) == untouched, !answering.count(inlet))
                << at(r) << ": " << example << " at inlet " << inlet;
    }
}

TEST_F(reference, messages_short_of_arguments_are_refused)
{
    const trace untouched = play_scene();
    for (const row &r : table_with(text(), "Least")) {
        const host::atoms words = host::parse(quoted(r["Example"]).at(0));
        const int least = std::stoi(r["Least"]);
        if (!least) continue;
        const std::string selector = selector_of(r);
        const auto with_only = [&](int count) {
            const host::atoms given(words.begin() + 1, words.begin() + 1 + count);
            return play_scene([&](t_object *x) { host::send(x, 0, selector.c_str(), given); });
        };
        EXPECT_THAT(with_only(least).said, IsEmpty()) << at(r);
        const trace refused = with_only(least - 1);
        EXPECT_THAT(refused.said,
                    ElementsAre("!k.vorb~: insufficient arguments for " + selector + " message"))
            << at(r);
        EXPECT_TRUE(refused.like(untouched)) << at(r);
    }
}

TEST_F(reference, messages_with_arguments_too_many_do_the_same)
{
    for (const row &r : table_with(text(), "Least")) {
        const std::string example = quoted(r["Example"]).at(0);
        if (!std::stoi(r["Least"])) continue;
        EXPECT_EQ(play_scene(sending(0, example + " 7 8 9 10 11")), play_scene(sending(0, example)))
            << at(r);
    }
}

// ---- Ranges -------------------------------------------------------------------------------------

/// A message with a gap for the number that a row of the ranges is about.
class gap {
public:
    gap(const markdown &text, const row &range) : to_seconds(range["Unit"] == "ms, checked in s")
    {
        const std::string where = range["Message"];
        if (where.rfind("inlet ", 0) == 0) {
            inlet = std::stoi(where.substr(6));
            words = {host::atom("float"), host::atom(0.0)};
            for (const row &r : table_with(text, "Assist text"))
                if (r["Inlet"] == std::to_string(inlet))
                    words[1] = host::parse(quoted(r["Example"]).at(0)).at(0);
        } else {
            for (const row &r : table_with(text, "Least"))
                if (selector_of(r) == quoted(where).at(0))
                    words = host::parse(quoted(r["Example"]).at(0));
            if (words[0].a_type != A_SYM) words.insert(words.begin(), host::atom("list"));
        }
        place = std::stoul(range["Number"]);
    }

    std::function<void(t_object *)> example() const { return sending(words); }
    std::function<void(t_object *)> with(const t_atom &value) const
    {
        host::atoms filled = words;
        filled.at(place) = value;
        return sending(filled);
    }
    std::function<void(t_object *)> with(double checked) const
    {
        return with(host::atom(to_seconds ? checked * 1000 : checked));
    }
    /// What the object checks when it is given a value.
    float checked(float value) const
    {
        return to_seconds ? float(double(float(double(value) * 1000)) * 0.001) : value;
    }

private:
    std::function<void(t_object *)> sending(const host::atoms &filled) const
    {
        return [filled, at = inlet](t_object *x) {
            host::send(x, at, filled[0].a_w.w_sym->s_name, {filled.begin() + 1, filled.end()});
        };
    }

    int inlet = 0;
    host::atoms words; // the selector and its arguments
    size_t place = 1;
    bool to_seconds;
};

TEST_F(reference, numbers_from_bound_to_bound_are_taken_without_a_report)
{
    for (const row &r : table_with(text(), "Label")) {
        const gap message(text(), r);
        EXPECT_THAT(play_scene(message.example()).said, IsEmpty()) << at(r);
        for (const char *end : {"Low", "High"}) {
            const float value = bound(r[end]);
            if (std::isinf(message.checked(value))) continue; // no float can be given for it
            const trace taken = play_scene(message.with(double(value)));
            EXPECT_THAT(taken.said, Not(Contains(::testing::HasSubstr("out of range"))))
                << at(r) << ": " << end;
        }
    }
}

TEST_F(reference, numbers_beyond_a_bound_are_reported_and_replaced_by_the_fallback)
{
    const float far = std::numeric_limits<float>::infinity();
    for (const row &r : table_with(text(), "Label")) {
        const gap message(text(), r);
        const trace fallen = play_scene(message.with(double(bound(r["Fallback"]))));
        EXPECT_FALSE(fallen.like(play_scene(message.example()))) << at(r) << ": it is not noticed";
        for (const float value :
             {std::nextafter(bound(r["Low"]), -far), std::nextafter(bound(r["High"]), far)}) {
            const trace replaced = play_scene(message.with(double(value)));
            EXPECT_THAT(replaced.said, ElementsAre(report(r, message.checked(value)))) << at(r);
            EXPECT_TRUE(replaced.like(fallen)) << at(r) << ": " << value;
        }
    }
}

TEST_F(reference, a_word_for_a_number_counts_as_zero)
{
    for (const row &r : table_with(text(), "Label")) {
        const gap message(text(), r);
        if (r["Message"].rfind("inlet", 0) == 0) continue; // no word arrives there
        trace zero = play_scene(message.with(0.0));
        zero.said.insert(zero.said.begin(), "!k.vorb~: expected number argument");
        EXPECT_EQ(play_scene(message.with(host::atom("word"))), zero) << at(r);
    }
}

} // namespace
