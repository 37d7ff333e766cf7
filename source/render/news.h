// What a host and its objects have to say while a score plays.
#pragma once

#include "score.h"

#include <host.h>

/// What the host's clock shows when a score begins: in the first second of a clock, objects that
/// limit the rate of their warnings would keep them to themselves.
constexpr double clock_start_ms = 10000;

struct news {
    double ms;        // of the score
    std::string text; // " NAME: what", or ": what" where no object of the score speaks
};

/// The console's new rows, then the new numbers from integer outlets. `objects` are those of the
/// score, in its order.
std::vector<news> take_news(const score &from, const std::vector<t_object *> &objects);
