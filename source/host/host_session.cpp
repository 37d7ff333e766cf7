// The one session of the process, and a fresh start.
#include "host_state.h"

namespace host {

session now;

void reset()
{
    while (!now.instances.empty()) destroy(now.instances.back()->memory);
    while (!now.buffers.empty()) delete_buffer(now.buffers.begin()->first);
    now = session{};
}

} // namespace host
