// One score played through the built external: what sounds, and what is said meanwhile.
#pragma once

#include <string>
#include <vector>

/// What a score says of itself in comments of the form `# rate 8000`.
struct settings {
    int rate = 44100, vector = 64;
    /// The largest difference between two samples that are still the same. With one libm every bit
    /// is the same. Another may round a cosine or an exponential differently; the recurrences of
    /// the envelope carry that on and stray over N samples by at most 0.45e-16 * N * N, so that
    /// attacks and attenuations of up to 4700 samples at full scale stay within this.
    double tolerance = 1e-9;
};

settings read_settings(const std::string &score_file);

struct performance {
    int channels = 0, rate = 0;
    std::vector<double> sound; // interleaved frames
    /// The console's rows, the numbers from integer outlets, and the peak level of each channel in
    /// each block whose levels are not those of the block before.
    std::vector<std::string> transcript;
    std::vector<std::string> faults;
};

/// Loads the external afresh, so that nothing is left of former scores. Throws what the score's
/// reader and player throw.
performance perform(const std::string &score_file);
