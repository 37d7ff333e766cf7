// Readers: one block of a fog's source signal, interpolated and lowpass-filtered.
#include "k_vorb.h"

#include <algorithm>
#include <array>

enum { max_count = 516 }; // most frames that one block needs; one more is copied

/// Holds a buffer's samples for the length of a block.
struct vorb_lock {
    explicit vorb_lock(t_buffer_obj *b) : buffer(b), samples(buffer_locksamples(b)) {}
    ~vorb_lock()
    {
        if (samples) buffer_unlocksamples(buffer);
    }
    vorb_lock(const vorb_lock &) = delete;

    t_buffer_obj *const buffer;
    const float *const samples;
};

/// What becomes of a block: it is read, filled with zeros, or keeps what it held.
enum class vorb_verdict { read, silent, unwritten };

/// Where one block reads. Positions are relative to the frame `base`, with 16 fractional bits.
struct vorb_plan {
    vorb_verdict verdict;
    std::int64_t base, count, frac, step;
};

static const vorb_plan vorb_silence = {vorb_verdict::silent, 0, 0, 0, 0};

/// The stereo reader says so while it holds the samples, the quadro reader after, the mono reader
/// never: deliberate. The text names the mono reader in both.
static void vorb_post_count(const vorb_plan &plan)
{
    object_post(nullptr, "%s: vorb_read: n2 (%d) out of range", s_vorb_name, int(plan.count));
}

/// The head moves from frame `from` to frame `to` of `frames`. Pure, and safe for every value: a
/// silent block for a NaN, for positions outside the sample and for more than eight frames a
/// sample.
static vorb_plan vorb_plan_block(const vorb_fogread &reader, double from, double to,
                                 std::int64_t frames)
{
    const bool forward = to >= from;
    const double low = forward ? from : to, high = forward ? to : from;
    const double d = high - low;
    // The last six frames are out of bounds. Written so that a NaN fails.
    if (!(low >= 0 && high < double(frames - 6) && d <= reader.vs8)) return vorb_silence;

    vorb_plan plan{vorb_verdict::read, k_trunc(forward ? from : to - 0.5), k_trunc(d) + 5, 0, 0};
    // More frames than the copy holds leave the output as it was instead of silencing it:
    // deliberate. The other two tests are guards, the bounds above leave them nothing to find.
    if (plan.count > max_count || plan.count <= 0 || plan.base + plan.count > frames)
        plan.verdict = vorb_verdict::unwritten;
    plan.frac = k_trunc((from - double(plan.base)) * 65536.0);
    plan.step = k_trunc(65536.0 * d * reader.vs_inv);
    if (!forward) plan.step = -plan.step;
    return plan;
}

/// De-interleaves the planned frames, and the one behind them, which backward reading may touch:
/// the bounds of the plan keep it inside the buffer.
template <std::size_t channels>
static void vorb_copy_source(const float *samples, const vorb_plan &plan,
                             float (&copy)[channels][max_count + 1])
{
    const float *s = samples + plan.base * std::int64_t(channels);
    for (std::int64_t i = 0; i <= plan.count; ++i)
        for (std::size_t c = 0; c < channels; ++c) copy[c][i] = *s++;
}

template <std::size_t channels>
static void vorb_interpolate(vorb_fogread *reader, const vorb_plan &plan,
                             const float (&copy)[channels][max_count + 1],
                             const std::array<double *, channels> &out, std::int64_t n)
{
    double a = reader->lp_a, am1 = reader->lp_am1;
    const double k = reader->lp_k;
    double y[channels];
    for (std::size_t c = 0; c < channels; ++c) y[c] = reader->lp_y[c];
    std::int64_t frac = plan.frac;
    for (std::int64_t i = 0; i < n; ++i, frac += plan.step) {
        const k_sampfilt_row &w = k_sampfilt_tab[(frac >> 8) & 255];
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

/// The body of every reader, all but the silence.
template <std::size_t channels>
static vorb_plan vorb_try_block(vorb_fogread *reader, const std::array<double *, channels> &out,
                                std::int64_t n)
{
    const auto has_channels = [](t_buffer_obj *b) {
        return buffer_getchannelcount(b) == t_atom_long(channels);
    };
    t_buffer_obj *b = vorb_buffer(reader->bufref);
    if (!b || !has_channels(b) || !k_sampfilt_tab) return vorb_silence;
    const vorb_lock lock(b);
    if constexpr (channels == 1)
        if (!lock.samples) {
            object_post(nullptr, "vorb_read: no samples, goto zero");
            return vorb_silence;
        }
    const double from = reader->prev_pos, to = reader->pos_ms * reader->frames_per_ms;
    reader->prev_pos = to; // also where the block turns out silent
    if (!lock.samples || !has_channels(b)) return vorb_silence; // refused, or replaced meanwhile
    const vorb_plan plan = vorb_plan_block(*reader, from, to, buffer_getframecount(b));
    if constexpr (channels == 2)
        if (plan.verdict == vorb_verdict::unwritten) vorb_post_count(plan);
    if (plan.verdict != vorb_verdict::read) return plan;
    float copy[channels][max_count + 1];
    vorb_copy_source(lock.samples, plan, copy);
    vorb_interpolate(reader, plan, copy, out, n);
    return plan;
}

template <std::size_t channels>
static void vorb_read_block(vorb_fogread *reader, const std::array<double *, channels> &out,
                            std::int64_t n)
{
    const vorb_plan plan = vorb_try_block(reader, out, n);
    if constexpr (channels == 4)
        if (plan.verdict == vorb_verdict::unwritten) vorb_post_count(plan);
    if (plan.verdict == vorb_verdict::silent)
        for (double *silent : out) vorb_clear(silent, n);
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
