// Plays the examples, and reads in their scores what they are told to do.
#include "examples.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

static fs::path score_of(const std::string &name) { return fs::path(EXAMPLES) / (name + ".score"); }

recording Examples::play(const std::string &name)
{
    EXPECT_EQ(run({score_of(name).string(), "-o", "x.wav"}).status, 0) << last.err;
    EXPECT_EQ(without(last.err, "fogs upper limit reached").find("error"), std::string::npos)
        << last.err;
    const recording heard = listen(folder / "x.wav");
    for (const channel &x : heard.channels) {
        EXPECT_TRUE(std::all_of(x.begin(), x.end(), [](double v) { return std::isfinite(v); }));
        EXPECT_LT(peak(x), 0.75) << "no clipping, and some room";
    }
    return heard;
}

std::string Examples::text(const std::string &name)
{
    std::ifstream in(score_of(name));
    return with({std::istreambuf_iterator<char>(in), {}}, "../media", MEDIA);
}

std::vector<std::pair<double, std::string>> Examples::events(const std::string &name)
{
    std::istringstream in(text(name));
    std::vector<std::pair<double, std::string>> found;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        double ms;
        std::string rest;
        if (words >> ms && std::getline(words >> std::ws, rest)) found.emplace_back(ms, rest);
    }
    return found;
}

std::vector<told> Examples::messages(const std::string &name, const std::string &object,
                                     const std::string &message)
{
    std::vector<told> found;
    for (const auto &[ms, rest] : events(name)) {
        const size_t at = rest.find(' ' + message + ' ');
        if (rest.rfind(object + ' ', 0) != 0 || at == std::string::npos) continue;
        std::istringstream words(rest.substr(at + message.size() + 2));
        told line{ms, {}};
        for (double number; words >> number;) line.numbers.push_back(number);
        found.push_back(line);
    }
    return found;
}

double Examples::signal_at(const told &line, double ms)
{
    double value = line.numbers[0];
    for (size_t i = 1; i + 1 < line.numbers.size() && ms > 0; i += 2) {
        value += (line.numbers[i] - value) * std::min(1.0, ms / line.numbers[i + 1]);
        ms -= line.numbers[i + 1];
    }
    return value;
}

std::vector<double> levels(const recording &heard, double from, double length)
{
    std::vector<double> found;
    for (const channel &x : heard.channels)
        found.push_back(rms(part(x, heard.rate, from / 1000, length / 1000)));
    return found;
}

std::string with(std::string text, const std::string &phrase, const std::string &other)
{
    EXPECT_NE(text.find(phrase), std::string::npos) << phrase;
    for (size_t at = 0; (at = text.find(phrase, at)) != std::string::npos; at += other.size())
        text.replace(at, phrase.size(), other);
    return text;
}

std::string without(const std::string &text, const std::string &word)
{
    std::istringstream in(text);
    std::string rest;
    for (std::string line; std::getline(in, line);)
        if (line.find(word) == std::string::npos) rest += line + '\n';
    return rest;
}
