// Collects a sound for its picture, and writes it.
#pragma once

#include "drawing.h"
#include "new_file.h"

/// Needs the same memory however long the sound is. Every failure of the file throws bad_input;
/// without keep() nothing is left behind.
class picture {
public:
    /// Frequencies are shown up to `top` Hz.
    picture(const std::filesystem::path &wanted, const caption &words, int rate, double top);

    /// Interleaved frames.
    void write(const std::vector<double> &samples);
    /// Nothing more comes: draws what started so many seconds into its score.
    void close(double from);
    void keep() { file.keep(); }

    const std::filesystem::path &destination() const { return file.destination(); }

private:
    new_file file;
    sight seen;
    long frames = 0;
};
