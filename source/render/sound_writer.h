// Writing a sound file that is either whole or not there.
#pragma once

#include <filesystem>
#include <sndfile.h>
#include <string>
#include <vector>

/// Grows under a temporary name beside the wanted file and takes its place, and its permissions, in
/// finish(). Every failure throws bad_input and leaves nothing behind.
class sound_writer {
public:
    sound_writer(const std::filesystem::path &wanted, const SF_INFO &wanted_info);
    ~sound_writer();
    sound_writer(const sound_writer &) = delete;
    sound_writer &operator=(const sound_writer &) = delete;

    /// Interleaved frames.
    void write(const std::vector<double> &samples);
    void finish();

    sf_count_t frames() const { return written; }

private:
    [[noreturn]] void fail(const std::string &why) const;
    void check_place() const;
    void open_temporary();
    void close();

    std::filesystem::path file, place, temporary; // as named, without links, until finished
    SF_INFO info;
    SNDFILE *out = nullptr;
    sf_count_t written = 0;
};
