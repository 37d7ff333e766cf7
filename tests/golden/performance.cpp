// Playing a score and writing down what happens.
#include "performance.h"

#include "news.h"
#include "player.h"
#include "stage.h"
#include "words.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

settings read_settings(const std::string &score_file)
{
    settings found;
    std::ifstream in(score_file);
    for (std::string line; std::getline(in, line);) {
        const auto words = words_of(line);
        if (words.size() != 3 || words[0] != "#") continue;
        if (words[1] == "rate") found.rate = count(words[2]);
        if (words[1] == "vector") found.vector = count(words[2]);
        if (words[1] == "tolerance") found.tolerance = number(words[2]);
    }
    return found;
}

namespace {

std::string time_of(double ms)
{
    char text[40];
    std::snprintf(text, sizeof text, "%9.3f ms", ms);
    return text;
}

/// In dBFS to one decimal; what lies below -120 is `-`, since there rounding alone may sound.
std::string level(double peak)
{
    if (peak < 1e-6) return "-";
    char text[40];
    const double db = std::round(200 * std::log10(peak)) / 10;
    std::snprintf(text, sizeof text, "%.1f", db + 0.0); // without a minus before zero
    return text;
}

class writer {
public:
    writer(const score &played, const std::vector<t_object *> &made, performance &to)
        : notes(played), objects(made), result(to)
    {
    }

    void news()
    {
        for (const ::news &n : take_news(notes, objects)) add(n.ms, n.text);
    }

    void levels(double ms, const std::vector<double> &block)
    {
        std::vector<double> peaks(static_cast<size_t>(result.channels));
        for (size_t i = 0; i < block.size(); ++i) {
            double &peak = peaks[i % peaks.size()];
            peak = std::max(peak, std::abs(block[i]));
        }
        std::string text;
        for (const double peak : peaks) text += " " + level(peak);
        if (text != last) add(ms, " level" + text);
        last = text;
    }

private:
    void add(double ms, const std::string &what)
    {
        result.transcript.push_back(time_of(ms) + what);
    }

    const score &notes;
    const std::vector<t_object *> &objects;
    performance &result;
    std::string last;
};

/// Meets the class before the score does: its banner tells the version, which is no behaviour.
void load_external()
{
    host::unload();
    if (t_object *x = host::create("k.vorb~")) {
        host::drain();
        host::destroy(x);
        host::take_console();
    }
}

} // namespace

performance perform(const std::string &score_file)
{
    const settings wanted = read_settings(score_file);
    const score notes = read_score(score_file);
    const sound_shelf sounds = load_sounds(notes);
    load_external();
    host::set_audio(wanted.rate, wanted.vector);
    const std::vector<t_object *> objects = make_objects(notes);
    check_events(notes, objects);
    player playing(notes, sounds, objects, wanted.rate, wanted.vector);

    performance result;
    result.channels = playing.channels();
    result.rate = wanted.rate;
    writer transcript(notes, objects, result);
    while (!playing.finished()) {
        const double ms = playing.now_ms();
        const std::vector<double> &block = playing.block();
        transcript.news();
        transcript.levels(ms, block);
        result.sound.insert(result.sound.end(), block.begin(), block.end());
    }
    for (t_object *x : objects) host::destroy(x);
    transcript.news();
    result.faults = host::take_faults();
    return result;
}
