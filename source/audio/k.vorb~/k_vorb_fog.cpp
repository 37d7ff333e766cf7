// One fog's beginning: derived values, and the starting state of its envelope and reading head.
#include "k_vorb.h"

#include <cmath>

void vorb_update(inputs *in)
{
    in->changed.exchange(0); // first: what is set from now on waits for the next fog
    in->bw_pi = in->bw * in->pi;
    const double sp = in->sp, tex = in->tex, atten = in->atten;
    in->tex_w = in->pi / tex;
    in->atten_w = in->pi / atten;
    in->bw_grow = std::exp(in->bw_pi * sp);
    in->tex_step = tex > 0 ? in->tex_w * sp : 0;
    in->atten_step = atten > 0 ? in->atten_w * sp : 0;
    in->bw_decay = std::exp(-in->bw_pi * sp);
    in->tex_cos2 = 2.0 * std::cos(in->tex_step);
    in->atten_cos2 = 2.0 * std::cos(in->atten_step);
    for (int k = 0; k < vorb_slots; ++k) in->fog_amps[k] = in->amps[k];
}

/// What the fog needs to know of its buffer, and, with `all`, the instance's start of attenuation.
/// Without a buffer both stay as they were.
static void vorb_measure_buffer(vorb_fogread *reader, inputs *in, double trans, double atten)
{
    t_buffer_obj *b = vorb_buffer(reader->bufref);
    if (!b) return;
    const double rate = buffer_getsamplerate(b);
    reader->frames_per_ms = rate / 1000.0;
    const double former = in->debatt;
    if (!in->debatt_all) return;
    const double until_end = double(buffer_getframecount(b)) / rate / trans - atten;
    in->debatt.replace(former, until_end);
    // A time that is set meanwhile stays, also where it is what was there before.
    if (!in->debatt_all) in->debatt.replace(until_end, former);
}

/// `start` is the sample of the block at which the fog begins, and `x` the time in seconds from the
/// exact onset to that sample.
void vorb_onset(vorb_fog *fog, inputs *in, std::int64_t start, double x)
{
    const double sp = in->sp, sr = in->sr, tex = in->tex, atten = in->atten;
    const double offset = in->offset, trans = in->trans;
    vorb_fogread &reader = fog->reader;
    vorb_measure_buffer(&reader, in, trans, atten);
    const double d = in->debatt - x; // from the first sample to the start of the attenuation

    fog->tex_count = 0;
    // A length that was set just now may have no step yet.
    if (tex > sp && in->tex_step > 0 && std::isfinite(in->tex_step)) {
        fog->tex_count = k_trunc((tex - x) * sr + 1.0);
        const double phi = in->tex_w * x;
        fog->tex_y1 = 0.5 * std::cos(in->pi - in->tex_step + phi);
        fog->tex_y2 = 0.5 * std::cos(in->pi - 2 * in->tex_step + phi);
    }
    fog->delay = start;
    const std::int64_t until_atten = k_trunc(d * sr + 1.0);
    fog->amp = std::exp(-in->bw_pi * x) * in->bw_grow; // one decay step above the first sample

    fog->atten_count = 0;
    if (atten > sp && in->atten_step > 0 && std::isfinite(in->atten_step)) {
        const double tau = double(until_atten) * sp - d; // into the attenuation at its first sample
        fog->atten_count = k_trunc((atten - tau) * sr + 1.0);
        const double psi = in->atten_w * tau;
        fog->atten_y1 = 0.5 * std::cos(-in->atten_step + psi);
        fog->atten_y2 = 0.5 * std::cos(-2 * in->atten_step + psi);
    }
    // An attenuation that would begin within the attack waits for its end, whole and with the phase
    // computed above: deliberate. Unsigned, since an onset far away in time makes the attack count
    // negative, and a difference beyond every count is none.
    const auto hold = std::int64_t(std::uint64_t(until_atten) - std::uint64_t(fog->tex_count));
    fog->sustain = until_atten > fog->tex_count && hold > 0 ? hold : 0;

    reader.pos_ms = offset - (double(start) * sp + (sp - x)) * trans * 1000.0;
    reader.pos_step_ms = trans * in->vs_ms;
    // Milliseconds where the reader takes frames: the first block's sweep, deliberate.
    reader.prev_pos = reader.pos_ms - reader.pos_step_ms;
    // The others carry on, deliberate, but for what no sound would get out of the record again.
    reader.lp_y[0] = reader.lp_y[1] = 0.0;
    for (int c = 2; c < vorb_max_sources; ++c)
        if (!std::isfinite(reader.lp_y[c])) reader.lp_y[c] = 0.0;
    reader.lp_a = in->lp1;
    reader.lp_am1 = in->lp1m;
    const double lp2 = in->lp2;
    reader.lp_k = lp2 == 0 ? 1.0 : std::pow(0.5, sp * lp2); // the same, and most fogs have none
}
