// The external is found by its class name, keeps its process-wide state through a reset, and comes
// back as new after it was unloaded.
#include "ext_obex.h"
#include "module_session.h"

#include <cstdio>
#include <cstdlib>

namespace {

class module_load : public module_session {
protected:
    /// Lets the pool of one fog run out and returns what the console says.
    static std::vector<std::string> overflow()
    {
        t_object *x = create("1 none 1");
        host::send(x, 0, "bang, bang");
        return console();
    }
};

TEST_F(module_load, an_unknown_class_is_looked_for_by_name)
{
    EXPECT_NE(host::create("k.vorb~"), nullptr);
    host::drain();
    console();
    EXPECT_EQ(host::create("k.nothing~"), nullptr);
    EXPECT_THAT(console(), ::testing::ElementsAre("!k.nothing~: No such object"));
}

TEST_F(module_load, it_is_loaded_with_the_first_instance_alone)
{
    host::create("k.vorb~");
    const size_t first = console().size();
    host::create("k.vorb~");
    EXPECT_LT(console().size(), first) << "no banner the second time";
    host::reset();
    host::create("k.vorb~");
    EXPECT_LT(console().size(), first) << "nor after a reset";
    host::unload();
    host::create("k.vorb~");
    EXPECT_EQ(console().size(), first) << "but after an unload";
}

TEST_F(module_load, its_process_wide_state_lives_until_it_is_unloaded)
{
    EXPECT_EQ(overflow().size(), 1u);
    host::reset();
    host::set_time(100500);
    EXPECT_EQ(overflow().size(), 0u) << "within a second of the last report";
    host::unload();
    host::set_time(100600);
    EXPECT_EQ(overflow().size(), 1u) << "no report is known";
}

void linked_beside(void *)
{
    static t_class *c;
    const auto make = [](t_symbol *, long, t_atom *) { return object_alloc(c); };
    c = class_new("beside", reinterpret_cast<method>(+make), nullptr, sizeof(t_object), nullptr,
                  A_GIMME, 0);
    class_register(gensym("box"), c);
}

TEST_F(module_load, it_can_be_unloaded_beside_a_linked_class)
{
    const auto reloads = [] {
        host::link(linked_beside);
        const bool there = host::create("k.vorb~") && host::create("beside");
        host::unload();
        return there && host::create("beside") && host::create("k.vorb~");
    };
    EXPECT_EXIT(std::_Exit(reloads() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(module_load, a_file_that_is_no_external_is_said)
{
    char folder[] = "/tmp/externals-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string file = std::string(folder) + "/broken.so";
    std::fclose(std::fopen(file.c_str(), "w"));
    host::add_folder(folder);
    EXPECT_EQ(host::create("broken"), nullptr);
    const auto lines = console();
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], ::testing::HasSubstr("broken.so"));
    std::remove(file.c_str());
    std::remove(folder);
}

} // namespace
