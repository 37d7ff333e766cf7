// Random numbers that are the same with every standard library.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

/// What the environment says, or what is usual.
inline std::uint64_t chosen(const char *variable, std::uint64_t usual)
{
    const char *wanted = std::getenv(variable);
    if (!wanted) return usual;
    char *end = nullptr;
    const std::uint64_t number = std::strtoull(wanted, &end, 10);
    if (*end || number == 0) throw std::invalid_argument(variable + std::string("=") + wanted);
    return number;
}

class dice {
public:
    explicit dice(std::uint64_t seed) : engine_(seed) {}

    double between(double low, double high)
    {
        return low + (high - low) * static_cast<double>(engine_() >> 11) * 0x1p-53;
    }
    /// Single precision, as numbers arrive.
    float number(double low, double high) { return static_cast<float>(between(low, high)); }
    bool chance(double p) { return between(0, 1) < p; }
    long index(std::size_t n) { return static_cast<long>(between(0, static_cast<double>(n))); }
    template <class T>
    T one_of(const std::vector<T> &choices)
    {
        return choices[static_cast<std::size_t>(index(choices.size()))];
    }

private:
    std::mt19937_64 engine_;
};
