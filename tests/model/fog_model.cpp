#include "fog_model.h"

#include <algorithm>
#include <cmath>
#include <list>

namespace model {

namespace {

const double pi = 4 * std::atan(1.0);

/// Whole part toward zero; 0 for what no count can hold.
std::int64_t whole(double v) { return std::abs(v) < 9.2e18 ? static_cast<std::int64_t>(v) : 0; }

/// Lagrange weights, `row` / 256 of the way from the second of four frames to the third.
std::array<float, 4> weights(std::int64_t row)
{
    const double f = static_cast<float>(row) * 0.00390625F, k = -0.16666670143604279;
    return {static_cast<float>(k * f * (1 - f) * (2 - f)),
            static_cast<float>(0.5 * (1 + f) * (1 - f) * (2 - f)),
            static_cast<float>(0.5 * (1 + f) * f * (2 - f)),
            static_cast<float>(k * (1 + f) * f * (1 - f))};
}

/// One block's way through the buffer, in frames.
struct way {
    reading kind;
    std::int64_t base, from, step; // from and step in 1/65536 frame, from counts from base
};

way way_of(const stage &host, double old_frame, double new_frame, std::int64_t frames)
{
    const bool forward = new_frame >= old_frame;
    const double low = forward ? old_frame : new_frame, high = forward ? new_frame : old_frame;
    const double length = high - low;
    const double vector = static_cast<double>(host.vector);
    // Asked so that NaN fails.
    if (!(low >= 0 && high < static_cast<double>(frames - 6) && length <= 8 * vector))
        return {reading::silent, 0, 0, 0};
    if (whole(length) + 5 >= 517) return {reading::stale, 0, 0, 0};
    const std::int64_t base = whole(forward ? old_frame : new_frame - 0.5);
    const std::int64_t from = whole((old_frame - static_cast<double>(base)) * 65536.0);
    const std::int64_t step = whole(65536.0 * length * (1 / vector));
    return {forward ? reading::forward : reading::backward, base, from, forward ? step : -step};
}

/// A channel of the interpolated source at the i-th sample of a block: one frame after the read
/// position.
double source_at(const sample &s, std::size_t channel, const way &w, std::int64_t i)
{
    const std::int64_t position = w.from + i * w.step;
    const auto first = static_cast<std::size_t>(w.base + (position >> 16));
    const std::array<float, 4> weight = weights((position >> 8) & 255);
    float sum = 0;
    for (std::size_t m = 0; m < 4; ++m)
        sum += weight[m] * s.values[(first + m) * s.channels + channel];
    return static_cast<double>(sum);
}

/// How many channels a layout reads from a buffer: one, or as many as its other renderer knows.
std::size_t channels_read(int layout, const sample *s)
{
    if (!s || s->channels == 1 || layout == 1 || layout == 10) return 1;
    return layout == 6 ? 4 : 2;
}

std::vector<source_block> reads_of(const stage &host, int layout, const voice &v,
                                   const source &buffer, const start &onset, long blocks,
                                   const leftovers &left)
{
    const double sp = 1 / host.rate, vector = static_cast<double>(host.vector);
    const double x = sp - onset.late_s;
    const double step_ms = v.transposition * (vector * sp * 1000);
    double position_ms = v.position_ms - (static_cast<double>(onset.index) * sp + (sp - x)) *
                                             v.transposition * 1000.0;
    double frame = position_ms - step_ms; // deliberate: milliseconds, read as frames
    per_channel y = {0, 0, left.filtered[2], left.filtered[3]};
    std::int64_t filtered = 0; // the filter stands still while nothing is read

    std::vector<source_block> reads;
    for (long b = 0; b < blocks; ++b, position_ms += step_ms) {
        const sample *s = buffer(onset.block + b);
        const std::size_t channels = channels_read(layout, s);
        const std::vector<double> silence(static_cast<std::size_t>(host.vector), 0.0);
        reads.push_back({reading::silent, {channels, silence}, y});
        if (!s || s->channels != channels) continue;
        const double target = position_ms * left.frames_per_ms;
        const way w = way_of(host, frame, target, s->frames());
        frame = target;
        source_block &read = reads.back();
        read.kind = w.kind;
        if (w.kind == reading::stale) read.values.clear();
        if (w.kind == reading::stale || w.kind == reading::silent) continue;
        for (std::int64_t i = 0; i < host.vector; ++i, ++filtered) {
            const double a =
                v.lowpass * std::exp2(-v.closing_hz * sp * static_cast<double>(filtered));
            const double rest = filtered == 0 ? v.rest : 1 - a;
            for (std::size_t c = 0; c < channels; ++c) {
                y[c] = a * source_at(*s, c, w, i) + rest * y[c];
                read.values[c][static_cast<std::size_t>(i)] = y[c];
            }
        }
        read.filtered = y;
    }
    return reads;
}

double debatt_of(const voice &v, const sample *s)
{
    if (!v.debatt_all || !s) return v.debatt_s;
    return static_cast<double>(s->frames()) / s->rate / v.transposition - v.atten_s;
}

/// What an outlet gets: a source channel and the gain slot that scales it.
struct tap {
    std::size_t channel, slot;
};

/// The taps of each outlet when so many channels are read.
std::vector<tap> taps(int layout, std::size_t channels)
{
    const bool mono = channels == 1;
    switch (layout) {
    case 2:
        return {{0, 0}, {mono ? 0u : 1u, 1}};
    case 4: // the aux slots for two channels alone
        if (!mono) return {{0, 0}, {1, 1}, {0, 8}, {1, 9}};
        return {{0, 0}, {0, 1}, {0, 2}, {0, 3}};
    case 6:
        if (!mono) return {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {0, 8}, {0, 9}};
        return {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 8}, {0, 9}};
    case 10:
        return {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 4}, {0, 5}, {0, 6}, {0, 7}, {0, 8}, {0, 9}};
    default:
        return {{0, 0}};
    }
}

