// What a fuzzer calls with each input, and how a target tells that something broke.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

/// Plays one input. Two calls with the same bytes do the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// Tells on standard error what an input does, where KVORB_FUZZ_TELL is in the environment.
template <class... Part>
void narrate(const Part &...part)
{
    static const bool wanted = std::getenv("KVORB_FUZZ_TELL") != nullptr;
    if (!wanted) return;
    ((std::cerr << part << ' '), ...);
    std::cerr << std::endl;
}

/// Ends the process as a crash, which a fuzzer keeps the input of.
[[noreturn]] inline void broken(const std::string &what)
{
    std::fprintf(stderr, "broken: %s\n", what.c_str());
    std::abort();
}
