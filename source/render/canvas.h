// A surface to draw on, lines and words, and the PNG file it becomes.
#pragma once

#include "colours.h"
#include "layout.h"

#include <cairo.h>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Which end of a text, or its middle, stands at its place.
enum class align { left, middle, right };

class canvas {
public:
    canvas(int width, int height);

    void ink(const colour &c, double opacity = 1)
    {
        cairo_set_source_rgba(on(), c.red, c.green, c.blue, opacity);
    }
    void frame(const box &b);
    void line(double x1, double y1, double x2, double y2);
    /// `y` is the middle of a line of letters.
    void text(double x, double y, align where, double size, const std::string &words,
              bool bold = false);
    /// The same, turned to read upwards.
    void upwards(double x, double y, double size, const std::string &words);
    /// Each element a column of levels from 0 to 1, the lowest at the bottom; the columns take
    /// `width` of the box's, or go beyond and are cut off.
    void image(const box &b, double width, const std::vector<std::vector<double>> &columns);

    cairo_t *on() { return context.get(); }

    /// Takes so many bytes, or returns false, and no more come.
    using sink = std::function<bool(const void *, size_t)>;
    /// Throws std::runtime_error when something could not be drawn.
    void write_png(const sink &to);

private:
    std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> surface;
    std::unique_ptr<cairo_t, void (*)(cairo_t *)> context;
};
