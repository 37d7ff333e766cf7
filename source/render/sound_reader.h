// Reading sound files whole.
#pragma once

#include <filesystem>
#include <map>
#include <vector>

struct sound {
    int channels;
    double rate;
    std::vector<float> samples; // interleaved frames
};

using sound_shelf = std::map<std::filesystem::path, sound>;

/// Throws std::runtime_error with the reason, without the file's name.
sound read_sound(const std::filesystem::path &file);
