// The F0 phasor: one fog per period of the signal at the left inlet.
#include "k_vorb.h"

#include <algorithm>
#include <cmath>

/// Envelope times as a share of the period, so that the overlap of fogs is the same at every pitch.
static void vorb_fit_envelope(inputs *in, double f)
{
    k_shared<double> *const times[] = {&in->tex, &in->debatt, &in->atten};
    const double before[] = {in->tex, in->debatt, in->atten};
    const double periods = in->autoenv, most = in->autoenv_max;
    if (periods == 0) return;
    double t = periods / f;
    if (most > 0 && t > most) t = most;
    if (before[0] == t && before[1] == t && before[2] == t) return;
    for (int k = 0; k < 3; ++k) times[k]->replace(before[k], t);
    // Times that are set while this is turned off stay, also where they are what was there before.
    if (in->autoenv == 0)
        for (int k = 0; k < 3; ++k) times[k]->replace(t, before[k]);
    in->changed = 1;
}

// [audio]
void vorb_run_phasor(vorb *x, const double *f0, const double *offset, std::int64_t n)
{
    inputs &in = x->inputs;
    if (x->debug)
        object_post(vorb_object(x), "enter vorb_run_phasor, freq[0]=%f, offset[0]=%f, n=%d", f0[0],
                    offset[0], int(n));
    const double sr = in.sr, sp = in.sp, before = in.phase;
    double phase = std::isnan(before) ? 0 : before;
    // The offset's slope is that of the block's start, for every wrap in it: deliberate.
    const double slope = n > 1 ? offset[1] - offset[0] : 0;
    for (std::int64_t i = 0; i < n; ++i) {
        const double f = std::fabs(f0[i]);
        // At or above the sample rate the phasor stands still instead of firing at every sample; a
        // NaN is not below it either.
        if (f == 0 || !(f < sr)) continue;
        phase += f;
        if (phase < sr) continue;
        phase -= sr;
        // A phase left over from a higher rate fires at each sample until it is worked off, and no
        // fog starts more than a sample late: an envelope grows without bound before its onset.
        const double frac = std::min(phase / f, 1.0);
        if (in.sig_offset) in.offset = offset[i] + slope * frac;
        vorb_fit_envelope(&in, f);
        vorb_trigger(x, i, frac * sp);
    }
    in.phase.replace(before, phase); // an f0phase that came meanwhile stays
}
