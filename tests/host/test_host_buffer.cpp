// Buffers by name: contents, references, notices and locks.
#include "probe.h"

#include <tuple>

namespace {

class host_buffer : public host_session {
protected:
    /// A probe with a reference to the name, which forwards its notices to it.
    probe *listener(const char *name)
    {
        acts.noticed = [this](probe *x, t_symbol *s, t_symbol *msg, void *sender, void *data) {
            notices.push_back(std::string(s->s_name) + " " + msg->s_name);
            last_sender = sender;
            static_cast<void>(x);
            return ref ? buffer_ref_notify(ref, s, msg, sender, data) : t_max_err{MAX_ERR_NONE};
        };
        probe *x = create();
        ref = buffer_ref_new(object(x), gensym(name));
        return x;
    }

    t_buffer_obj *bound() const { return buffer_ref_getobject(ref); }
    std::vector<std::string> noticed() { return std::exchange(notices, {}); }

    t_buffer_ref *ref = nullptr;
    std::vector<std::string> notices;
    void *last_sender = nullptr;
};

TEST_F(host_buffer, shows_its_contents_frame_by_frame)
{
    listener("b");
    host::set_buffer("b", 3, 22050.5, {0, 1, 2, 10, 11, 12});
    t_buffer_obj *b = bound();
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(buffer_getchannelcount(b), 3);
    EXPECT_EQ(buffer_getframecount(b), 2);
    EXPECT_EQ(buffer_getsamplerate(b), 22050.5);
    const float *samples = buffer_locksamples(b);
    EXPECT_THAT(std::vector<float>(samples, samples + 6), ElementsAre(0, 1, 2, 10, 11, 12));
    buffer_unlocksamples(b);
}

TEST_F(host_buffer, resolves_to_nothing_until_it_exists_and_after_it_went)
{
    listener("b");
    EXPECT_EQ(bound(), nullptr);
    host::set_buffer("other", 1, 44100, {1});
    EXPECT_EQ(bound(), nullptr);
    host::set_buffer("b", 1, 44100, {1});
    EXPECT_NE(bound(), nullptr);
    host::delete_buffer("b");
    EXPECT_EQ(bound(), nullptr);
    host::set_buffer("b", 2, 44100, {1, 2});
    ASSERT_NE(bound(), nullptr);
    EXPECT_EQ(buffer_getchannelcount(bound()), 2);
}

TEST_F(host_buffer, tells_its_references_of_every_change)
{
    listener("b");
    host::set_buffer("b", 1, 44100, {1});
    EXPECT_THAT(noticed(), ElementsAre("b globalsymbol_binding"));
    EXPECT_EQ(last_sender, bound());
    host::set_buffer("b", 2, 8000, {1, 2});
    EXPECT_THAT(noticed(), ElementsAre("b buffer_modified"));
    EXPECT_EQ(last_sender, bound());
    EXPECT_EQ(buffer_getsamplerate(bound()), 8000);
    host::delete_buffer("b");
    EXPECT_THAT(noticed(), ElementsAre("b globalsymbol_unbinding"));
    host::set_buffer("another", 1, 44100, {1});
    EXPECT_THAT(noticed(), IsEmpty());
}

TEST_F(host_buffer, tells_an_instance_once_however_many_references_it_has)
{
    probe *x = listener("b");
    t_buffer_ref *second = buffer_ref_new(object(x), gensym("b"));
    acts.noticed = [&](probe *, t_symbol *s, t_symbol *msg, void *sender, void *data) {
        notices.push_back(msg->s_name);
        for (t_buffer_ref *r : {ref, second}) buffer_ref_notify(r, s, msg, sender, data);
        return t_max_err{MAX_ERR_NONE};
    };
    host::set_buffer("b", 1, 44100, {1});
    EXPECT_EQ(noticed().size(), 1u);
    EXPECT_EQ(buffer_ref_getobject(second), bound());
}

TEST_F(host_buffer, tells_every_instance_that_refers_to_it)
{
    std::vector<probe *> told;
    std::vector<std::tuple<probe *, t_buffer_ref *>> refs;
    acts.noticed = [&](probe *x, t_symbol *s, t_symbol *msg, void *sender, void *data) {
        told.push_back(x);
        for (const auto &[owner, r] : refs)
            if (owner == x) buffer_ref_notify(r, s, msg, sender, data);
        return t_max_err{MAX_ERR_NONE};
    };
    for (const char *name : {"b", "b", "c"}) {
        probe *x = create();
        refs.emplace_back(x, buffer_ref_new(object(x), gensym(name)));
    }
    host::set_buffer("b", 1, 44100, {1});
    EXPECT_THAT(told, ElementsAre(std::get<0>(refs[0]), std::get<0>(refs[1])));
    host::destroy(object(std::get<0>(refs[0])));
    told.clear();
    host::set_buffer("b", 1, 44100, {2});
    EXPECT_THAT(told, ElementsAre(std::get<0>(refs[1])));
}

TEST_F(host_buffer, a_reference_can_be_pointed_at_another_name)
{
    host::set_buffer("a", 1, 44100, {1});
    host::set_buffer("b", 1, 44100, {1, 2});
    listener("a");
    EXPECT_EQ(buffer_getframecount(bound()), 1);
    buffer_ref_set(ref, gensym("b"));
    EXPECT_EQ(buffer_getframecount(bound()), 2);
    buffer_ref_set(ref, gensym("c"));
    EXPECT_EQ(bound(), nullptr);
    host::set_buffer("c", 1, 44100, {1, 2, 3});
    EXPECT_EQ(buffer_getframecount(bound()), 3);
    noticed();
    host::delete_buffer("a");
    EXPECT_THAT(noticed(), IsEmpty()) << "no longer its reference's name";
}

TEST_F(host_buffer, a_reference_without_a_name_resolves_to_nothing)
{
    probe *x = create();
    EXPECT_EQ(buffer_ref_getobject(buffer_ref_new(object(x), nullptr)), nullptr);
    EXPECT_EQ(buffer_ref_getobject(buffer_ref_new(object(x), gensym(""))), nullptr);
}

TEST_F(host_buffer, changes_while_audio_runs)
{
    listener("b");
    std::vector<float> heard;
    acts.block = [&](probe *, double **, double **out, long frames) {
        t_buffer_obj *b = buffer_ref_getobject(ref);
        const float *samples = buffer_locksamples(b);
        heard.push_back(samples ? samples[0] : -1);
        if (samples) buffer_unlocksamples(b);
        std::fill_n(out[0], frames, 0.0);
    };
    heard.reserve(8);
    host::run();
    host::set_buffer("b", 1, 44100, {5});
    host::run();
    host::set_buffer("b", 2, 44100, {6, 7});
    host::run();
    host::refuse_locks("b", true);
    host::run();
    host::refuse_locks("b", false);
    host::run();
    host::delete_buffer("b");
    host::run();
    EXPECT_THAT(heard, ElementsAre(-1, 5, 6, -1, 6, -1));
}

TEST_F(host_buffer, notices_that_do_not_reach_the_reference_are_a_fault)
{
    using change = std::function<void(t_symbol *&, t_symbol *&, void *&)>;
    const std::vector<change> spoilers = {
        [](t_symbol *&s, t_symbol *&, void *&) { s = gensym("elsewhere"); },
        [](t_symbol *&, t_symbol *&msg, void *&) { msg = gensym("buffer_modified"); },
        [](t_symbol *&, t_symbol *&msg, void *&) { msg = nullptr; },
        [](t_symbol *&, t_symbol *&, void *&data) { data = nullptr; },
    };
    for (const change &spoil : spoilers) {
        host::reset();
        acts.noticed = [&](probe *, t_symbol *s, t_symbol *msg, void *sender, void *data) {
            spoil(s, msg, data);
            return buffer_ref_notify(ref, s, msg, sender, data);
        };
        ref = buffer_ref_new(object(create()), gensym("b"));
        host::set_buffer("b", 1, 44100, {1});
        EXPECT_THAT(faults(), Contains(HasSubstr("not forwarded")));
    }
    acts.noticed = {};
    host::delete_buffer("b");
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("not forwarded")));
    bound();
    EXPECT_THAT(faults(), IsEmpty()) << "the host has set it right";
}

