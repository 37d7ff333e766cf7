// What the user sees while a score renders.
#include "report.h"

#include "level.h"
#include "news.h"

#include <algorithm>
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

void report::host_news()
{
    for (const news &n : take_news(notes, objects)) {
        erase_bar();
        std::fprintf(stderr, "%.3f ms%s\n", n.ms, n.text.c_str());
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
    const char *loud = peak <= 1 ? "" : clipped ? " (clipped)" : " (above full scale)";
    std::printf("%s: %.3f s, %d channel%s, %s%s, %.0f times real time\n", file.c_str(), seconds,
                channels, channels > 1 ? "s" : "", peak_words(peak).c_str(), loud,
                seconds / std::max(elapsed(), 1e-6));
}

void report::missing_buffers(const std::vector<std::string> &names)
{
    for (const std::string &name : names)
        std::fprintf(stderr, "there is no buffer named %s\n", name.empty() ? "\"\"" : name.c_str());
}
