// What the user sees while a score renders.
#pragma once

#include "score.h"

#include <host.h>

#include <chrono>
#include <cstdio>

class report {
public:
    report(const score &played, const std::vector<t_object *> &made);
    ~report();

    /// Shows the console's new rows and the numbers from integer outlets, on standard error.
    void host_news();
    /// A bar on standard error, once the render takes long enough and if a person watches.
    void progress(double ms);
    /// Length, channels, level and speed, on standard output.
    void closing(const std::string &file, double seconds, int channels, double peak, bool clipped);
    /// Why it may be that nothing sounds: the buffers that objects look for in vain.
    void missing_buffers(const std::vector<std::string> &names);

private:
    double elapsed() const;
    void erase_bar();

    const score &notes;
    const std::vector<t_object *> &objects;
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    bool watched;
    double bar_due = 1; // seconds
    bool bar_shown = false;
};
