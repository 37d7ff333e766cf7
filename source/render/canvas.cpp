// A surface to draw on, lines and words, and the PNG file it becomes.
#include "canvas.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

canvas::canvas(int width, int height)
    : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), cairo_surface_destroy),
      context(cairo_create(surface.get()), cairo_destroy)
{
    cairo_set_source_rgb(on(), 1, 1, 1);
    cairo_paint(on());
    cairo_set_line_width(on(), 1);
}

/// In the middle of pixels, so that a line of one pixel is sharp.
static double sharp(double x) { return std::floor(x) + 0.5; }

void canvas::frame(const box &b)
{
    const double x = sharp(b.x - 1), y = sharp(b.y - 1);
    cairo_rectangle(on(), x, y, sharp(b.right()) - x, sharp(b.bottom()) - y);
    cairo_stroke(on());
}

void canvas::line(double x1, double y1, double x2, double y2)
{
    cairo_move_to(on(), sharp(x1), sharp(y1));
    cairo_line_to(on(), sharp(x2), sharp(y2));
    cairo_stroke(on());
}

/// Names of files may hold any bytes, but letters are drawn from valid UTF-8 only.
static std::string drawable(const std::string &words)
{
    std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> none(
        cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1), cairo_surface_destroy);
    std::unique_ptr<cairo_t, void (*)(cairo_t *)> trial(cairo_create(none.get()), cairo_destroy);
    cairo_show_text(trial.get(), words.c_str());
    if (cairo_status(trial.get()) != CAIRO_STATUS_INVALID_STRING) return words;
    std::string plain;
    for (const char c : words) plain += static_cast<unsigned char>(c) < 0x80 ? c : '?';
    return plain;
}

void canvas::text(double x, double y, align where, double size, const std::string &words, bool bold)
{
    const std::string safe = drawable(words);
    cairo_select_font_face(on(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(on(), size);
    cairo_text_extents_t seen;
    cairo_text_extents(on(), safe.c_str(), &seen);
    const double before = where == align::left ? 0 : where == align::middle ? 0.5 : 1;
    cairo_move_to(on(), std::round(x - before * seen.x_advance), std::round(y + 0.36 * size));
    cairo_show_text(on(), safe.c_str());
}

void canvas::upwards(double x, double y, double size, const std::string &words)
{
    cairo_save(on());
    cairo_translate(on(), x, y);
    cairo_rotate(on(), -M_PI / 2);
    text(0, 0, align::middle, size, words);
    cairo_restore(on());
}

static std::uint32_t pixel(const colour &c)
{
    const auto byte = [](double part) {
        return static_cast<std::uint32_t>(std::lround(part * 255));
    };
    return byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
}

void canvas::image(const box &b, double width, const std::vector<std::vector<double>> &columns)
{
    const int wide = static_cast<int>(columns.size()), high = static_cast<int>(columns[0].size());
    const std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t *)> pixels(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, wide, high), cairo_surface_destroy);
    unsigned char *data = cairo_image_surface_get_data(pixels.get());
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(pixels.get());
    if (!data) throw std::runtime_error("there is no memory for the picture");
    for (int y = 0; y < high; ++y) {
        auto *row = reinterpret_cast<std::uint32_t *>(data + y * stride);
        for (int x = 0; x < wide; ++x)
            row[x] = pixel(
                level_colour(columns[static_cast<size_t>(x)][static_cast<size_t>(high - 1 - y)]));
    }
    cairo_surface_mark_dirty(pixels.get());
    cairo_save(on());
    cairo_rectangle(on(), b.x, b.y, b.width, b.height);
    cairo_clip(on());
    cairo_translate(on(), b.x, b.y);
    cairo_scale(on(), width / wide, b.height / high);
    cairo_set_source_surface(on(), pixels.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(on()), CAIRO_FILTER_GOOD);
    cairo_pattern_set_extend(cairo_get_source(on()), CAIRO_EXTEND_PAD);
    cairo_paint(on());
    cairo_restore(on());
}

void canvas::write_png(const sink &to)
{
    const auto pass = [](void *closure, const unsigned char *data, unsigned length) {
        const bool taken = (*static_cast<const sink *>(closure))(data, length);
        return taken ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
    };
    if (const cairo_status_t wrong = cairo_status(on()))
        throw std::runtime_error(std::string("the picture cannot be drawn: ") +
                                 cairo_status_to_string(wrong));
    sink closure = to;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), pass, &closure);
    if (status && status != CAIRO_STATUS_WRITE_ERROR)
        throw std::runtime_error(std::string("the picture cannot be written: ") +
                                 cairo_status_to_string(status));
}
