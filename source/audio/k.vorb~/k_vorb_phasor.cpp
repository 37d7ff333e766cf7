// The F0 phasor: one fog per period of the signal at the left inlet.
#include "k_vorb.h"

#include <cmath>

/// Envelope times as a share of the period, so that the overlap of fogs is the same at every pitch.
static void vorb_fit_envelope(inputs *in, double f)
{
    double t = in->autoenv / f;
    if (in->autoenv_max > 0 && t > in->autoenv_max) t = in->autoenv_max;
    if (in->tex == t && in->debatt == t && in->atten == t) return;
    in->tex = in->debatt = in->atten = t;
    in->changed = 1;
}

// [audio]
void vorb_run_phasor(vorb *x, const double *f0, const double *offset, std::int64_t n)
{
    inputs &in = x->inputs;
    if (x->debug)
        object_post(vorb_object(x), "enter vorb_run_phasor, freq[0]=%f, offset[0]=%f, n=%d", f0[0],
                    offset[0], int(n));
    double phase = std::isnan(in.phase) ? 0 : in.phase;
    // The offset's slope is that of the block's start, for every wrap in it: deliberate.
    const double slope = n > 1 ? offset[1] - offset[0] : 0;
    for (std::int64_t i = 0; i < n; ++i) {
        const double f = std::fabs(f0[i]);
        // At or above the sample rate the phasor stands still instead of firing at every sample; a
        // NaN is not below it either.
        if (f == 0 || !(f < in.sr)) continue;
        phase += f;
        if (phase < in.sr) continue;
        phase -= in.sr; // once: a phase left over from a higher rate fires until it is worked off
        const double frac = phase / f;
        if (in.sig_offset) in.offset = offset[i] + slope * frac;
        if (in.autoenv != 0) vorb_fit_envelope(&in, f);
        vorb_trigger(x, i, frac * in.sp);
    }
    in.phase = phase;
}
