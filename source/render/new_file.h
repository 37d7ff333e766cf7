// A file that is either whole or not there.
#pragma once

#include <filesystem>
#include <string>

/// Grows under a temporary name beside the wanted file and takes its place, and its permissions, in
/// keep(). Every failure throws bad_input; what is not kept leaves nothing behind.
class new_file {
public:
    explicit new_file(const std::filesystem::path &wanted);
    ~new_file();
    new_file(const new_file &) = delete;
    new_file &operator=(const new_file &) = delete;

    /// Open for writing until keep().
    int descriptor() const { return opened; }
    const std::filesystem::path &temporary_name() const { return temporary; }
    /// Where the file will be, links followed.
    const std::filesystem::path &destination() const { return place; }

    void keep();
    [[noreturn]] void fail(const std::string &why) const;

private:
    void check_place() const;

    std::filesystem::path file, place, temporary; // as named, without links, until kept
    int opened = -1;
};
