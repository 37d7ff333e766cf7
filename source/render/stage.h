// Sets the stage for a score: sounds read, objects made, events looked over.
#pragma once

#include "score.h"
#include "sound_reader.h"

#include <host.h>

/// Reads every sound that the score names. Throws bad_input.
sound_shelf load_sounds(const score &from);

/// Sets the clock to the start, and makes the objects of a score, in its order. Throws bad_input.
std::vector<t_object *> make_objects(const score &from);

/// Throws bad_input for the first event that cannot happen: a buffer to remove that is not there,
/// an inlet or a message that the object does not have.
void check_events(const score &from, const std::vector<t_object *> &objects);
