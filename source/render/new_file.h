// A file that is either whole or not there.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

/// Grows without a name in the folder of the wanted file, and takes its place and its permissions
/// in keep(). What is not kept leaves nothing behind, even if the program is killed; only where a
/// file system wants every file to have a name, a killed program leaves one that begins with
/// `.render.`, and that no later one minds. Every failure but that of write() throws bad_input.
class new_file {
public:
    explicit new_file(const std::filesystem::path &wanted);
    ~new_file();
    new_file(const new_file &) = delete;
    new_file &operator=(const new_file &) = delete;

    /// Open for writing until keep().
    int descriptor() const { return opened; }
    /// Where the file will be, links followed.
    const std::filesystem::path &destination() const { return place; }

    /// All of it, at the descriptor's place; false where the disk does not take it.
    bool write(const void *bytes, size_t count);
    /// Throws if a write failed: libraries that write may keep that to themselves.
    void check() const;
    /// Waits until the disk has everything: some tell of being full no earlier.
    void settle();
    /// Only after settle().
    void keep();
    [[noreturn]] void fail(const std::string &why) const;

private:
    void check_place() const;
    void name();

    std::filesystem::path file, place, temporary; // as named, without links, until kept
    int opened = -1, trouble = 0;                 // errno of the first failure to write
};
