// The one session of the process, and a fresh start.
#include "host_state.h"

namespace host {

session now;

void reset()
{
    now.faults.clear();
    while (!now.instances.empty()) destroy(now.instances.back()->memory);
    while (!now.buffers.empty()) delete_buffer(now.buffers.begin()->first);
    auto broken = std::exchange(now.faults, {});
    now = session{};
    now.faults = std::move(broken);
}

} // namespace host
