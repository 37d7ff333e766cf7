// The clock, and the queue of calls that wait for the main thread.
#include "host_state.h"

#include <algorithm>

namespace host {

void set_time(double ms)
{
    if (!(ms >= -9e15 && ms <= 9e15)) throw error("no time of day");
    now.clock_ms = ms;
}

double time() { return now.clock_ms; }
void defer_at_once(bool yes) { now.defer_at_once = yes; }

static void call(deferred &job)
{
    using handler = void (*)(t_object *, t_symbol *, short, t_atom *);
    const in_context main(context::main);
    reinterpret_cast<handler>(job.fn)(job.object, job.symbol, job.count,
                                      job.has_atoms ? job.args.data() : nullptr);
}

void drain()
{
    while (!now.queue.empty()) {
        deferred job = std::move(now.queue.front());
        now.queue.pop_front();
        call(job);
    }
}

void stop_deferred(const t_object *x)
{
    auto &queue = now.queue;
    queue.erase(std::remove_if(queue.begin(), queue.end(),
                               [x](const deferred &job) { return job.object == x; }),
                queue.end());
}

} // namespace host

void *defer(void *ob, method fn, t_symbol *sym, short argc, t_atom *argv)
{
    host::not_in_audio("defer");
    const host::own_heap_use own;
    const host::instance *x = host::find(ob, "defer");
    if (!x) return nullptr;
    if (!fn || argc < 0) {
        host::fault("defer: no function, or a negative count");
        return nullptr;
    }
    host::deferred job{x->memory, fn, sym, argv != nullptr, argc, {}};
    if (argv) job.args.assign(argv, argv + argc);
    if (host::now.defer_at_once && host::running == host::context::main) host::call(job);
    else host::now.queue.push_back(std::move(job));
    return nullptr;
}

long gettime(void) { return static_cast<long>(static_cast<int64_t>(host::now.clock_ms)); }