TEST_F(host_buffer, a_notice_with_a_strange_sender_is_a_fault)
{
    acts.noticed = [&](probe *x, t_symbol *s, t_symbol *msg, void *, void *data) {
        return buffer_ref_notify(ref, s, msg, x, data);
    };
    ref = buffer_ref_new(object(create()), gensym("b"));
    host::set_buffer("b", 1, 44100, {1});
    EXPECT_FALSE(faults().empty());
}

TEST_F(host_buffer, a_notice_changed_in_any_argument_is_a_fault_and_the_reference_right_after_it)
{
    using change = std::function<void(t_symbol *&, t_symbol *&, void *&, void *&)>;
    static int strange;
    const std::pair<const char *, change> changes[] = {
        {"symbol", [](auto &s, auto &, auto &, auto &) { s = gensym("other"); }},
        {"message", [](auto &, auto &msg, auto &, auto &) { msg = gensym("changed"); }},
        {"sender", [](auto &, auto &, auto &sender, auto &) { sender = &strange; }},
        {"no sender", [](auto &, auto &, auto &sender, auto &) { sender = nullptr; }},
        {"data", [](auto &, auto &, auto &, auto &data) { data = &strange; }},
        {"no data", [](auto &, auto &, auto &, auto &data) { data = nullptr; }},
    };
    host::set_buffer("other", 1, 44100, {7, 7, 7});
    listener("b");
    for (const auto &[what, spoil] : changes) {
        SCOPED_TRACE(what);
        acts.noticed = [&, &spoil = spoil](probe *, t_symbol *s, t_symbol *msg, void *sender,
                                           void *data) {
            spoil(s, msg, sender, data);
            const t_max_err result = buffer_ref_notify(ref, s, msg, sender, data);
            EXPECT_EQ(result, MAX_ERR_GENERIC);
            return result;
        };
        host::set_buffer("b", 1, 44100, {1});
        EXPECT_FALSE(faults().empty()) << "a new one";
        EXPECT_NE(bound(), nullptr);
        host::set_buffer("b", 1, 44100, {1, 2});
        EXPECT_FALSE(faults().empty()) << "a change";
        EXPECT_EQ(buffer_getframecount(bound()), 2);
        host::delete_buffer("b");
        EXPECT_FALSE(faults().empty()) << "the end";
        EXPECT_EQ(bound(), nullptr);
        EXPECT_THAT(faults(), IsEmpty());
    }
}

