// The one session of the process, and a fresh start.
#include "host_state.h"

namespace host {

session now;
journal<std::string> faults(1000); // one breach in every block of a long render
roll<instance> known_instances;
roll<t_outlet> known_outlets;
roll<buffer> known_buffers;
roll<t_buffer_ref> known_references;

void reset()
{
    faults.take();
    while (!now.instances.empty()) destroy(now.instances.back()->memory);
    while (!now.buffers.empty()) delete_buffer(now.buffers.begin()->first);
    now = session{};
    console.take();
    numbers.take();
    set_time(0);
    defer_at_once(false);
    fail_allocation(0);
}

} // namespace host
