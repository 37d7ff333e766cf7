// From text to events, line by line.
#include "score.h"

#include "failure.h"
#include "words.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

std::string score::at(int line, const std::string &what) const
{
    return path + ":" + std::to_string(line) + ": " + what;
}

namespace {

using mistake = std::invalid_argument;

/// What is no text may have no second line, and no end.
constexpr size_t longest_line = 1 << 20;

constexpr char signal_alone[] = "a signal stands alone on its line";

std::string unquoted(std::string_view word)
{
    if (word.size() > 1 && word.front() == '"' && word.back() == '"')
        word = word.substr(1, word.size() - 2);
    return std::string(word);
}

class reader {
public:
    explicit reader(score &to) : result(to) {}

    void line(std::string_view text)
    {
        ++number_of_line;
        if (text.size() == longest_line) throw mistake("a line of more than a million characters");
        check_characters(text);
        text = without_comment(text);
        if (text.empty()) return;
        if (std::count(text.begin(), text.end(), '"') % 2) throw mistake("a quote stays open");
        const std::string_view first = take_word(text);
        if (first == "object") return at(0), object(text);
        if (first == "buffer") return at(0), buffer(text);
        at(number(first));
        timed(text);
    }

    int number_of_line = 0;

private:
    static void check_characters(std::string_view text)
    {
        const auto control = [](unsigned char c) { return (c < ' ' && c != '\t') || c == 127; };
        if (std::any_of(text.begin(), text.end(), control))
            throw mistake("a control character, but scores are plain text");
    }

    void at(double ms)
    {
        if (result.end_ms) throw mistake("nothing may follow the end");
        if (ms < 0 || ms > longest_ms) throw mistake("a time lies between 0 and 24 hours, in ms");
        if (ms < now) throw mistake("times must not run backwards");
        now = ms;
    }

    void object(std::string_view text)
    {
        const std::string name(take_word(text));
        if (name.empty() || text.empty()) throw mistake("object needs a name and a class");
        if (name == "buffer" || name == "object" || name == "end")
            throw mistake("an object cannot be named " + name);
        if (find(name) < result.objects.size())
            throw mistake("there is an object named " + name + " already");
        result.objects.push_back({name, std::string(text), number_of_line});
    }

    void buffer(std::string_view text)
    {
        const auto words = words_of(text);
        if (words.empty() || words.size() > 2)
            throw mistake("buffer needs a name and a sound file, or a name alone to remove it");
        buffer_change change{unquoted(words[0]), {}};
        if (words.size() == 2)
            change.file = std::filesystem::path(result.path).parent_path() / unquoted(words[1]);
        add(change);
    }

    void timed(std::string_view text)
    {
        const std::string_view who = take_word(text);
        if (who.empty()) throw mistake("a time alone: what happens then?");
        if (who == "end") return end(text);
        if (who == "buffer") return buffer(text);
        if (who == "object") throw mistake("objects are there from the start: leave out the time");
        const size_t object = find(who);
        if (object == result.objects.size())
            throw mistake("there is no object named " + std::string(who));
        const int inlet = count(take_word(text));
        if (text.empty()) throw mistake("what goes to the inlet is missing");
        std::string_view rest = text;
        if (take_word(rest) == "signal") return signal(object, inlet, rest);
        for (std::string_view part : parts_of(text)) check_selector(take_word(part));
        add(message{object, inlet, std::string(text)});
    }

    static void check_selector(std::string_view selector)
    {
        if (selector == "signal") throw mistake(signal_alone);
        if (selector == "\"\"") throw mistake("a message is empty");
    }

    void signal(size_t object, int inlet, std::string_view text)
    {
        if (parts_of(text).size() > 1) throw mistake(signal_alone);
        if (text == "off") return add(signal_change{object, inlet, std::nullopt});
        const auto words = words_of(text);
        if (words.size() > 1 && words[0] == "off") throw mistake("signal off stands alone");
        add(signal_change{object, inlet, signal_line(words)});
    }

    void end(std::string_view text)
    {
        if (!text.empty()) throw mistake("end stands alone");
        result.end_ms = now;
    }

    template <class What>
    void add(What what)
    {
        result.events.push_back({now, number_of_line, std::move(what)});
    }

    size_t find(std::string_view name) const
    {
        const auto &all = result.objects;
        return static_cast<size_t>(
            std::find_if(all.begin(), all.end(), [&](auto &o) { return o.name == name; }) -
            all.begin());
    }

    score &result;
    double now = 0;
};

/// False at the end; a line that is too long ends in the middle.
bool next_line(std::istream &in, std::vector<char> &room, std::string_view &line)
{
    in.getline(room.data(), static_cast<std::streamsize>(room.size()));
    if (!in.gcount()) return false;
    const bool ended = in.good(); // by a line feed, which counts
    line = {room.data(), static_cast<size_t>(in.gcount()) - ended};
    if (!in.fail() && !line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
}

void skip_byte_order_mark(std::istream &in)
{
    for (const int c : {0xEF, 0xBB, 0xBF}) {
        if (in.peek() != c) return;
        in.get();
    }
}

} // namespace

score read_score(const std::string &path)
{
    std::ifstream in(path);
    const auto unreadable = [&] {
        return bad_input(path + ": cannot be read: " + std::strerror(errno));
    };
    if (!in) throw unreadable();
    score result;
    result.path = path;
    reader lines(result);
    std::vector<char> room(longest_line + 1);
    try {
        skip_byte_order_mark(in);
        for (std::string_view text; next_line(in, room, text);) lines.line(text);
    } catch (const std::invalid_argument &wrong) {
        throw bad_line(result.at(lines.number_of_line, wrong.what()));
    }
    if (in.bad()) throw unreadable();
    if (result.objects.empty()) throw bad_input(path + ": the score has no object");
    return result;
}
