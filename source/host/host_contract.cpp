// The rules: which call may come from where, and the list of those broken.
#include "host_state.h"

namespace host {

thread_local context running = context::main;
static thread_local int own_uses = 0;

own_heap_use::own_heap_use() { ++own_uses; }
own_heap_use::~own_heap_use() { --own_uses; }

void fault(std::string_view text, std::string_view more, std::string_view end)
{
    const own_heap_use own;
    faults.add(std::string(text).append(more).append(end));
}

static const char *where()
{
    return running == context::main        ? "main thread"
           : running == context::scheduler ? "scheduler thread"
                                           : "audio thread";
}

static void forbidden_here(const char *call) { fault(call, " called from the ", where()); }

bool main_only(const char *call)
{
    if (running != context::main) forbidden_here(call);
    return running == context::main;
}

void not_in_audio(const char *call)
{
    if (running == context::audio) forbidden_here(call);
}

std::vector<std::string> take_faults()
{
    const between_blocks quiet; // a block in progress may well hold locks
    check_locks();
    return faults.take();
}

} // namespace host

void host_heap_used()
{
    if (host::running != host::context::audio || host::own_uses) return;
    host::fault("the heap is used on the audio thread");
}
