// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

struct options {
    std::string score;
    std::filesystem::path output, picture, externals; // output or picture may be empty
    std::string format;
    int rate = 44100;
    int vector = 64;
    double start_ms = 0;
    int picture_top = 8000;            // Hz
    std::optional<std::string> stereo; // a law's name; auto: by the outlets
};

/// None when only help was wanted, which it then has shown. Throws bad_input.
std::optional<options> read_options(int argc, char **argv);
