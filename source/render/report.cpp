// What the user sees while a score renders.
#include "report.h"

#include "stage.h"

#include <algorithm>
#include <cmath>
#include <unistd.h>

report::report(const score &played, const std::vector<t_object *> &made)
    : notes(played), objects(made), watched(isatty(STDERR_FILENO))
{
}

// When something fails, what the host said before is still worth reading.
report::~report()
{
    host_news();
    erase_bar();
}

std::string report::who(const t_object *x) const
{
    const auto found = std::find(objects.begin(), objects.end(), x);
    if (found == objects.end()) return "";
    return " " + notes.objects[static_cast<size_t>(found - objects.begin())].name;
}

void report::host_news()
{
    for (const host::line &row : host::take_console()) {
        erase_bar();
        std::fprintf(stderr, "%.3f ms%s: %s%s\n", row.ms - clock_start_ms, who(row.object).c_str(),
                     row.error ? "error: " : "", row.text.c_str());
    }
    for (const host::number &n : host::take_numbers()) {
        erase_bar();
        std::fprintf(stderr, "%.3f ms%s: outlet %d: %lld\n", n.ms - clock_start_ms,
                     who(n.object).c_str(), n.outlet, static_cast<long long>(n.value));
    }
}

double report::elapsed() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void report::progress(double ms)
{
    if (!watched || elapsed() < bar_due) return;
    bar_due = elapsed() + 0.1;
    bar_shown = true;
    if (!notes.end_ms) std::fprintf(stderr, "\r%.1f s", ms / 1000);
    else {
        constexpr int width = 40;
        const double part = std::min(1.0, ms / *notes.end_ms);
        const std::string done(static_cast<size_t>(part * width), '#');
        std::fprintf(stderr, "\r[%-*s] %3.0f %%", width, done.c_str(), 100 * part);
    }
    std::fflush(stderr);
}

void report::erase_bar()
{
    if (bar_shown) std::fputs("\r\033[K", stderr);
    bar_shown = false;
}

void report::closing(const std::string &file, double seconds, int channels, double peak,
                     bool clipped)
{
    erase_bar();
    char level[64] = "silent";
    if (peak > 0) std::snprintf(level, sizeof level, "peak %.1f dBFS", 20 * std::log10(peak));
    const char *loud = peak <= 1 ? "" : clipped ? " (clipped)" : " (above full scale)";
    std::printf("%s: %.3f s, %d channel%s, %s%s, %.0f times real time\n", file.c_str(), seconds,
                channels, channels > 1 ? "s" : "", level, loud,
                seconds / std::max(elapsed(), 1e-6));
}

void report::missing_buffers(const std::vector<std::string> &names)
{
    for (const std::string &name : names)
        std::fprintf(stderr, "there is no buffer named %s\n", name.empty() ? "\"\"" : name.c_str());
}
