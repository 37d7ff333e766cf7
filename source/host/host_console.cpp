// The console with its two channels.
#include "host_state.h"

#include <cstdarg>
#include <cstdio>

namespace host {

journal<line> console;
journal<number> numbers;

} // namespace host

static void add_line(bool error, const t_object *x, const char *format, va_list args)
{
    const host::own_heap_use own;
    if (x) host::find(x, error ? "object_error" : "object_post");
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return host::fault("a console line cannot be formatted");
    std::string text(static_cast<size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    host::console.add({host::time(), error, x, std::move(text)});
}

void object_post(t_object *x, C74_CONST char *s, ...)
{
    va_list args;
    va_start(args, s);
    add_line(false, x, s, args);
    va_end(args);
}

void object_error(t_object *x, C74_CONST char *s, ...)
{
    va_list args;
    va_start(args, s);
    add_line(true, x, s, args);
    va_end(args);
}

std::vector<host::line> host::take_console() { return console.take(); }
std::vector<host::number> host::take_numbers() { return numbers.take(); }
