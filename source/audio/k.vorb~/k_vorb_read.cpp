// Readers: one block of a fog's source signal, interpolated and lowpass-filtered.
#include "k_vorb_plan.h"

#include <algorithm>
#include <array>

/// The text names the mono reader, which never says it: deliberate.
void vorb_report_unwritten(const vorb_plan &plan, t_atom_long channels)
{
    if (plan.verdict != vorb_verdict::unwritten || channels == 1) return;
    object_post(nullptr, "%s: vorb_read: n2 (%d) out of range", s_vorb_name, int(plan.count));
}

/// De-interleaves the planned frames, and the one behind them, which backward reading may touch:
/// the bounds of the plan keep it inside the buffer.
template <std::size_t channels>
static void vorb_copy_source(const float *samples, const vorb_plan &plan,
                             float (&copy)[channels][vorb_max_count + 1])
{
    const float *s = samples + plan.base * std::int64_t(channels);
    for (std::int64_t i = 0; i <= plan.count; ++i)
        for (std::size_t c = 0; c < channels; ++c) copy[c][i] = *s++;
}

template <std::size_t channels>
static void vorb_interpolate(vorb_fogread *reader, const vorb_plan &plan,
                             const float (&copy)[channels][vorb_max_count + 1],
                             const std::array<double *, channels> &out, std::int64_t n)
{
    const k_sampfilt_row *const table = k_sampfilt_tab;
    double a = reader->lp_a, am1 = reader->lp_am1;
    const double k = reader->lp_k;
    double y[channels];
    for (std::size_t c = 0; c < channels; ++c) y[c] = reader->lp_y[c];
    std::int64_t frac = plan.frac;
    for (std::int64_t i = 0; i < n; ++i, frac += plan.step) {
        const k_sampfilt_row &w = table[(frac >> 8) & 255];
        // A fog that outlives a change of vector size moves at its old step, and a block may be
        // longer than announced: keep the index in the copy.
        const std::int64_t j = std::clamp<std::int64_t>(frac >> 16, 0, plan.count - 3);
        for (std::size_t c = 0; c < channels; ++c) {
            const float *q = copy[c] + j;
            const float v = w[0] * q[0] + w[1] * q[1] + w[2] * q[2] + w[3] * q[3];
            out[c][i] = y[c] = double(v) * a - y[c] * am1;
        }
        a *= k;
        am1 = a - 1.0;
    }
    for (std::size_t c = 0; c < channels; ++c) reader->lp_y[c] = y[c];
    reader->lp_a = a;
    reader->lp_am1 = am1;
}

vorb_source vorb_open_source(t_buffer_ref *ref, t_atom_long channels)
{
    vorb_source source{ref, vorb_buffer(ref), nullptr, 0, channels, false};
    t_buffer_obj *&b = source.buffer;
    if (!b || buffer_getchannelcount(b) != channels || !k_sampfilt_tab) {
        b = nullptr;
        return source;
    }
    source.samples = buffer_locksamples(b);
    if (!source.samples) {
        if (channels > 1) return source;
        object_post(nullptr, "vorb_read: no samples, goto zero");
        b = nullptr;
        return source;
    }
    source.open = buffer_getchannelcount(b) == channels; // else it was replaced meanwhile
    if (source.open) source.frames = buffer_getframecount(b);
    return source;
}

void vorb_close_source(const vorb_source &source)
{
    if (source.samples) buffer_unlocksamples(source.buffer);
}

template <std::size_t channels>
static void vorb_fill(vorb_fogread *reader, const vorb_source &source, const vorb_plan &plan,
                      const std::array<double *, channels> &out, std::int64_t n)
{
    if (plan.verdict == vorb_verdict::silent)
        for (double *silent : out) vorb_clear(silent, n);
    if (plan.verdict != vorb_verdict::read) return;
    float copy[channels][vorb_max_count + 1];
    vorb_copy_source(source.samples, plan, copy);
    vorb_interpolate(reader, plan, copy, out, n);
}

void vorb_fill_scratch(vorb_fogread *reader, const vorb_source &source, const vorb_plan &plan,
                       double *const *out, std::int64_t n)
{
    if (source.channels == 1) vorb_fill<1>(reader, source, plan, {out[0]}, n);
    else if (source.channels == 2) vorb_fill<2>(reader, source, plan, {out[0], out[1]}, n);
    else vorb_fill<4>(reader, source, plan, {out[0], out[1], out[2], out[3]}, n);
}

template <std::size_t channels>
static void vorb_read_block(vorb_fogread *reader, const std::array<double *, channels> &out,
                            std::int64_t n)
{
    const vorb_source source = vorb_open_source(reader->bufref, channels);
    const vorb_plan plan = vorb_plan_block(reader, source);
    vorb_fill(reader, source, plan, out, n);
    // The stereo reader says so while it holds the samples, the quadro reader after: deliberate.
    if constexpr (channels == 2) vorb_report_unwritten(plan, channels);
    vorb_close_source(source);
    if constexpr (channels == 4) vorb_report_unwritten(plan, channels);
}

void vorb_read(vorb_fogread *reader, double *out, std::int64_t n)
{
    vorb_read_block<1>(reader, {out}, n);
}

void vorb_read_stereo(vorb_fogread *reader, double *out1, double *out2, std::int64_t n)
{
    vorb_read_block<2>(reader, {out1, out2}, n);
}

void vorb_read_quadro(vorb_fogread *reader, double *out1, double *out2, double *out3, double *out4,
                      std::int64_t n)
{
    vorb_read_block<4>(reader, {out1, out2, out3, out4}, n);
}