struct sounding {
    fog what;
    leftovers record;
};

using scratch_blocks = std::array<std::vector<double>, most_channels>;

double peak(const fog &f, const scratch_blocks &scratch)
{
    double gain = 0, level = 0;
    for (const double g : f.gains) gain = std::max(gain, std::abs(g));
    for (const std::vector<double> &channel : scratch)
        for (const double s : channel) level = std::max(level, std::abs(s));
    return gain * level;
}

class player {
public:
    explicit player(const scene &s)
        : s_(s), voice_(s.parameters), free_(static_cast<std::size_t>(s.maxfogs))
    {
        scratch_.fill(std::vector<double>(static_cast<std::size_t>(s.host.vector), 0.0));
        done_.outlets.assign(
            static_cast<std::size_t>(s.layout),
            std::vector<double>(static_cast<std::size_t>(s.blocks * s.host.vector), 0.0));
    }

    performance play()
    {
        for (long block = 0; block < s_.blocks; ++block) {
            for (const start &asked : s_.starts)
                if (asked.block == block) begin(asked);
            if (!s_.f0.empty()) run_phasor(block);
            mix(block);
            done_.free.push_back(static_cast<long>(free_.size()));
        }
        return done_;
    }

private:
    void begin(const start &onset)
    {
        if (free_.empty()) {
            ++done_.refused;
            return;
        }
        leftovers record = free_.front();
        free_.pop_front();
        if (const sample *b = s_.buffer(onset.block)) {
            record.frames_per_ms = b->rate / 1000.0;
            voice_.debatt_s = debatt_of(voice_, b); // stays, for fogs that find no buffer
        }
        record.filtered[0] = record.filtered[1] = 0;
        used_.push_front(
            {fog_of(s_.host, s_.layout, voice_, s_.buffer, onset, s_.blocks - onset.block, record),
             record});
        ++done_.fogs;
    }

    void run_phasor(long block)
    {
        const auto first = static_cast<std::size_t>(block * s_.host.vector);
        for (long i = 0; i < s_.host.vector; ++i) {
            const double f = std::abs(s_.f0[first + static_cast<std::size_t>(i)]);
            if (f == 0 || !(f < s_.host.rate)) continue;
            phase_ += f;
            if (phase_ < s_.host.rate) continue;
            phase_ -= s_.host.rate;
            const double late = phase_ / f; // in samples
            if (!s_.offset_ms.empty()) {
                const double *ramp = &s_.offset_ms[first];
                const double slope = s_.host.vector > 1 ? ramp[1] - ramp[0] : 0;
                voice_.position_ms = ramp[i] + slope * late;
            }
            if (s_.autoenv != 0) {
                double t = s_.autoenv / f;
                if (s_.autoenv_max_s > 0) t = std::min(t, s_.autoenv_max_s);
                voice_.tex_s = voice_.debatt_s = voice_.atten_s = t;
            }
            begin({block, i, late * (1 / s_.host.rate)});
        }
    }

    void mix(long block)
    {
        double tolerance = 0;
        for (auto it = used_.begin(); it != used_.end();) {
            const long age = block - it->what.onset.block;
            const bool needs_buffer = s_.layout == 2 || s_.layout == 4 || s_.layout == 6;
            const bool cut = needs_buffer && !s_.buffer(block);
            if (!cut) tolerance += add(*it, block, age);
            if (cut || age + 1 >= it->what.life(s_.host)) {
                free_.push_front(it->record);
                it = used_.erase(it);
            } else {
                ++it;
            }
        }
        done_.tolerance = std::max(done_.tolerance, tolerance);
    }

