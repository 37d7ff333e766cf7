// Inlets of messages: which one a handler is told, and for how long.
#include "probe.h"

namespace {

class host_inlet : public host_session {
protected:
    /// Posts the inlet as the header and the host tell it.
    static void post(probe *x)
    {
        object_post(nullptr, "%ld %ld", x->header.z_in, proxy_getinlet(object(x)));
    }
};

TEST_F(host_inlet, is_known_inside_the_message_and_0_outside)
{
    acts.born = acts.told = post;
    probe *x = create("4 1");
    EXPECT_THAT(console(), ElementsAre("0 0"));
    for (const int inlet : {2, 0, 3, 1}) {
        host::send(object(x), inlet, "act");
        post(x);
        const std::string k = std::to_string(inlet);
        EXPECT_THAT(console(), ElementsAre(k + " " + k, "0 0"));
    }
}

TEST_F(host_inlet, is_the_outer_message_s_again_after_an_inner_one)
{
    acts.told = [](probe *x) {
        post(x);
        if (x->header.z_in != 3) return;
        host::send(object(x), 1, "act");
        post(x);
    };
    host::send(object(create("4 1")), 3, "act");
    EXPECT_THAT(console(), ElementsAre("3 3", "1 1", "3 3"));
}

TEST_F(host_inlet, that_is_not_there_is_the_senders_error)
{
    acts.told = [](probe *) { FAIL(); };
    t_object *x = object(create("3 1"));
    for (const int inlet : {3, -1}) {
        EXPECT_THROW(host::send(x, inlet, "act"), host::error);
        EXPECT_THROW(host::send(x, inlet, "act", {}), host::error);
    }
}

} // namespace
