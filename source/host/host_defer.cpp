// The clock, and the queue of calls that wait for the main thread.
#include "host_state.h"

#include <algorithm>
#include <mutex>
#include <optional>

namespace host {

static std::atomic<double> clock_ms{0};
static std::mutex waiting;
static std::deque<deferred> queue; // under `waiting`
thread_local bool at_once = false;

void set_time(double ms)
{
    if (!(ms >= -9e15 && ms <= 9e15)) throw error("no time of day");
    clock_ms.store(ms, std::memory_order_relaxed);
}

double time() { return clock_ms.load(std::memory_order_relaxed); }
void defer_at_once(bool yes) { at_once = yes; }

static void call(deferred &job)
{
    using handler = void (*)(t_object *, t_symbol *, short, t_atom *);
    const in_context main(context::main);
    reinterpret_cast<handler>(job.fn)(job.object, job.symbol, job.count,
                                      job.has_atoms ? job.args.data() : nullptr);
}

static std::optional<deferred> next_deferred()
{
    const std::lock_guard<std::mutex> alone(waiting);
    if (queue.empty()) return {};
    deferred job = std::move(queue.front());
    queue.pop_front();
    return job;
}

void drain()
{
    while (auto job = next_deferred()) call(*job);
}

static void append(deferred &&job)
{
    const std::lock_guard<std::mutex> alone(waiting);
    queue.push_back(std::move(job));
}

void stop_deferred(const t_object *x)
{
    const std::lock_guard<std::mutex> alone(waiting);
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
    if (host::at_once && host::running == host::context::main) host::call(job);
    else host::append(std::move(job));
    return nullptr;
}

long gettime(void) { return static_cast<long>(static_cast<int64_t>(host::time())); }