    /// Adds a fog's block and returns by how much rounding may have moved it: 1e-12 of its peak for
    /// the products of one sample, and the drift.
    double add(sounding &fog, long block, long age)
    {
        const model::fog &f = fog.what;
        const source_block &read = f.reads[static_cast<std::size_t>(age)];
        ++done_.reads[static_cast<std::size_t>(read.kind)];
        std::copy(read.values.begin(), read.values.end(), scratch_.begin());
        fog.record.filtered = read.filtered;
        const std::size_t channels = channels_read(s_.layout, s_.buffer(block));
        done_.of_several += channels > 1 && read.kind != reading::silent;
        const std::vector<tap> tap_of = taps(s_.layout, channels);
        for (long i = 0; i < s_.host.vector; ++i) {
            const std::int64_t k = age * s_.host.vector + i - f.onset.index;
            if (k < 0 || k >= f.length()) continue;
            const auto at = static_cast<std::size_t>(i);
            for (std::size_t o = 0; o < tap_of.size(); ++o)
                done_.outlets[o][static_cast<std::size_t>(block * s_.host.vector) + at] +=
                    f.envelope[static_cast<std::size_t>(k)] * scratch_[tap_of[o].channel][at] *
                    f.gains[tap_of[o].slot];
        }
        return peak(f, scratch_) * (1e-12 + drift(f));
    }

    const scene &s_;
    voice voice_;
    double phase_ = 0;
    std::list<leftovers> free_;
    std::list<sounding> used_; // newest first
    scratch_blocks scratch_;
    performance done_;
};

} // namespace

double seconds(float ms) { return ms * 0.001; }

double position_of_number(const stage &host, float ms)
{
    return (2 * static_cast<double>(host.vector) + 12) * (1 / host.rate) * 1000 + ms;
}

double position_of_message(const stage &host, float ms)
{
    return static_cast<float>(position_of_number(host, ms));
}

double position_of_argument(const stage &host, float ms)
{
    const double sp = 1 / static_cast<double>(static_cast<float>(host.rate));
    return (12 + 2 * static_cast<double>(host.vector)) * (1000 * sp) + ms;
}

double lowpass_of_number(float v) { return std::clamp(std::exp2(10.0 * v) / 1024, 0.0, 1.0); }

double lowpass_of_message(double exponent) { return static_cast<float>(std::pow(0.5, -exponent)); }

double rest_of_message(double exponent)
{
    return static_cast<double>(1.0F - static_cast<float>(lowpass_of_message(exponent)));
}

start start_of_number(const stage &host, long block, float ms)
{
    const std::int64_t index = whole(seconds(ms) * host.rate);
    return {block, index, seconds(ms) - static_cast<double>(index) * (1 / host.rate)};
}

long fog::life(const stage &host) const
{
    const std::int64_t n = host.vector;
    return length() == 0 ? 1 : static_cast<long>((onset.index + length() + n - 1) / n);
}

fog fog_of(const stage &host, int layout, const voice &v, const source &buffer, const start &onset,
           long blocks, const leftovers &left)
{
    const double sp = 1 / host.rate, x = sp - onset.late_s;
    const sample *s = buffer(onset.block);
    const double until_debatt = debatt_of(v, s) - x; // from the first sample on

    const std::int64_t attack = v.tex_s > sp ? whole((v.tex_s - x) * host.rate + 1.0) : 0;
    const std::int64_t before_debatt = whole(until_debatt * host.rate + 1.0);
    const double tau = static_cast<double>(before_debatt) * sp - until_debatt;
    const std::int64_t attenuation =
        v.atten_s > sp ? whole((v.atten_s - tau) * host.rate + 1.0) : 0;
    fog f{onset,
          std::max<std::int64_t>(attack, 0),
          std::max<std::int64_t>(before_debatt - attack, 0),
          std::max<std::int64_t>(attenuation, 0),
          {},
          {},
          v.gains};

    const std::int64_t room = std::max<std::int64_t>(blocks * host.vector - onset.index, 0);
    for (std::int64_t k = 0; k < std::min(f.length(), room); ++k) {
        const double t = x + static_cast<double>(k) * sp;
        const double fading = tau + static_cast<double>(k - f.attack - f.sustain) * sp;
        double shape = 1;
        if (k < f.attack) shape = 0.5 * (1 - std::cos(pi * t / v.tex_s));
        else if (k >= f.attack + f.sustain) shape = 0.5 * (1 + std::cos(pi * fading / v.atten_s));
        f.envelope.push_back(shape * std::exp(-pi * v.bandwidth_hz * t));
    }
    f.reads = reads_of(host, layout, v, buffer, onset, std::min(blocks, f.life(host)), left);
    return f;
}

double drift(const fog &f)
{
    const double n = static_cast<double>(std::max(f.attack, f.attenuation));
    return 2.2e-16 * static_cast<double>(f.length()) + 0.45e-16 * n * n;
}

performance perform(const scene &s) { return player(s).play(); }

} // namespace model
