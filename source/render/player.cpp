// Plays a score through the host, block by block.
#include "player.h"

#include "failure.h"
#include "news.h"

#include <algorithm>
#include <cmath>
#include <limits>

static constexpr double silence = 1e-6; // -120 dBFS
static constexpr double silence_ms = 1000, patience_ms = 10 * 60 * 1000;

player::player(const score &played, const sound_shelf &from, const std::vector<t_object *> &to,
               int sample_rate, int vector_size)
    : notes(played), sounds(from), objects(to), rate(sample_rate), vector(vector_size)
{
    for (const t_object *x : objects) widest = std::max(widest, host::signal_outlets(x));
    host::start_audio(); // what happens at time 0 finds the objects as in a host that runs
    mixed.resize(static_cast<size_t>(vector) * static_cast<size_t>(widest));
}

bool player::finished() const
{
    if (notes.end_ms) return now_ms() >= *notes.end_ms;
    return next_event == notes.events.size() &&
           now_ms() >= std::max(last_ms, heard_ms) + silence_ms;
}

/// A signal starts up to a block after its time, and everything ends with a block.
player::range player::length() const
{
    double last = 0;
    for (const event &e : notes.events) {
        const auto *signal = std::get_if<signal_change>(&e.what);
        last = std::max(last, e.ms + (signal && signal->line ? signal->line->length_ms() : 0));
    }
    const double per_ms = rate / 1000.0;
    if (notes.end_ms) return {*notes.end_ms * per_ms, *notes.end_ms * per_ms + vector};
    return {(last + silence_ms) * per_ms, (last + patience_ms) * per_ms + 3 * vector};
}

const std::vector<double> &player::block()
{
    host::set_time(clock_start_ms + now_ms());
    for (; next_event < notes.events.size(); ++next_event) {
        const event &due = notes.events[next_event];
        if (due.ms > now_ms()) break;
        last_ms = std::max(last_ms, due.ms);
        try {
            std::visit([&](const auto &what) { apply(what); }, due.what);
        } catch (const host::error &wrong) {
            throw bad_line(notes.at(due.line, wrong.what()));
        }
        host::drain(); // the main thread is never late: what one line defers, the next finds done
    }
    feed();
    host::run();
    mix();
    frame += vector;
    listen();
    return mixed;
}

void player::apply(const buffer_change &change)
{
    if (change.file.empty()) return host::delete_buffer(change.name);
    const sound &s = sounds.at(change.file);
    host::set_buffer(change.name, s.channels, s.rate, s.samples);
}

void player::apply(const message &sent) { host::send(objects[sent.object], sent.inlet, sent.text); }

void player::apply(const signal_change &change)
{
    host::connect(objects[change.object], change.inlet, change.line ? 1 : 0);
    const auto place = std::make_pair(change.object, change.inlet);
    plugs.erase(place);
    if (!change.line) return;
    plugs.emplace(place, plug{*change.line, now_ms()});
    last_ms = std::max(last_ms, now_ms() + change.line->length_ms());
}

void player::feed()
{
    for (auto &[place, from] : plugs) {
        double *in = host::input(objects[place.first], place.second);
        const double ms = now_ms() - from.start_ms;
        for (int i = 0; i < vector; ++i) in[i] = from.line.at(ms + i * 1000.0 / rate);
    }
}

void player::mix()
{
    std::fill(mixed.begin(), mixed.end(), 0.0);
    for (const t_object *x : objects)
        for (int k = 0; k < host::signal_outlets(x); ++k) {
            const double *out = host::output(x, k);
            double *to = mixed.data() + k;
            for (int i = 0; i < vector; ++i, to += widest) *to += out[i];
        }
}

void player::listen()
{
    double loudest = 0;
    for (const double v : mixed) {
        if (!(std::abs(v) <= std::numeric_limits<float>::max()))
            throw std::runtime_error("an outlet's level is beyond all numbers");
        loudest = std::max(loudest, std::abs(v));
    }
    if (loudest >= silence) heard_ms = now_ms();
    if (!notes.end_ms && next_event == notes.events.size() && now_ms() > last_ms + patience_ms)
        throw bad_input(notes.path + ": it still sounds 10 minutes after the last event: say when "
                                     "it ends, with an end line");
}
