// What a block of a fog reads: the buffer as it is found, and where the head sweeps over it.
// Inline, since it is done for every fog in every block.
#pragma once

#include "k_vorb.h"

enum { vorb_max_count = 516 }; // most frames that one block needs; one more is copied

/// A buffer as readers of so many channels find it, until it is closed.
struct vorb_source {
    t_buffer_ref *ref;
    t_buffer_obj *buffer; // null: nothing for this reader, whose head stands still
    const float *samples; // null: not locked
    std::int64_t frames;
    t_atom_long channels;
    bool open; // else it is silent, while heads move
};

/// What becomes of a block: it is read, filled with zeros, or keeps what it held.
enum class vorb_verdict { read, silent, unwritten };

/// Where one block reads. Positions are relative to the frame `base`, with 16 fractional bits.
struct vorb_plan {
    vorb_verdict verdict;
    std::int64_t base, count, frac, step;
};

vorb_source vorb_open_source(t_buffer_ref *ref, t_atom_long channels);
void vorb_close_source(const vorb_source &source);
/// Into the scratch blocks, by the plain reader.
void vorb_fill_scratch(vorb_fogread *reader, const vorb_source &source, const vorb_plan &plan,
                       double *const *out, std::int64_t n);
void vorb_report_unwritten(const vorb_plan &plan, t_atom_long channels);

constexpr vorb_plan vorb_silence = {vorb_verdict::silent, 0, 0, 0, 0};

/// The head moves from frame `from` to frame `to` of `frames`. Pure, and safe for every value: a
/// silent block for a NaN, for positions outside the sample and for more than eight frames a
/// sample.
inline vorb_plan vorb_plan_sweep(const vorb_fogread &reader, double from, double to,
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
    if (plan.count > vorb_max_count || plan.count <= 0 || plan.base + plan.count > frames)
        plan.verdict = vorb_verdict::unwritten;
    plan.frac = k_trunc((from - double(plan.base)) * 65536.0);
    plan.step = k_trunc(65536.0 * d * reader.vs_inv);
    if (!forward) plan.step = -plan.step;
    return plan;
}

/// Moves the head.
inline vorb_plan vorb_plan_block(vorb_fogread *reader, const vorb_source &source)
{
    if (!source.buffer) return vorb_silence;
    const double from = reader->prev_pos, to = reader->pos_ms * reader->frames_per_ms;
    reader->prev_pos = to; // also where the block turns out silent
    return source.open ? vorb_plan_sweep(*reader, from, to, source.frames) : vorb_silence;
}
