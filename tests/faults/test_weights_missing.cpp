// No memory for the interpolation weights, neither at load nor when the first instance tries again.
#include "fault_session.h"
#include "host_function.h"

#include "ext_obex.h"

static bool starve_after_instance = false;

/// An instance is made between the two attempts.
void *object_alloc(t_class *c)
{
    void *made = host_function<decltype(object_alloc)>("object_alloc")(c);
    if (starve_after_instance) host::fail_allocation(1);
    starve_after_instance = false;
    return made;
}

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

using weights_missing = fault_session;

FOR_EVERY_SOURCE(weights_missing);

TEST_P(weights_missing, instances_are_silent_until_another_one_is_made_with_memory)
{
    fill(1);
    const std::string box =
        "k.vorb~ " + std::to_string(source().layout) + " sample1 5 0 1 0 1 0 50.01 0";
    host::fail_allocation(1);
    starve_after_instance = true;
    t_object *x = host::create(box);
    host::drain();
    EXPECT_THAT(console(), ElementsAre(StartsWith("k.vorb~ "), "!k.vorb~: make samp tab",
                                       "!k.vorb~: cannot make sample filter table"));
    ASSERT_NE(x, nullptr);
    host::start_audio();
    host::send(x, 0, "bang");
    EXPECT_THAT(play(x, 3, 64), ::testing::Each(is_silent()));
    t_object *y = host::create(box);
    host::drain();
    EXPECT_THAT(console(), ElementsAre("!k.vorb~: make samp tab"));
    host::start_audio();
    host::send(x, 0, "bang");
    host::send(y, 0, "bang");
    host::run();
    EXPECT_NEAR(host::output(x, 0)[63], 2, 4 * near_one);
    EXPECT_NEAR(host::output(y, 0)[63], 1, near_one);
}

} // namespace
