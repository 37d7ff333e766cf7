// The built external as the linker and the host see it: what it exports and imports, how it is
// loaded, unloaded and described, and what it says when memory runs short.
#include "module_session.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>
#include <set>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string module_file = EXTERNALS_FOLDER "/k.vorb~.so";

/// A row of `nm`.
struct symbol {
    std::string name;
    char type;
};

/// The dynamic symbols of the module, as the linker's tool lists them.
std::vector<symbol> dynamic_symbols(const std::string &option)
{
    const std::string command =
        "nm --dynamic --format=posix " + option + " '" + module_file + "' 2>&1; echo \"status $?\"";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("nm cannot be run");
    std::vector<symbol> symbols;
    std::array<char, 4096> row;
    bool well = false;
    while (std::fgets(row.data(), row.size(), pipe)) {
        char name[4096] = "", type[4096] = "";
        if (std::sscanf(row.data(), "%4095s %4095s", name, type) < 2) continue;
        if (std::string(name) == "status") well = std::string(type) == "0";
        else symbols.push_back({name, type[0]});
    }
    pclose(pipe);
    if (!well) throw std::runtime_error("nm failed");
    return symbols;
}

/// Everything of the host that the object may call.
const std::set<std::string> host_functions = {
    // objects and classes
    "class_new", "class_addmethod", "class_dspinit", "class_register", "object_alloc", "gensym",
    "proxy_getinlet", "intout", "outlet_new", "outlet_int", "object_post", "object_error", "defer",
    "gettime",
    // signals
    "z_dsp_setup", "z_dsp_free", "object_method_imp", "sys_getblksize", "sys_getsr",
    // buffers
    "buffer_ref_new", "buffer_ref_set", "buffer_ref_getobject", "buffer_ref_notify", "buffer_view",
    "buffer_locksamples", "buffer_unlocksamples", "buffer_getframecount", "buffer_getchannelcount",
    "buffer_getsamplerate",
    // memory
    "sysmem_newptr", "sysmem_freeptr"};

/// What compiler and standard libraries bring along.
bool is_of_the_toolchain(const symbol &s)
{
    static const std::regex versioned(".+@@?(GLIBC|GLIBCXX|CXXABI|GCC)_[0-9.]+");
    static const std::regex weak("__gmon_start__|_ITM_(de)?registerTMCloneTable|__cxa_finalize");
    static const std::regex sanitizer("_{2,3}(asan|ubsan|lsan|tsan|sanitizer)_.+");
    return std::regex_match(s.name, versioned) ||
           (std::tolower(s.type) == 'w' && std::regex_match(s.name, weak)) ||
           std::regex_match(s.name, sanitizer);
}

TEST(module_symbols, exports_its_entry_point_alone)
{
    std::vector<std::string> names;
    for (const symbol &s : dynamic_symbols("--defined-only"))
        if (!is_of_the_toolchain(s)) names.push_back(s.name);
    EXPECT_THAT(names, ElementsAre("ext_main"));
}

TEST(module_symbols, imports_the_standard_libraries_and_the_host_s_functions_only)
{
    const std::vector<symbol> imports = dynamic_symbols("--undefined-only");
    EXPECT_THAT(imports, Not(IsEmpty()));
    for (const symbol &s : imports)
        EXPECT_TRUE(host_functions.count(s.name) || is_of_the_toolchain(s))
            << s.name << ' ' << s.type;
}

TEST(module_symbols, imports_every_function_of_the_host_that_it_is_meant_to_use)
{
    std::set<std::string> imported;
    for (const symbol &s : dynamic_symbols("--undefined-only")) imported.insert(s.name);
    for (const std::string &name : host_functions) EXPECT_EQ(imported.count(name), 1u) << name;
}

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
};

TEST_F(module_load, the_first_box_loads_the_class_and_posts_its_banner_once)
{
    t_object *x = nullptr;
    EXPECT_THAT(birth("2", &x), ElementsAre(StartsWith("k.vorb~ ")));
    ASSERT_NE(x, nullptr);
    EXPECT_THAT(birth("2"), IsEmpty());
}

TEST_F(module_load, an_instance_has_the_inlets_and_outlets_of_its_layout)
{
    for (const int layout : {1, 2, 4, 6, 10}) {
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

TEST_F(module_load, after_unloading_it_starts_afresh)
{
    const auto out_of_fogs = [] {
        t_object *x = host::create("k.vorb~ 1 sample1 1");
        host::drain();
        console();
        host::send(x, 0, "bang, bang, bang");
        return console();
    };
    EXPECT_THAT(out_of_fogs(), ElementsAre("!k.vorb~: out of fogs (1)"));
    EXPECT_THAT(out_of_fogs(), IsEmpty()); // counted, within the same second
    host::send(host::create("k.vorb~"), 0, "silent 1");
    host::set_time(200000);
    EXPECT_THAT(out_of_fogs(), IsEmpty());

    host::unload();
    host::set_time(200000);
    EXPECT_THAT(birth(""), ElementsAre(StartsWith("k.vorb~ "))); // loaded again
    EXPECT_THAT(out_of_fogs(), ElementsAre("!k.vorb~: out of fogs (1)"));
}

TEST_F(module_load, unloading_gives_the_scratch_back_to_its_first_size)
{
    for (int round = 0; round < 3; ++round) {
        buffer("sample1", 44100, [](long) { return 1; });
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

// ---- Short of memory, in the order of a first creation: table, instance, reference entry
// ---------

TEST_F(module_load, without_memory_for_the_table_at_load_the_instance_makes_it)
{
    host::fail_allocation(1);
    EXPECT_THAT(birth("1"), ElementsAre(StartsWith("k.vorb~ "), "!k.vorb~: make samp tab"));
    EXPECT_THAT(birth("1"), IsEmpty());
}

TEST_F(module_load, without_memory_for_the_instance_there_is_none)
{
    host::fail_allocation(2);
    t_object *x = nullptr;
    EXPECT_THAT(birth("1", &x),
                ElementsAre(StartsWith("k.vorb~ "), "vorb_new: object_alloc failed"));
    EXPECT_EQ(x, nullptr);
    EXPECT_THAT(birth("1", &x), IsEmpty());
    EXPECT_NE(x, nullptr);
}

TEST_F(module_load, without_memory_for_the_reference_entry_the_reference_is_used_all_the_same)
{
    buffer("sample1", 44100, [](long) { return 1; });
    host::fail_allocation(3);
    t_object *x = nullptr;
    EXPECT_THAT(
        birth("1 sample1 5 0 1 0 1 0 500 0", &x),
        ElementsAre(StartsWith("k.vorb~ "), "vorb_bufref_add_entry: cannot allocate memory"));
    host::start_audio();
    host::send(x, 0, "bang");
    host::run();
    EXPECT_NEAR(host::output(x, 0)[63], 1, 1e-6);
}

TEST_F(module_load, a_creation_needs_no_further_memory)
{
    host::fail_allocation(4);
    EXPECT_THAT(birth("10 sample1 100 1 2 3 4 5 6 7 0.8"), ElementsAre(StartsWith("k.vorb~ ")));
    EXPECT_THAT(birth("10"), ElementsAre("vorb_new: object_alloc failed")); // that was the fourth
}

} // namespace
