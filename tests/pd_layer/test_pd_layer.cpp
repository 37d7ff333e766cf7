// The object in a Pd: what it is told by its box, messages and signals, and what it tells.
#include "pd_layer.h"

#include <cmath>
#include <limits>

using fake::player, fake::set_array;
using testing::Each, testing::ElementsAre;

TEST_F(pd_layer, numbers_that_are_none_do_no_lasting_harm)
{
    set_array("a", 44100, 1);
    const float inf = std::numeric_limits<float>::infinity();
    for (const float bad : {std::nanf(""), inf, -inf}) {
        player x(box(1, 100));
        x.plug(true, true);
        for (const float f0 : {100.f, bad})
            for (const float offset : {100.f, bad}) x.run(f0, offset);
        x.plug(false, false);
        for (int inlet = 0; inlet < 9; ++inlet) {
            x.send("float", {num(double(bad))}, inlet);
            x.send("bang");
            x.run();
        }
        x.send("list", {num(double(bad)), num(double(bad))}, 4);
        for (const char *selector :
             {"offset", "transp", "bw", "amp", "tex", "debatt", "atten", "lp", "maxfogs", "f0phase",
              "gain", "aux1", "autoenv", "int"}) {
            x.send(selector, {num(double(bad))});
            x.send("bang");
            x.run();
        }
        player born(std::vector<vorb_pd::atom>(11, num(double(bad))));
        born.send("bang");
        born.run();

        x.send("set", {word("a")});
        x.send("maxfogs", {num(5)});
        x.send("gain", {num(1)});
        x.send("autoenv", {num(0)});
        x.send("lp", {num(0)});
        const double sane[] = {0, 100, 1, 0, 1, 0, 1e6, 0, 1};
        for (int inlet = 1; inlet < 9; ++inlet) x.send("float", {num(sane[inlet])}, inlet);
        x.send("reset");
        x.send("bang");
        x.run();
        x.run();
        EXPECT_THAT(x.run(), Each(testing::FloatNear(1, 1e-6f))) << bad;
    }
}

TEST_F(pd_layer, arguments_are_taken_as_they_are)
{
    const char *const name = "two \"words\", 3.5";
    set_array(name, 44100, 1);
    player x({num(1), word(name), num(3), num(100), num(1), num(0), num(1), num(0), num(1e6)});
    EXPECT_EQ(x.send("freefogs"), 3);
    x.send("bang");
    x.run();
    x.run();
    EXPECT_GT(x.peak(), 0.5f);
    player y({num(1), word("7"), num(3)}); // a symbol that looks like a number
    EXPECT_EQ(y.send("freefogs"), 3);
    EXPECT_THAT(fake::now.console, testing::IsEmpty());
}

TEST_F(pd_layer, a_long_block_is_played_in_slices)
{
    set_array("a", 44100, 0);
    float level = 0;
    for (fake::cell &c : fake::now.arrays["a"]) c.value = level += 1e-5f;
    player x(box(1, 0)), long_one(box(1, 0), 256);
    x.plug(true, false);
    long_one.plug(true, false);
    for (int i = 0; i < 8; ++i) {
        const std::vector<float> expected = long_one.run(700);
        std::vector<float> got;
        for (int k = 0; k < 4; ++k) {
            const std::vector<float> &part = x.run(700);
            got.insert(got.end(), part.begin(), part.end());
        }
        EXPECT_EQ(got, expected);
    }
    EXPECT_GT(x.peak(700), 0);
}

TEST_F(pd_layer, whole_numbers_are_ints_in_the_box_and_where_a_message_asks_for_one)
{
    set_array("a", 44100, 0);
    player x(box(1, 0, 7));
    EXPECT_EQ(x.send("freefogs"), 7);
    x.send("maxfogs", {num(9)});
    EXPECT_EQ(x.send("freefogs"), 9);
    x.send("float", {num(500)});
    EXPECT_EQ(x.send("usedfogs"), 1);
    x.send("float", {num(0.5)}, 2); // the transposition
    EXPECT_EQ(x.send("usedfogs"), 1);
    EXPECT_THAT(fake::now.console, testing::IsEmpty());
}

TEST_F(pd_layer, rows_of_the_console_name_the_object_once)
{
    player x(box(1, 0));
    x.send("nonsense");
    x.send("maxfogs", {word("many")});
    x.send("bw", {});
    EXPECT_THAT(fake::now.console, ElementsAre("k.vorb~: doesn't understand \"nonsense\"",
                                               "k.vorb~: bad arguments for message \"maxfogs\"",
                                               "k.vorb~: insufficient arguments for bw message"));
}
