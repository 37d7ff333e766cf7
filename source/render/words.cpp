// Cutting a score line into words, and reading numbers as a box does.
#include "words.h"

#include <charconv>
#include <host.h>
#include <stdexcept>

static constexpr std::string_view blanks = " \t";

/// Where the word that starts at `begin` ends.
static size_t word_end(std::string_view text, size_t begin)
{
    bool quoted = false;
    size_t i = begin;
    for (; i < text.size(); ++i) {
        if (text[i] == '"') quoted = !quoted;
        if (!quoted && blanks.find(text[i]) != blanks.npos) break;
    }
    return i;
}

static std::string_view trim(std::string_view text)
{
    const size_t first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view without_comment(std::string_view line)
{
    for (size_t i = 0; (i = line.find_first_not_of(blanks, i)) != line.npos; i = word_end(line, i))
        if (line[i] == '#') return trim(line.substr(0, i));
    return trim(line);
}

std::string_view take_word(std::string_view &text)
{
    text = trim(text);
    const std::string_view word = text.substr(0, word_end(text, 0));
    text = trim(text.substr(word.size()));
    return word;
}

std::vector<std::string_view> parts_of(std::string_view text)
{
    std::vector<std::string_view> parts;
    bool quoted = false;
    size_t from = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') quoted = !quoted;
        if (text[i] != ',' || quoted) continue;
        parts.push_back(text.substr(from, i - from));
        from = i + 1;
    }
    parts.push_back(text.substr(from));
    return parts;
}

std::vector<std::string_view> words_of(std::string_view text)
{
    std::vector<std::string_view> words;
    while (!text.empty()) words.push_back(take_word(text));
    return words;
}

double number(std::string_view word)
{
    const host::atoms read = host::parse(word);
    if (read.size() != 1 || read[0].a_type == A_SYM)
        throw std::invalid_argument("not a number: " + std::string(word));
    return read[0].a_type == A_LONG ? double(read[0].a_w.w_long) : read[0].a_w.w_float;
}

int count(std::string_view word)
{
    int value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size() || value < 0)
        throw std::invalid_argument("not a whole number: " + std::string(word));
    return value;
}
