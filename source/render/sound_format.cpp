// Which sound file format a name's ending and a word choose.
#include "sound_format.h"

#include "failure.h"

#include <algorithm>
#include <cctype>

namespace {

struct choice {
    const char *word;
    int format;
};

constexpr choice endings[] = {{"wav", SF_FORMAT_WAV},  {"aiff", SF_FORMAT_AIFF},
                              {"aif", SF_FORMAT_AIFF}, {"flac", SF_FORMAT_FLAC},
                              {"ogg", SF_FORMAT_OGG},  {"caf", SF_FORMAT_CAF},
                              {"w64", SF_FORMAT_W64},  {"au", SF_FORMAT_AU}};

// The first that a kind of file can hold is its default.
constexpr choice codings[] = {{"float", SF_FORMAT_FLOAT},   {"pcm24", SF_FORMAT_PCM_24},
                              {"vorbis", SF_FORMAT_VORBIS}, {"pcm16", SF_FORMAT_PCM_16},
                              {"pcm32", SF_FORMAT_PCM_32},  {"double", SF_FORMAT_DOUBLE}};

template <size_t N>
std::string listed(const choice (&table)[N])
{
    std::string all;
    for (const choice &c : table) all += (all.empty() ? "" : ", ") + std::string(c.word);
    return all;
}

template <size_t N>
const choice *find(const choice (&table)[N], const std::string &word)
{
    const auto found = std::find_if(table, table + N, [&](auto &c) { return c.word == word; });
    return found == table + N ? nullptr : found;
}

bool holds(int format, int channels, int rate)
{
    SF_INFO info{};
    info.format = format;
    info.channels = channels;
    info.samplerate = rate;
    return sf_format_check(&info);
}

const choice &coding(int type, const std::string &word, const std::string &kind)
{
    if (word.empty())
        return *std::find_if(std::begin(codings), std::end(codings),
                             [&](auto &c) { return holds(type | c.format, 1, 44100); });
    const choice *wanted = find(codings, word);
    if (!wanted) throw bad_input("unknown format " + word + ", known are " + listed(codings));
    if (!holds(type | wanted->format, 1, 44100))
        throw bad_input("a ." + kind + " file does not take the format " + word);
    return *wanted;
}

// 32-bit sizes end at 4 GB; the header needs some of them.
constexpr sf_count_t small_file = 0xFFFF0000;

bool sized_in_32_bits(int format)
{
    const int type = format & SF_FORMAT_TYPEMASK;
    return type == SF_FORMAT_WAV || type == SF_FORMAT_AIFF || type == SF_FORMAT_AU;
}

sf_count_t bytes_per_sample(int format)
{
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_16:
        return 2;
    case SF_FORMAT_PCM_24:
        return 3;
    case SF_FORMAT_DOUBLE:
        return 8;
    default:
        return 4;
    }
}

} // namespace

std::string ending(const std::filesystem::path &file)
{
    std::string text = file.extension().string();
    if (!text.empty()) text.erase(0, 1);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string format_words() { return listed(codings); }
std::string format_endings() { return listed(endings); }

SF_INFO choose_format(const std::filesystem::path &file, const std::string &word, int channels,
                      int rate)
{
    const choice *kind = find(endings, ending(file));
    if (!kind) throw bad_input(file.string() + ": the ending must be one of " + listed(endings));
    SF_INFO info{};
    info.format = kind->format | coding(kind->format, word, kind->word).format;
    info.channels = channels;
    info.samplerate = rate;
    if (!holds(info.format, channels, rate))
        throw bad_input(file.string() + ": a ." + kind->word + " file does not take " +
                        std::to_string(channels) + " channels at " + std::to_string(rate) + " Hz");
    return info;
}

bool has_room(const SF_INFO &info, sf_count_t frames)
{
    return !sized_in_32_bits(info.format) ||
           frames <= small_file / (info.channels * bytes_per_sample(info.format));
}

SF_INFO with_room(SF_INFO info, sf_count_t frames)
{
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAV && !has_room(info, frames))
        info.format = SF_FORMAT_RF64 | (info.format & SF_FORMAT_SUBMASK);
    return info;
}

bool clips(const SF_INFO &info)
{
    const int coding = info.format & SF_FORMAT_SUBMASK;
    return coding != SF_FORMAT_FLOAT && coding != SF_FORMAT_DOUBLE;
}
