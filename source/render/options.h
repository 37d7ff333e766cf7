// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

struct options {
    std::string score;
    std::filesystem::path output, externals;
    std::string format;
    int rate = 44100;
    int vector = 64;
    double start_ms = 0;
};

/// None when only help was wanted, which it then has shown. Throws bad_input.
std::optional<options> read_options(int argc, char **argv);
