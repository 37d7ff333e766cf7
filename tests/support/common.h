// What the fixtures share: the console as texts, buffers of one channel, the layouts.
#pragma once

#include "host.h"

#include <string>
#include <vector>

constexpr int layouts[] = {1, 2, 4, 6, 10};

/// Console texts since the last call; those of the error channel begin with '!'.
inline std::vector<std::string> console()
{
    std::vector<std::string> texts;
    for (const host::line &row : host::take_console())
        texts.push_back((row.error ? "!" : "") + row.text);
    return texts;
}

/// A buffer of one channel whose frame i holds f(i).
template <class F>
void mono_buffer(const std::string &name, long frames, F f, double rate = 44100)
{
    std::vector<float> samples;
    for (long i = 0; i < frames; ++i) samples.push_back(static_cast<float>(f(i)));
    host::set_buffer(name, 1, rate, samples);
}
