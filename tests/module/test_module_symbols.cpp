// The built external as the linker sees it: what it exports and imports.
#include "dynamic_symbols.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string module_file = EXTERNALS_FOLDER "/k.vorb~.so";

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
bool is_of_the_toolchain(const dynamic_symbol &s)
{
    return is_of_a_library(s) || is_of_the_compiler(s);
}

TEST(module_symbols, exports_its_entry_point_alone)
{
    std::vector<std::string> names;
    for (const dynamic_symbol &s : dynamic_symbols(module_file, "--defined-only"))
        if (!is_of_the_toolchain(s)) names.push_back(s.name);
    EXPECT_THAT(names, ElementsAre("ext_main"));
}

TEST(module_symbols, imports_the_standard_libraries_and_the_host_s_functions_only)
{
    const std::vector<dynamic_symbol> imports = dynamic_symbols(module_file, "--undefined-only");
    EXPECT_THAT(imports, Not(IsEmpty()));
    for (const dynamic_symbol &s : imports)
        EXPECT_TRUE(host_functions.count(s.name) || is_of_the_toolchain(s))
            << s.name << ' ' << s.type;
}

TEST(module_symbols, imports_every_function_of_the_host_that_it_is_meant_to_use)
{
    std::set<std::string> imported;
    for (const dynamic_symbol &s : dynamic_symbols(module_file, "--undefined-only"))
        imported.insert(s.name);
    for (const std::string &name : host_functions) EXPECT_EQ(imported.count(name), 1u) << name;
}

} // namespace
