// What a host and its objects have to say while a score plays.
#include "news.h"

#include <algorithm>

std::vector<news> take_news(const score &from, const std::vector<t_object *> &objects)
{
    std::vector<news> all;
    const auto add = [&](double ms, const t_object *x, const std::string &what) {
        const auto found = std::find(objects.begin(), objects.end(), x);
        const auto k = static_cast<size_t>(found - objects.begin());
        const std::string who = found == objects.end() ? "" : " " + from.objects[k].name;
        all.push_back({ms - clock_start_ms, who + ": " + what});
    };
    for (const host::line &row : host::take_console())
        add(row.ms, row.object, (row.error ? "error: " : "") + row.text);
    for (const host::number &n : host::take_numbers())
        add(n.ms, n.object,
            "outlet " + std::to_string(n.outlet + 1) + ": " + std::to_string(n.value));
    return all;
}
