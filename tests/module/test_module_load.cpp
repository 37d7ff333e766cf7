// The external is found by its class name, keeps its process-wide state through a reset, comes back
// as new after it was unloaded and is described to the host.
#include "ext_obex.h"
#include "module_session.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class module_load : public module_session {
protected:
    /// The console of the creation of a box.
    static std::vector<std::string> birth(const std::string &arguments, t_object **x = nullptr)
    {
        t_object *made = host::create("k.vorb~ " + arguments);
        host::drain();
        if (x) *x = made;
        return console();
    }

    /// Lets a pool of one fog run out and returns what the console says.
    static std::vector<std::string> overflow()
    {
        t_object *x = create("1 none 1");
        host::send(x, 0, "bang, bang, bang");
        return console();
    }
};

TEST_F(module_load, an_unknown_class_is_looked_for_by_name)
{
    EXPECT_EQ(host::create("k.nothing~"), nullptr);
    EXPECT_THAT(console(), ElementsAre("!k.nothing~: No such object"));
}

TEST_F(module_load, the_first_box_loads_the_class_and_posts_its_banner_once)
{
    t_object *x = nullptr;
    EXPECT_THAT(birth("2", &x), ElementsAre(StartsWith("k.vorb~ ")));
    ASSERT_NE(x, nullptr);
    EXPECT_THAT(birth("2"), IsEmpty());
    host::reset();
    EXPECT_THAT(birth("2"), IsEmpty());
    host::unload();
    EXPECT_THAT(birth("2"), ElementsAre(StartsWith("k.vorb~ ")));
}

TEST_F(module_load, its_process_wide_state_lives_until_it_is_unloaded)
{
    const std::string report = "!k.vorb~: out of fogs (1)";
    EXPECT_THAT(overflow(), ElementsAre(report));
    EXPECT_THAT(overflow(), IsEmpty()) << "counted, within the same second";
    host::reset();
    host::set_time(100500);
    EXPECT_THAT(overflow(), IsEmpty());
    host::unload();
    host::set_time(100600);
    EXPECT_THAT(overflow(), ElementsAre(report)) << "no former report is known";
    host::send(create(""), 0, "silent 1");
    host::set_time(200000);
    EXPECT_THAT(overflow(), IsEmpty());
    host::unload();
    host::set_time(300000);
    EXPECT_THAT(overflow(), ElementsAre(report)) << "nor that it was to be silent";
}

TEST_F(module_load, unloading_gives_the_scratch_back_to_its_first_size)
{
    for (int round = 0; round < 3; ++round) {
        mono_buffer("sample1", 44100, [](long) { return 1; });
        t_object *x = create("1 sample1 5 0 1 0 1 0 500 0");
        host::set_audio(44100, round == 1 ? 128 : 64);
        host::start_audio();
        host::send(x, 0, "bang");
        host::run();
        EXPECT_NEAR(host::output(x, 0)[63], 1, 1e-6);
        host::run(128); // more than announced: heard only where the scratch has the room
        EXPECT_EQ(std::abs(host::output(x, 0)[100]) > 0.5, round == 1);
        host::unload();
    }
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

TEST_F(module_load, files_that_are_no_externals_are_said)
{
    Dl_info library; // of mathematics
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "erfc"), &library), 0);
    std::string folder = std::filesystem::temp_directory_path() / "externals-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::ofstream(folder + "/broken.so");
    std::filesystem::copy_file(library.dli_fname, folder + "/mute.so");
    host::add_folder(folder);
    const auto complaint = [](const char *name) {
        EXPECT_EQ(host::create(name), nullptr);
        const auto lines = console();
        return lines.empty() ? "" : lines[0];
    };
    EXPECT_THAT(complaint("broken"), ::testing::HasSubstr("broken.so"));
    EXPECT_THAT(complaint("mute"), ::testing::HasSubstr("mute.so: no ext_main"));
    std::filesystem::remove_all(folder);
}

// ---- What the host is told ----------------------------------------------------------------------

TEST_F(module_load, an_instance_has_the_inlets_and_outlets_of_its_layout)
{
    for (const int layout : layouts) {
        t_object *x = create(std::to_string(layout));
        EXPECT_EQ(host::inlets(x), 9);
        std::vector<std::string> types(static_cast<size_t>(layout), "signal");
        types.push_back("int");
        EXPECT_THAT(host::outlets(x), ElementsAreArray(types));
    }
}

TEST_F(module_load, an_instance_is_told_by_its_assistance_texts)
{
    t_object *x = create("6");
    EXPECT_EQ(host::assist(x, ASSIST_INLET, 0), "(various/signal) General Control / F0");
    EXPECT_EQ(host::assist(x, ASSIST_INLET, 8), "(number) Lowpass Coefficient [0..1]");
    EXPECT_EQ(host::assist(x, ASSIST_INLET, 9), "");
    EXPECT_EQ(host::assist(x, ASSIST_OUTLET, 3), "(signal) Output 4");
    EXPECT_EQ(host::assist(x, ASSIST_OUTLET, 4), "(signal) Aux 1");
    EXPECT_EQ(host::assist(x, ASSIST_OUTLET, 5), "(signal) Aux 2");
    EXPECT_EQ(host::assist(x, ASSIST_OUTLET, 6), "(integer) Free or Used Fogs");
    EXPECT_EQ(host::assist(x, ASSIST_OUTLET, 7), "");
    EXPECT_EQ(host::assist(create("2"), ASSIST_OUTLET, 2), "(integer) Free or Used Fogs");
    EXPECT_EQ(host::assist(create("1"), ASSIST_OUTLET, 3), "");
}

} // namespace
