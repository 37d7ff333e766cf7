// Any text as a score: it is read into events that a player can play, or refused with its line.
#include "failure.h"
#include "memory_file.h"
#include "score.h"
#include "target.h"
#include "words.h"

#include <cmath>

static void check_signal(signal_line line)
{
    // In the order of time, as it is played.
    const double length = line.length_ms();
    for (const double ms : {0.0, length / 3, length, length + 1})
        if (!std::isfinite(line.at(ms))) broken("a signal beyond all numbers");
}

static void check_target(const score &read, size_t object, int inlet)
{
    if (object >= read.objects.size() || inlet < 0) broken("an event for nobody");
}

static void check(const score &read)
{
    if (read.objects.empty()) broken("a score without an object");
    double now = 0;
    for (const event &e : read.events) {
        if (!(e.ms >= now && e.ms <= longest_ms)) broken("an event out of time");
        now = e.ms;
        if (const auto *change = std::get_if<signal_change>(&e.what)) {
            check_target(read, change->object, change->inlet);
            if (change->line) check_signal(*change->line);
        } else if (const auto *sent = std::get_if<message>(&e.what)) {
            check_target(read, sent->object, sent->inlet);
        }
    }
    if (read.end_ms && *read.end_ms < now) broken("an end before the last event");
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const memory_file file(data, size);
    try {
        check(read_score(file.path()));
    } catch (const bad_input &reason) {
        if (!*reason.what()) broken("refused without a reason");
    }
    return 0;
}
