// The built external as the linker sees it: what it exports and imports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

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

} // namespace
