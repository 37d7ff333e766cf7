// The dynamic symbols of a module, as the linker's tool lists them.
#pragma once

#include <array>
#include <cctype>
#include <cstdio>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

/// A row of `nm`.
struct dynamic_symbol {
    std::string name; // with its version, where it has one
    char type;
};

/// The option is --defined-only or --undefined-only.
inline std::vector<dynamic_symbol> dynamic_symbols(const std::string &file,
                                                   const std::string &option)
{
    const std::string command =
        "nm --dynamic --format=posix " + option + " '" + file + "' 2>&1; echo \"status $?\"";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("nm cannot be run");
    std::vector<dynamic_symbol> symbols;
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

/// Of a standard library: its version says so.
inline bool is_of_a_library(const dynamic_symbol &s)
{
    static const std::regex versioned(".+@@?(GLIBC|GLIBCXX|CXXABI|GCC)_[0-9.]+");
    return std::regex_match(s.name, versioned);
}

/// What a compiler adds to every module, or a sanitizer's.
inline bool is_of_the_compiler(const dynamic_symbol &s)
{
    static const std::regex weak("(__gmon_start__|_ITM_(de)?registerTMCloneTable|__cxa_finalize)"
                                 "(@.+)?");
    static const std::regex sanitizer("_{2,3}(asan|ubsan|lsan|tsan|sanitizer)_.+");
    return (std::tolower(s.type) == 'w' && std::regex_match(s.name, weak)) ||
           std::regex_match(s.name, sanitizer);
}
