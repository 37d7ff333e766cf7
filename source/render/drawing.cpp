// Draws what was seen of a sound: waveforms, spectrogram, mean spectrum.
#include "drawing.h"

#include "level.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

static constexpr colour black{0, 0, 0}, grey{0.5, 0.5, 0.5}, blue{0.16, 0.24, 0.5};
static constexpr double small = 11, large = 15;
static constexpr double range_decibels = 80, strip = 10;

extremes &extremes::operator+=(const extremes &other)
{
    low = std::min(low, other.low);
    high = std::max(high, other.high);
    return *this;
}

decibel_range level_range(double loudest_power)
{
    const double loudest = loudest_power > 1e-20 ? power_decibels(loudest_power) : 0;
    const double high = 10 * std::ceil(loudest / 10 - 1e-6);
    return {high - range_decibels, high};
}

static void draw_axis_below(canvas &c, const axis &a, double y, int most)
{
    for (const mark &m : marks(a, most)) {
        c.ink(black);
        c.line(a.place(m.value), y, a.place(m.value), y + 4);
        c.text(a.place(m.value), y + 13, align::middle, small, m.label);
    }
    c.text((a.from + a.to) / 2, y + 32, align::middle, small, a.title);
}

static void draw_axis_left(canvas &c, const axis &a, double x, int most)
{
    for (const mark &m : marks(a, most)) {
        c.ink(black);
        c.line(x - 5, a.place(m.value), x - 1, a.place(m.value));
        c.text(x - 8, a.place(m.value), align::right, small, m.label);
    }
}

static void trace(canvas &c, const timeline<extremes> &lane, const axis &time, const axis &level,
                  double column_seconds)
{
    const auto &columns = lane.columns();
    const auto x = [&](size_t i) {
        return std::min(time.place(time.low + (static_cast<double>(i) + 0.5) * column_seconds),
                        time.to);
    };
    cairo_t *on = c.on();
    for (size_t i = 0; i < columns.size(); ++i)
        cairo_line_to(on, x(i), level.place(columns[i].high));
    for (size_t i = columns.size(); i-- > 0;) cairo_line_to(on, x(i), level.place(columns[i].low));
    cairo_close_path(on);
    c.ink(blue);
    cairo_fill_preserve(on);
    cairo_stroke(on); // a lone sample in a column has no area
}

/// The greatest deviation from 0.
static double deviation(const std::vector<timeline<extremes>> &lanes)
{
    double most = 0;
    for (const auto &lane : lanes)
        for (const extremes &e : lane.columns()) most = std::max({most, -e.low, e.high});
    return most;
}

static void draw_lanes(canvas &c, const sight &seen, const layout &l, const axis &time)
{
    const double most = deviation(seen.lanes);
    const double full = most > 0 ? round_up(std::max(most, 1e-4)) : 1;
    for (size_t k = 0; k < seen.lanes.size(); ++k) {
        const box &lane = l.lanes[k];
        const axis level{-full, full, lane.bottom(), lane.y, ""};
        const double column_seconds =
            static_cast<double>(seen.lanes[k].length()) / static_cast<double>(seen.rate);
        c.ink(grey, 0.6);
        c.line(lane.x, level.place(0), lane.right() - 1, level.place(0));
        trace(c, seen.lanes[k], time, level, column_seconds);
        c.ink(black);
        c.frame(lane);
        const std::string label = marks({0, full, 0, 1, ""}, 1).back().label;
        c.text(lane.x - 8, lane.y + 5, align::right, small, label);
        c.text(lane.x - 8, lane.bottom() - 5, align::right, small, "-" + label);
        c.text(lane.right() + 8, lane.y + lane.height / 2, align::left, small,
               seen.words.lane_names[k]);
    }
    c.upwards(16, (l.lanes.front().y + l.lanes.back().bottom()) / 2, small, "amplitude");
}

static std::vector<std::vector<double>> parts(std::vector<std::vector<double>> powers,
                                              const decibel_range &range)
{
    for (auto &column : powers)
        for (double &v : column) v = (power_decibels(v) - range.low) / (range.high - range.low);
    return powers;
}

static double loudest(const std::vector<std::vector<double>> &columns)
{
    double most = 0;
    for (const auto &column : columns)
        most = std::max(most, *std::max_element(column.begin(), column.end()));
    return most;
}

static void draw_spectrogram(canvas &c, const sight &seen, const layout &l, const axis &time,
                             const axis &frequency, const decibel_range &range,
                             const std::vector<std::vector<double>> &columns)
{
    const double seconds = static_cast<double>(columns.size()) * seen.spectrum.column_seconds();
    c.image(l.spectrogram, seconds / (time.high - time.low) * l.spectrogram.width,
            parts(columns, range));
    c.ink(black);
    c.frame(l.spectrogram);
    draw_axis_below(c, time, l.spectrogram.bottom(), 10);
    draw_axis_left(c, frequency, l.spectrogram.x, 10);
    c.upwards(16, l.spectrogram.y + l.spectrogram.height / 2, small, frequency.title);
}

static void draw_mean(canvas &c, const sight &seen, const layout &l, const axis &frequency,
                      const decibel_range &range)
{
    const box &b = l.mean;
    const axis level{range.low, range.high, b.x, b.right(), "level (dB)"};
    c.ink(grey, 0.35);
    for (const mark &m : marks(frequency, 10))
        c.line(b.x, frequency.place(m.value), b.right() - 1, frequency.place(m.value));
    for (const mark &m : marks(level, 8))
        c.line(level.place(m.value), b.y, level.place(m.value), b.bottom() - 1);
    const auto powers = seen.spectrum.mean();
    c.ink(blue);
    for (size_t row = 0; row < powers.size(); ++row) {
        const double shown = std::clamp(power_decibels(powers[row]), range.low, range.high);
        cairo_line_to(c.on(), level.place(shown), b.bottom() - 0.5 - static_cast<double>(row));
    }
    cairo_stroke(c.on());
    c.ink(black);
    c.frame(b);
    std::vector<std::vector<double>> colours;
    for (double x = 0.5; x < b.width; ++x) colours.push_back({x / b.width});
    const box below{b.x, b.bottom() + 1, b.width, strip};
    c.image(below, below.width, colours);
    c.frame(below);
    draw_axis_below(c, level, below.bottom(), 8);
    c.text(b.x + b.width / 2, b.y - 10, align::middle, small, "mean spectrum");
}

static void draw_notes(canvas &c, const sight &seen, const layout &l)
{
    double y = l.notes.y + 5;
    for (const std::string &note :
         {seen.words.settings, peak_words(deviation(seen.lanes)),
          std::string("0 dB: a full-scale sine in one channel"),
          std::string("powers of channels are added"), std::string("Hann windows of 46 ms")}) {
        c.text(l.notes.x, y, align::left, small, note);
        y += 16;
    }
}

canvas draw(const sight &seen)
{
    const layout l = lay_out(static_cast<int>(seen.lanes.size()));
    canvas c(l.width, l.height);
    const axis time{seen.from, seen.to, l.spectrogram.x, l.spectrogram.right(), "time (s)"};
    const axis frequency{0, seen.top, l.spectrogram.bottom(), l.spectrogram.y, "frequency (Hz)"};
    const auto columns = seen.spectrum.columns();
    const decibel_range range = level_range(loudest(columns));
    c.ink(black);
    c.text(l.spectrogram.x, 22, align::left, large, seen.words.title, true);
    draw_notes(c, seen, l);
    draw_lanes(c, seen, l, time);
    draw_spectrogram(c, seen, l, time, frequency, range, columns);
    draw_mean(c, seen, l, frequency, range);
    return c;
}
