// What handlers ask first: which inlet, how many arguments, and is the number in its range.
#include "k_vorb.h"

#include <limits>

// A double beyond every float becomes an infinity, which the range check then reports.
static_assert(std::numeric_limits<float>::is_iec559);

float vorb_get_value(vorb *x, const t_atom *atom)
{
    if (atom->a_type == A_FLOAT) return float(atom->a_w.w_float);
    if (atom->a_type == A_LONG) return float(atom->a_w.w_long);
    object_error(vorb_object(x), "%s: expected number argument", s_vorb_name);
    return 0;
}

float vorb_range_check(vorb *x, const char *label, float value, float low, float high,
                       float fallback)
{
    // A NaN passes, deliberate.
    if (!(low > value || value > high)) return value;
    object_error(vorb_object(x),
                 "%s: parameter '%s' (%.2e) out of range [%.2e .. %.2e] - set to %.2e", s_vorb_name,
                 label, double(value), double(low), double(high), double(fallback));
    return fallback;
}

float vorb_checked(vorb *x, const vorb_range &range, float value)
{
    return vorb_range_check(x, range.label, value, range.low, range.high, range.fallback);
}

float vorb_read_checked(vorb *x, const vorb_range &range, const t_atom *atom)
{
    return vorb_checked(x, range, vorb_get_value(x, atom));
}

/// The argument count is 16 bits wide, deliberate.
int vorb_count(long argc) { return std::int16_t(argc); }

bool vorb_at_inlet(vorb *x, int also)
{
    const long inlet = proxy_getinlet(vorb_object(x));
    return inlet == 0 || inlet == also;
}

/// Whether a message is answered: at its inlets, with enough arguments.
bool vorb_accepts(vorb *x, const char *message, long argc, int least, int also)
{
    if (!vorb_at_inlet(x, also)) return false;
    if (vorb_count(argc) >= least) return true;
    object_error(vorb_object(x), "%s: insufficient arguments for %s message", s_vorb_name, message);
    return false;
}

void vorb_assign(vorb *x, const vorb_param &p, float value)
{
    vorb_range range = p.range;
    if (p.high) range.high = float(x->inputs.*p.high);
    p.store(x->inputs, vorb_checked(x, range, value));
    x->inputs.changed = 1;
}

void vorb_scalar(vorb *x, const vorb_param &p, long argc, t_atom *argv)
{
    if (vorb_accepts(x, p.message, argc, 1, p.also)) vorb_assign(x, p, vorb_get_value(x, argv));
}
