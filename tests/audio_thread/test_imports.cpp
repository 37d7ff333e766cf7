// What the external could call at all of the libraries of its system: mathematics, and the moving,
// comparing and printing of bytes. None of it locks, waits or opens a file, and only printing could
// allocate: what the object does of the kind it does through the host, whose rules forbid it in a
// block of audio.
//
// This also finds the lock that happens to be free whenever a test runs, and an atomic word that
// the processor does not have and a library would guard by a lock.
#include "dynamic_symbols.h"

#include <gtest/gtest.h>

#include <set>

namespace {

const std::set<std::string> harmless = {
    // mathematics, as compilers choose it
    "cos", "sin", "sincos", "atan", "exp", "exp2", "pow", "sqrt", "floor",
    // bytes
    "memcpy", "memmove", "memset", "memcmp", "strcmp", "snprintf",
    // while an arm64 loads it: which atomic instructions there are
    "__getauxval"};

TEST(imports, of_the_libraries_nothing_that_could_wait_or_allocate)
{
    int mathematics = 0;
    for (const dynamic_symbol &s :
         dynamic_symbols(EXTERNALS_FOLDER "/k.vorb~.so", "--undefined-only")) {
        if (is_of_the_compiler(s) || !is_of_a_library(s)) continue; // the host's have no version
        const std::string name = s.name.substr(0, s.name.find('@'));
        EXPECT_EQ(harmless.count(name), 1u) << s.name;
        mathematics += name == "cos";
    }
    EXPECT_EQ(mathematics, 1) << "the list is that of the module";
}

} // namespace
