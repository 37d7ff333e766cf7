// Reading the few kinds of WAV that the golden scores come with, where there is no library for it:
// 16-bit whole numbers and 64-bit floats.
#pragma once

#include <filesystem>
#include <vector>

struct wav_file {
    int channels = 0, rate = 0;
    std::vector<double> samples; // interleaved frames
};

/// Throws std::runtime_error.
wav_file read_wav(const std::filesystem::path &path);
