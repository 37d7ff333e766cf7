// Reading sound files whole.
#include "sound_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sndfile.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

/// A pipe would be waited for without end.
static void check_kind(const fs::path &file)
{
    std::error_code wrong;
    const fs::file_status there = fs::status(file, wrong);
    if (there.type() == fs::file_type::not_found) throw std::runtime_error("there is no such file");
    if (there.type() == fs::file_type::none) throw std::runtime_error(wrong.message());
    if (fs::is_directory(there)) throw std::runtime_error("it is a folder");
    if (!fs::is_regular_file(there)) throw std::runtime_error("it is no ordinary file");
    if (access(file.c_str(), R_OK)) throw std::runtime_error(std::strerror(errno));
}

/// What a header claims beyond the end of the file shows in the library's log alone. Recorders that
/// did not know the length claim the most that they can.
static bool cut_off(SNDFILE *in)
{
    std::string log(1 << 16, '\0');
    sf_command(in, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        char chunk[5];
        unsigned long long claimed, held;
        // NOLINTNEXTLINE(cert-err34-c): the library wrote these numbers, which fit
        if (std::sscanf(line.c_str(), " %4s : %llu (should be %llu", chunk, &claimed, &held) == 3 &&
            (!std::strcmp(chunk, "data") || !std::strcmp(chunk, "SSND")) && claimed < 0x7FFF0000)
            return true;
    }
    return log.find("ended unexpectedly") != log.npos;
}

sound read_sound(const fs::path &file)
{
    check_kind(file);
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> in(sf_open(file.c_str(), SFM_READ, &info),
                                                          sf_close);
    if (!in) throw std::runtime_error(sf_strerror(nullptr));

    // In steps: the length that a header claims may be wrong by gigabytes. It is believed as far as
    // the file has room for samples of a byte.
    sound result{info.channels, static_cast<double>(info.samplerate), {}};
    const auto most = static_cast<sf_count_t>(fs::file_size(file)) / info.channels;
    result.samples.reserve(static_cast<size_t>(std::min(info.frames, most) * info.channels));
    const sf_count_t step = std::max(1, (1 << 16) / info.channels);
    std::vector<float> some(static_cast<size_t>(step * info.channels));
    while (const sf_count_t frames = sf_readf_float(in.get(), some.data(), step))
        result.samples.insert(result.samples.end(), some.begin(),
                              some.begin() + frames * info.channels);
    if (sf_error(in.get())) throw std::runtime_error(sf_strerror(in.get()));
    const auto held = static_cast<sf_count_t>(result.samples.size()) / info.channels;
    const bool length_known = info.frames < SF_COUNT_MAX;
    if ((length_known && held < info.frames) || cut_off(in.get()))
        throw std::runtime_error("it is damaged or cut off");
    if (result.samples.empty()) throw std::runtime_error("it holds no sound");
    return result;
}
