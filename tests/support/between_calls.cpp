// Functions in front of the host's own for buffers, between whose calls something may happen.
#include "between_calls.h"

#include "host_function.h"
#include "host_state.h"

// Looked up here, since the look-up itself may use the heap.
static const auto host_buffer_ref_getobject =
    host_function<decltype(buffer_ref_getobject)>("buffer_ref_getobject");
static const auto host_buffer_locksamples =
    host_function<decltype(buffer_locksamples)>("buffer_locksamples");
static const auto host_buffer_unlocksamples =
    host_function<decltype(buffer_unlocksamples)>("buffer_unlocksamples");
static const auto host_buffer_getframecount =
    host_function<decltype(buffer_getframecount)>("buffer_getframecount");
static const auto host_buffer_getchannelcount =
    host_function<decltype(buffer_getchannelcount)>("buffer_getchannelcount");
static const auto host_buffer_getsamplerate =
    host_function<decltype(buffer_getsamplerate)>("buffer_getsamplerate");

static long calls_left;
static std::function<void(bool)> interference;

void interfere_after(long calls, std::function<void(bool)> what)
{
    calls_left = calls;
    interference = std::move(what);
}

static void maybe_interfere(bool may_delete)
{
    if (calls_left == 0 || --calls_left > 0) return;
    const host::in_context main(host::context::main);
    interference(may_delete);
}

/// Asked for anew, a reference finds what there is by then; a buffer in hand must not go.
t_buffer_obj *buffer_ref_getobject(t_buffer_ref *ref)
{
    maybe_interfere(true);
    return host_buffer_ref_getobject(ref);
}

float *buffer_locksamples(t_buffer_obj *b)
{
    maybe_interfere(false);
    return host_buffer_locksamples(b);
}

void buffer_unlocksamples(t_buffer_obj *b)
{
    maybe_interfere(false);
    host_buffer_unlocksamples(b);
}

t_atom_long buffer_getframecount(t_buffer_obj *b)
{
    maybe_interfere(false);
    return host_buffer_getframecount(b);
}

t_atom_long buffer_getchannelcount(t_buffer_obj *b)
{
    maybe_interfere(false);
    return host_buffer_getchannelcount(b);
}

t_atom_float buffer_getsamplerate(t_buffer_obj *b)
{
    maybe_interfere(false);
    return host_buffer_getsamplerate(b);
}
