// A level in words.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>

/// "silent", or the peak in dBFS.
inline std::string peak_words(double peak)
{
    if (!(peak > 0)) return "silent";
    char words[64];
    const double decibels = std::round(200 * std::log10(peak)) / 10;
    std::snprintf(words, sizeof words, "peak %.1f dBFS", decibels + 0.0); // no minus at 0
    return words;
}
