// Reading, writing and comparing what is kept of performances.
#include "golden_files.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <sndfile.h>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

using sound_handle = std::unique_ptr<SNDFILE, int (*)(SNDFILE *)>;

fs::path transcript_file(const fs::path &score_file)
{
    return fs::path(score_file).replace_extension(".txt");
}

fs::path sound_file(const fs::path &score_file)
{
    return fs::path(score_file).replace_extension(".wav");
}

std::optional<performance> read_golden(const fs::path &score_file)
{
    performance kept;
    std::ifstream text(transcript_file(score_file));
    if (!text) return {};
    for (std::string line; std::getline(text, line);) kept.transcript.push_back(line);

    SF_INFO info{};
    const sound_handle in(sf_open(sound_file(score_file).c_str(), SFM_READ, &info), sf_close);
    if (!in) return {};
    kept.channels = info.channels;
    kept.rate = info.samplerate;
    kept.sound.resize(static_cast<size_t>(info.frames * info.channels));
    if (sf_readf_double(in.get(), kept.sound.data(), info.frames) != info.frames) return {};
    return kept;
}

void write_golden(const fs::path &score_file, const performance &made)
{
    std::ofstream text(transcript_file(score_file));
    for (const std::string &line : made.transcript) text << line << '\n';
    text.close();
    if (!text) throw std::runtime_error("cannot write " + transcript_file(score_file).string());

    SF_INFO info{};
    info.samplerate = made.rate;
    info.channels = made.channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    const sound_handle out(sf_open(sound_file(score_file).c_str(), SFM_WRITE, &info), sf_close);
    // The peak chunk holds the time of day: the same sound would make another file.
    if (out) sf_command(out.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    const auto count = static_cast<sf_count_t>(made.sound.size());
    if (!out || sf_write_double(out.get(), made.sound.data(), count) != count)
        throw std::runtime_error("cannot write " + sound_file(score_file).string());
}

static std::string transcript_difference(const std::vector<std::string> &expected,
                                         const std::vector<std::string> &got)
{
    const auto line = [](const std::vector<std::string> &of, size_t i) {
        return i < of.size() ? of[i] : "(no such line)";
    };
    for (size_t i = 0; i < std::max(expected.size(), got.size()); ++i)
        if (line(expected, i) != line(got, i))
            return "transcript line " + std::to_string(i + 1) + "\n  expected " +
                   line(expected, i) + "\n  got      " + line(got, i) + "\n";
    return "";
}

static std::string shape(const performance &of)
{
    return std::to_string(of.sound.size()) + " samples in " + std::to_string(of.channels) +
           " channels at " + std::to_string(of.rate) + " Hz";
}

static std::string sound_difference(const performance &expected, const performance &got,
                                    double tolerance)
{
    if (shape(expected) != shape(got))
        return "sound\n  expected " + shape(expected) + "\n  got      " + shape(got) + "\n";
    const std::vector<double> &a = expected.sound, &b = got.sound;
    const auto channels = static_cast<size_t>(expected.channels);
    size_t first = a.size(), worst = 0;
    for (size_t i = a.size(); i-- > 0;) {
        if (!(std::abs(a[i] - b[i]) <= tolerance)) first = i;
        if (std::abs(a[i] - b[i]) >= std::abs(a[worst] - b[worst])) worst = i;
    }
    if (first == a.size()) return "";
    std::ostringstream text;
    text.precision(17);
    const auto tell = [&](const char *which, size_t i) {
        text << which << " frame " << i / channels << ", channel " << i % channels + 1
             << "\n  expected " << a[i] << "\n  got      " << b[i] << "\n";
    };
    tell("sound: first difference in", first);
    tell("largest difference in", worst);
    text << "  which is " << std::abs(a[worst] - b[worst]) << " where " << tolerance
         << " is allowed\n";
    return text.str();
}

std::string difference(const performance &expected, const performance &got, double tolerance)
{
    return transcript_difference(expected.transcript, got.transcript) +
           sound_difference(expected, got, tolerance);
}