TEST_F(host_buffer, a_reference_pointed_elsewhere_during_a_notice_stays_there)
{
    host::set_buffer("b", 1, 44100, {1});
    host::set_buffer("other", 1, 44100, {1, 2, 3});
    listener("b");
    acts.noticed = [&](probe *, t_symbol *s, t_symbol *msg, void *sender, void *data) {
        buffer_ref_notify(ref, s, msg, sender, data);
        buffer_ref_set(ref, gensym("other"));
        return t_max_err{MAX_ERR_NONE};
    };
    host::set_buffer("b", 1, 44100, {1, 2});
    EXPECT_EQ(buffer_getframecount(bound()), 3);
}

TEST_F(host_buffer, an_unlocked_or_unknown_reference_answers_without_harm)
{
    EXPECT_EQ(buffer_locksamples(nullptr), nullptr);
    buffer_view(nullptr);
    EXPECT_THAT(faults(), IsEmpty()) << "both take null";
    t_object stranger{};
    const auto none = reinterpret_cast<t_buffer_ref *>(&stranger);
    EXPECT_EQ(buffer_ref_getobject(none), nullptr);
    EXPECT_EQ(buffer_ref_new(&stranger, gensym("b")), nullptr);
    EXPECT_EQ(buffer_ref_notify(none, gensym("b"), gensym("m"), nullptr, nullptr),
              MAX_ERR_INVALID_PTR);
    EXPECT_EQ(buffer_locksamples(&stranger), nullptr);
    buffer_unlocksamples(&stranger);
    buffer_view(&stranger);
    EXPECT_EQ(buffer_getframecount(&stranger), 0);
    EXPECT_EQ(buffer_getchannelcount(&stranger), 0);
    EXPECT_EQ(buffer_getsamplerate(&stranger), 0);
    EXPECT_EQ(faults().size(), 9u);
}

