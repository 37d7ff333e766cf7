// Every number from a message or creation argument is read and range-checked here.
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
