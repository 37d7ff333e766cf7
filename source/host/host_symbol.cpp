// Symbols, and text as atoms.
#include "host_state.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <locale>
#include <mutex>
#include <shared_mutex>
#include <sstream>

t_symbol *gensym(C74_CONST char *s)
{
    struct entry {
        std::string text;
        t_symbol symbol;
    };
    static std::unordered_map<std::string_view, std::unique_ptr<entry>> table; // lives for ever
    static std::shared_mutex mutex; // known symbols bring no order between those who ask for them
    host::not_in_audio("gensym");
    if (!s) {
        host::fault("gensym: no text");
        s = "";
    }
    const host::own_heap_use own;
    {
        const std::shared_lock<std::shared_mutex> among_others(mutex);
        if (const auto known = table.find(s); known != table.end()) return &known->second->symbol;
    }
    const std::lock_guard<std::shared_mutex> alone(mutex);
    if (const auto known = table.find(s); known != table.end()) return &known->second->symbol;
    auto fresh = std::make_unique<entry>(entry{s, {}});
    fresh->symbol.s_name = fresh->text.data();
    t_symbol *symbol = &fresh->symbol;
    table.emplace(fresh->text, std::move(fresh));
    return symbol;
}

namespace host {

t_atom atom(double v)
{
    t_atom a{A_FLOAT, {}};
    a.a_w.w_float = v;
    return a;
}

t_atom atom(const char *symbol)
{
    t_atom a{A_SYM, {}};
    a.a_w.w_sym = gensym(symbol);
    return a;
}

static t_atom word(const std::string &text)
{
    const char *first = text.data(), *last = first + text.size();
    if (*first == '+' && text.size() > 1 && text[1] != '-') ++first;
    t_atom_long whole = 0;
    if (const auto [end, fail] = std::from_chars(first, last, whole);
        fail == std::errc{} && end == last)
        return atom(whole);
    // "inf" and "nan" are words in a box, not numbers.
    const bool numeric = text.find_first_not_of("+-.0123456789eE") == std::string::npos;
    // A stream with its own locale: floating from_chars is missing from some standard libraries.
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    double real = 0;
    if (numeric && in >> real && in.eof()) return atom(real);
    return atom(text.c_str());
}

atoms parse(std::string_view text)
{
    atoms list;
    for (size_t i = 0; i < text.size();) {
        if (std::isspace(static_cast<unsigned char>(text[i]))) {
            ++i;
            continue;
        }
        const bool quoted = text[i] == '"';
        const size_t from = quoted ? i + 1 : i;
        size_t to = std::min(text.find_first_of(quoted ? "\"" : " \t\r\n", from), text.size());
        const std::string piece(text.substr(from, to - from));
        list.push_back(quoted ? atom(piece.c_str()) : word(piece));
        i = quoted ? to + 1 : to;
    }
    return list;
}

} // namespace host