TEST_F(host_buffer, the_object_of_a_deleted_one_is_a_stranger)
{
    host::set_buffer("b", 1, 44100, {1});
    listener("b");
    t_buffer_obj *gone = bound();
    host::delete_buffer("b");
    EXPECT_EQ(buffer_locksamples(gone), nullptr);
    EXPECT_EQ(faults().size(), 1u);
}

TEST_F(host_buffer, locks_nest_and_each_wants_its_unlock)
{
    host::set_buffer("b", 1, 44100, {1});
    listener("b");
    float *first = buffer_locksamples(bound());
    EXPECT_EQ(buffer_locksamples(bound()), first);
    buffer_unlocksamples(bound());
    EXPECT_THAT(faults(), ElementsAre("buffer b is still locked"));
    buffer_unlocksamples(bound());
    EXPECT_THAT(faults(), IsEmpty());
    buffer_unlocksamples(bound());
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("not locked")));
}

TEST_F(host_buffer, a_refused_lock_is_none)
{
    host::set_buffer("b", 1, 44100, {1});
    listener("b");
    host::refuse_locks("b", true);
    EXPECT_EQ(buffer_locksamples(bound()), nullptr);
    EXPECT_THAT(faults(), IsEmpty());
    buffer_unlocksamples(bound());
    EXPECT_EQ(faults().size(), 1u) << "what was not locked";
}

TEST_F(host_buffer, may_not_go_or_change_while_locked)
{
    host::set_buffer("b", 1, 44100, {1});
    listener("b");
    buffer_locksamples(bound());
    host::set_buffer("b", 1, 44100, {2});
    buffer_unlocksamples(bound());
    EXPECT_THAT(faults(), ElementsAre("buffer b is still locked"));
    buffer_locksamples(bound());
    host::delete_buffer("b");
    EXPECT_THAT(faults(), ElementsAre("buffer b is still locked"));
}

TEST_F(host_buffer, counts_how_often_it_was_viewed)
{
    host::set_buffer("b", 1, 44100, {1});
    listener("b");
    acts.clicked = [this](probe *) { buffer_view(bound()); };
    t_object *x = object(create());
    host::double_click(x);
    host::double_click(x);
    EXPECT_EQ(host::views("b"), 2);
    EXPECT_EQ(host::views("c"), 0);
}

TEST_F(host_buffer, wants_whole_frames_and_a_known_name)
{
    EXPECT_THROW(host::set_buffer("b", 2, 44100, {1, 2, 3}), host::error);
    EXPECT_THROW(host::set_buffer("b", 0, 44100, {1}), host::error);
    EXPECT_THROW(host::delete_buffer("b"), host::error);
    EXPECT_THROW(host::refuse_locks("b", true), host::error);
    host::set_buffer("b", 4, 44100, {});
    listener("b");
    EXPECT_EQ(buffer_getframecount(bound()), 0);
    EXPECT_EQ(buffer_getchannelcount(bound()), 4);
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_ASAN
#endif
#endif
#if defined(WITH_ASAN) || defined(__SANITIZE_ADDRESS__)
TEST_F(host_buffer, samples_are_out_of_reach_without_a_lock)
{
    host::set_buffer("b", 1, 44100, {1, 2, 3, 4});
    listener("b");
    const volatile float *samples = buffer_locksamples(bound());
    buffer_unlocksamples(bound());
    EXPECT_DEATH(static_cast<void>(samples[1]), "use-after-poison");
}
#endif

} // namespace
