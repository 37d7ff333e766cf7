// Writing a sound file.
#pragma once

#include "new_file.h"

#include <sndfile.h>
#include <vector>

/// Every failure throws bad_input; without keep() nothing is left behind.
class sound_writer {
public:
    sound_writer(const std::filesystem::path &wanted, const SF_INFO &wanted_info);
    ~sound_writer();
    sound_writer(const sound_writer &) = delete;
    sound_writer &operator=(const sound_writer &) = delete;

    /// Interleaved frames.
    void write(const std::vector<double> &samples);
    /// Nothing more comes: makes sure that all has arrived.
    void close();
    void keep() { file.keep(); }

    const std::filesystem::path &destination() const { return file.destination(); }

private:
    void flush();
    void forget_time();

    new_file file;
    SF_INFO info;
    SNDFILE *out = nullptr;
    std::vector<double> waiting; // a visit to the file costs as much as many blocks
    sf_count_t written = 0;
};
