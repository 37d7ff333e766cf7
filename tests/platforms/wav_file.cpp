#include "wav_file.h"

#include "sound_reader.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

/// A number as the file holds it; every machine this runs on has the same order of bytes.
template <class T>
T number_at(const std::string &bytes, std::size_t at)
{
    if (at + sizeof(T) > bytes.size()) throw std::runtime_error("it is cut off");
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

/// Where the contents of the first chunk of that name begin; they stand behind their size.
std::size_t chunk(const std::string &bytes, const std::string &name)
{
    using word = std::uint32_t;
    std::size_t at = 12; // behind "RIFF", the size of all, and "WAVE"
    while (number_at<word>(bytes, at) != number_at<word>(name, 0))
        at += 8 + (number_at<word>(bytes, at + 4) + 1) / 2 * 2;
    return at + 8;
}

} // namespace

wav_file read_wav(const std::filesystem::path &path)
{
    std::ifstream in(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    if (bytes.size() < 12) throw std::runtime_error("it cannot be read");
    const std::size_t format = chunk(bytes, "fmt "), data = chunk(bytes, "data");
    const auto kind = number_at<std::uint16_t>(bytes, format);
    const auto bits = number_at<std::uint16_t>(bytes, format + 14);
    const bool whole = kind == 1 && bits == 16, real = kind == 3 && bits == 64;
    if (!whole && !real) throw std::runtime_error("it is no WAV of 16-bit numbers or doubles");

    wav_file read;
    read.channels = number_at<std::uint16_t>(bytes, format + 2);
    read.rate = number_at<std::int32_t>(bytes, format + 4);
    const std::size_t end = data + number_at<std::uint32_t>(bytes, data - 4);
    for (std::size_t at = data; at < end; at += bits / 8)
        read.samples.push_back(real ? number_at<double>(bytes, at)
                                    : number_at<std::int16_t>(bytes, at) / 32768.0);
    return read;
}

sound read_sound(const std::filesystem::path &file)
{
    const wav_file read = read_wav(file);
    return {
        read.channels, static_cast<double>(read.rate), {read.samples.begin(), read.samples.end()}};
}
