// What holds after each step of a session, whatever the bytes said, and after all of them.
#include "between_calls.h"
#include "fuzz_session.h"
#include "pool_flaw.h"
#include "process_state.h"
#include "target.h"

#include <algorithm>
#include <cmath>

/// A reference whose list entry found no memory hears of no change; there is no more to be had.
static bool is_owed_to_memory(const std::string &fault)
{
    return fault == "a notice was not forwarded to its buffer reference";
}

void fuzz_session::check_step()
{
    for (const std::string &fault : host::take_faults())
        if (!memory_failed || !is_owed_to_memory(fault)) broken(fault);
    for (const player &p : players) {
        const auto x = reinterpret_cast<const vorb *>(p.object);
        if (const std::string flaw = pool_flaw(x->pool); !flaw.empty()) broken(flaw);
    }
    for (const host::number &n : host::take_numbers())
        if (n.value < 0 || n.value > vorb_pool_size) broken("a number of fogs that cannot be");
    for (const host::line &row : host::take_console())
        if (row.text.empty()) broken("a console row without a text");
}

void fuzz_session::check_sound(const player &p, long frames) const
{
    for (int k = 0; k < host::signal_outlets(p.object); ++k) {
        const double *out = host::output(p.object, k);
        if (!std::all_of(out, out + frames, [](double v) { return std::isfinite(v); }))
            broken("outlet " + std::to_string(k) + " is not finite");
    }
}

// ---- After all of them --------------------------------------------------------------------------

/// The table of as many channels as the layout can tell apart; others are silent by intent.
static const char *fitting_table(const t_object *x)
{
    const int outlets = host::signal_outlets(x);
    return outlets == 6 ? "sample4" : outlets == 2 || outlets == 4 ? "sample2" : "sample1";
}

static void set_right(t_object *x)
{
    for (int inlet = 0; inlet < host::inlets(x); ++inlet) host::connect(x, inlet, 0);
    host::send(x, 0, "set", {host::atom(fitting_table(x))});
    host::send(x, 0,
               "reset, maxfogs 8, limit 0 0, gain 1, autoenv 0 0, f0phase 0, offset 20, transp 1,"
               "bw 50, lp 0, amp 0.5, tex 2, debatt 20, atten 5");
}

static double loudest(const double *out, long frames)
{
    double most = 0;
    for (long i = 0; i < frames; ++i) most = std::max(most, std::abs(out[i]));
    return most;
}

/// Whatever came before, new fogs of moderate numbers sound as ever: no NaN stays, no failure of
/// memory, no lock and no deleted buffer outlasts its cause.
void fuzz_session::recover()
{
    interfere_after(0, {});
    host::fail_allocation(0);
    host::drain();
    host::defer_at_once(true);
    make(); // makes the table that ran out of memory, if one did
    for (const long channels : {1, 2, 4}) {
        const std::string name = "sample" + std::to_string(channels);
        const auto size = static_cast<std::size_t>(3000 * channels);
        host::set_buffer(name, channels, 44100, std::vector<float>(size, 0.5f));
        host::refuse_locks(name, false);
    }
    for (const player &p : players) host::set_audio(p.object, 0, 0);
    for (const long frames : {32, 64}) { // a size once refused is not asked for again
        host::set_audio(44100, frames);
        host::start_audio();
    }
    for (const player &p : players) set_right(p.object);
    for (const player &p : players)
        host::send(p.object, 0, "bang, bang, bang, bang, bang, bang, bang, bang");
    for (int k = 0; k < 3; ++k) {
        const scratch_fence fence(64);
        host::run();
        for (const player &p : players) check_sound(p, 64);
    }
    for (const player &p : players)
        if (!(loudest(host::output(p.object, 0), 64) > 0.1)) broken("an instance stays silent");
    check_step();
}
