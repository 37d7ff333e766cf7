// Plays files through a fuzz target without a fuzzer: those named, and all in the folders named.
#include "target.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

static void collect(const fs::path &from, std::vector<fs::path> &files)
{
    if (!fs::is_directory(from)) return files.push_back(from);
    for (const auto &entry : fs::recursive_directory_iterator(from))
        if (entry.is_regular_file()) files.push_back(entry.path());
}

int main(int argc, char **argv)
{
    std::vector<fs::path> files;
    for (int k = 1; k < argc; ++k) collect(argv[k], files);
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s FILE-OR-FOLDER...\n", argv[0]);
        return 2;
    }
    for (const fs::path &file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
            return 2;
        }
        const std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
        std::fprintf(stderr, "%s\n", file.c_str()); // so that a crash says whose it is
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs played\n", files.size());
}
