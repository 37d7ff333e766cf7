// Sets the stage for a score: sounds read, objects made, events looked over.
#include "stage.h"

#include "failure.h"
#include "news.h"
#include "words.h"

#include <algorithm>
#include <set>

sound_shelf load_sounds(const score &from)
{
    sound_shelf sounds;
    for (const event &e : from.events) {
        const auto *change = std::get_if<buffer_change>(&e.what);
        if (!change || change->file.empty() || sounds.count(change->file)) continue;
        try {
            sounds.emplace(change->file, read_sound(change->file));
        } catch (const std::runtime_error &wrong) {
            throw bad_line(from.at(e.line, change->file.string() + ": " + wrong.what()));
        }
    }
    return sounds;
}

/// The console's last complaint says why a box was refused.
static std::string last_complaint()
{
    const auto console = host::take_console();
    const auto found =
        std::find_if(console.rbegin(), console.rend(), [](auto &row) { return row.error; });
    return found == console.rend() ? "" : ": " + found->text;
}

static void check_class(const score &from, const object_box &box)
{
    const host::atoms words = host::parse(box.text);
    if (words.empty() || words[0].a_type != A_SYM || !*words[0].a_w.w_sym->s_name)
        throw bad_line(from.at(box.line, "cannot make " + box.name + ": its class is no word"));
}

std::vector<t_object *> make_objects(const score &from)
{
    std::vector<t_object *> made;
    host::set_time(clock_start_ms);
    for (const object_box &box : from.objects) {
        check_class(from, box);
        t_object *x = host::create(box.text);
        if (!x) throw bad_line(from.at(box.line, "cannot make " + box.name + last_complaint()));
        if (!host::signal_outlets(x))
            throw bad_line(from.at(box.line, box.name + " has no signal outlet"));
        made.push_back(x);
        host::drain();
    }
    return made;
}

namespace {

class checker {
public:
    checker(const score &played, const std::vector<t_object *> &on) : notes(played), objects(on) {}

    void operator()(const buffer_change &change)
    {
        if (!change.file.empty()) buffers.insert(change.name);
        else if (!buffers.erase(change.name))
            throw host::error("there is no buffer " + change.name);
    }

    void operator()(const message &sent)
    {
        const std::string unknown = host::unknown_selector(has_inlet(sent), sent.text);
        if (!unknown.empty())
            throw host::error(notes.objects[sent.object].name + " does not understand " + unknown);
    }

    void operator()(const signal_change &change) { has_inlet(change); }

private:
    template <class Change>
    const t_object *has_inlet(const Change &change) const
    {
        const t_object *x = objects[change.object];
        if (change.inlet >= host::inlets(x))
            throw host::error(notes.objects[change.object].name + " has no inlet " +
                              std::to_string(change.inlet));
        return x;
    }

    const score &notes;
    const std::vector<t_object *> &objects;
    std::set<std::string> buffers; // those there are at this point
};

} // namespace

void check_events(const score &from, const std::vector<t_object *> &objects)
{
    checker check(from, objects);
    for (const event &e : from.events) {
        try {
            std::visit(check, e.what);
        } catch (const host::error &wrong) {
            throw bad_line(from.at(e.line, wrong.what()));
        }
    }
}
