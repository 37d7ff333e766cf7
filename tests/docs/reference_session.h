// The reference, read once, and a trial of the object in a fixed scene, so that two trials that
// differ in nothing that a patch can notice leave the same trace.
#pragma once

#include "markdown.h"
#include "module_session.h"

#include <cmath>
#include <cstdlib>
#include <regex>

/// All that a patch notices of an object.
struct trace {
    std::vector<std::string> outlets, said, said_later; // console rows at once and while it plays
    std::vector<std::vector<double>> sound;
    std::vector<t_atom_long> numbers;
    t_atom_long free_at_last = 0;

    bool operator==(const trace &other) const { return said == other.said && like(other); }
    /// Whatever was said at once.
    bool like(const trace &other) const
    {
        return outlets == other.outlets && said_later == other.said_later && sound == other.sound &&
               numbers == other.numbers && free_at_last == other.free_at_last;
    }

    friend void PrintTo(const trace &heard, std::ostream *out)
    {
        *out << ::testing::PrintToString(heard.said) << ", then "
             << ::testing::PrintToString(heard.said_later) << ", and sound";
    }
};

constexpr double sample_rate = 44100;

/// A number as the tables of ranges write it.
inline float bound(const std::string &written)
{
    return written == "nyquist" ? float(sample_rate / 2) : std::strtof(written.c_str(), nullptr);
}

/// What is said of a number beyond the range in a row.
inline std::string report(const row &r, float value)
{
    char line[300];
    std::snprintf(line, sizeof line,
                  "!k.vorb~: parameter '%s' (%.2e) out of range [%.2e .. %.2e] - set to %.2e",
                  quoted(r["Label"]).at(0).c_str(), double(value), double(bound(r["Low"])),
                  double(bound(r["High"])), double(bound(r["Fallback"])));
    return line;
}

class reference : public module_session {
protected:
    using act = std::function<void(t_object *)>;

    static const markdown &text()
    {
        static const markdown read = read_markdown(REFERENCE);
        return read;
    }

    /// To say which row of the document is at fault.
    static std::string at(const row &r) { return "reference.md:" + std::to_string(r.line); }

    static bool is_documented(const std::string &text_said)
    {
        for (const row &r : table_with(text(), "Channel"))
            if (is_row(text_said, r)) return true;
        return false;
    }

    /// Whether a console text, those of the error channel with a '!', is that of the row.
    static bool is_row(const std::string &text_said, const row &r)
    {
        static const std::regex special(R"([\[\](){}.*+?^$|\\])"), filled(R"(\b[A-Z]+\b)"),
            count(R"(\bN\b)");
        std::string pattern = std::regex_replace(quoted(r["Text"]).at(0), special, "\\$&");
        pattern = std::regex_replace(pattern, count, "-?[0-9]+");
        pattern = std::regex_replace(pattern, filled, ".+");
        const std::string channel = r["Channel"] == "error" ? "!" : "";
        return std::regex_match(text_said, std::regex(channel + pattern));
    }

    /// Two buffers of one channel in which no two stretches are alike.
    static void fill_buffers()
    {
        mono_buffer("sample1", 4410, [](long i) { return std::sin(0.0001 * double(i * i)); });
        mono_buffer("sample2", 4410, [](long i) { return std::cos(0.001 * double(i * i % 997)); });
    }

    /// Makes an object in a host that has just started, lets it sing at 200 Hz, does `then` while
    /// its first fog sounds, and goes on for as long as several fogs last.
    static trace play_box(const std::string &box, const act &then = {})
    {
        host::unload();
        host::set_time(100000);
        fill_buffers();
        trace heard;
        t_object *x = host::create(box);
        host::drain();
        heard.said = console();
        heard.said.erase(heard.said.begin()); // the banner
        heard.outlets = host::outlets(x);
        host::connect(x, 0);
        std::fill_n(host::input(x, 0), 64, 200.0);
        play(x, 4, 64);
        if (then) {
            then(x);
            host::drain();
            heard.said = console();
        }
        heard.sound = play(x, 40, 64);
        heard.said_later = console();
        for (const host::number &n : host::take_numbers()) heard.numbers.push_back(n.value);
        heard.free_at_last = ask(x, "freefogs");
        for (const auto &rows : {heard.said, heard.said_later})
            for (const std::string &said : rows) EXPECT_TRUE(is_documented(said)) << said;
        return heard;
    }

    /// In a scene in which every message makes a difference: all outlets, short of fogs.
    static trace play_scene(const act &then = {})
    {
        return play_box("k.vorb~ 10 sample1 4 20 1.3 40 0.8 3 10 20 0.8", then);
    }

    static act sending(int inlet, const std::string &message)
    {
        return [=](t_object *x) { host::send(x, inlet, message); };
    }
};
