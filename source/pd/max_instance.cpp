// Instances and messages: the headless host's own code makes and calls them, Pd's console and clock
// stand in for its.
#include "host_state.h"
#include "pd_bridge.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

extern "C" void ext_main(void *);

static const char class_name[] = "k.vorb~";

namespace host {

session now;
journal<number> numbers;
journal<std::string> faults;
roll<instance> known_instances;
roll<t_outlet> known_outlets;
roll<t_buffer_ref> known_references;

void load_class(const std::string &) {} // Pd has loaded the only one

} // namespace host

namespace vorb_pd {

using namespace host;

static void *newborn = nullptr; // Pd's object while the constructor runs

/// Rows of the console name the class, and lead to Pd's object, which an unused field of the
/// instance knows.
static void write(bool error, const t_object *x, const char *format, va_list args)
{
    char text[800], row[sizeof text + sizeof class_name + 2];
    if (std::vsnprintf(text, sizeof text, format, args) < 0) return;
    const bool named = !x || std::strncmp(text, class_name, sizeof class_name - 1) == 0;
    std::snprintf(row, sizeof row, "%s%s%s", named ? "" : class_name, named ? "" : ": ", text);
    pd::write_console(x && x->o_outlet ? x->o_outlet : newborn, error, row);
}

/// A broken rule of the API is a mistake of ours, and better heard of than kept.
static void report_faults(instance &x)
{
    check_locks();
    for (const std::string &text : faults.take())
        object_error(x.memory, "internal fault: %s", text.c_str());
}

void load()
{
    defer_at_once(true); // one thread plays all messages, as without overdrive
    ext_main(nullptr);
}

/// Where a whole number is typed into a box, it is an int.
static t_atom typed(float v)
{
    const bool is_int = v == std::trunc(v) && std::fabs(v) < 9223372036854775808.0f;
    return is_int ? host::atom(t_atom_long(v)) : host::atom(double(v));
}

static t_atom sent(float v) { return host::atom(double(v)); }

static atoms max_atoms(int argc, const atom *argv, t_atom (*number)(float))
{
    atoms made;
    for (const atom *a = argv; a < argv + argc; ++a)
        made.push_back(a->symbol ? host::atom(a->symbol) : number(a->number));
    return made;
}

instance *create(void *owner, int argc, const atom *argv)
{
    set_time(pd::time_ms());
    newborn = owner;
    t_object *memory = host::create(class_name, max_atoms(argc, argv, typed));
    newborn = nullptr;
    if (!memory) return nullptr;
    memory->o_outlet = owner;
    report_faults(get(memory));
    return &get(memory);
}

void destroy(instance *x)
{
    host::destroy(x->memory);
    prune();
}

int signal_outlets(const instance *x) { return host::signal_outlets(x->memory); }

bool send(instance *x, int inlet, const char *selector, int argc, const atom *argv, float *left)
{
    set_time(pd::time_ms());
    deliver(*x, inlet, selector, max_atoms(argc, argv, sent));
    report_faults(*x);
    const std::vector<number> answers = numbers.take();
    if (answers.empty()) return false;
    *left = float(answers.back().value); // no message is answered with more than one
    return true;
}

void send_number(instance *x, int inlet, float v)
{
    set_time(pd::time_ms());
    deliver_number(*x, inlet, double(v));
}

} // namespace vorb_pd

void object_post(t_object *x, C74_CONST char *s, ...)
{
    va_list args;
    va_start(args, s);
    vorb_pd::write(false, x, s, args);
    va_end(args);
}

void object_error(t_object *x, C74_CONST char *s, ...)
{
    va_list args;
    va_start(args, s);
    vorb_pd::write(true, x, s, args);
    va_end(args);
}
