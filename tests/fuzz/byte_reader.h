// The bytes of one fuzzer's input as choices and numbers; behind the last one come zeros.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

class byte_reader {
public:
    byte_reader(const std::uint8_t *data, std::size_t size) : at(data), end(data + size) {}

    bool done() const { return at == end; }
    std::uint8_t byte() { return done() ? std::uint8_t{0} : *at++; }
    bool flag() { return byte() & 1; }

    std::int16_t word()
    {
        const unsigned high = byte();
        return static_cast<std::int16_t>(high << 8 | byte());
    }

    template <class T, std::size_t n>
    const T &one_of(const T (&choices)[n])
    {
        static_assert(n <= 256);
        return choices[byte() % n];
    }

    /// Within 1024 of 0, and no nearer to it than 1/32.
    double tame_number() { return word() / 32.0; }

    /// Any double at all, with those at which something changes more often than chance has it.
    double number()
    {
        constexpr double inf = std::numeric_limits<double>::infinity(),
                         nan = std::numeric_limits<double>::quiet_NaN();
        static const double edges[] = {
            0,      -0.0,  1,      -1,    0.5,    inf,    -inf,      1e-308,    5e-324,  1e-40,
            1e38,   -1e38, 1e39,   -1e39, 1e308,  -1e308, 0x1p31,    0x1p53,    -0x1p63, 0x1p63,
            0x1p64, nan,   44100,  22050, 768000, 1e-3,   0.9999999, 2.6,       -90,     360,
            1e15,   9e18,  3.4e38, 1e7,   1e20,   -1e-30, 1.0000001, 4294967296};
        switch (byte() % 4) {
        case 0:
            return one_of(edges);
        case 1:
            return bits();
        default:
            return tame_number();
        }
    }

    std::int64_t whole()
    {
        static const std::int64_t edges[] = {std::numeric_limits<std::int64_t>::max(),
                                             std::numeric_limits<std::int64_t>::min(),
                                             0,
                                             1,
                                             100,
                                             101,
                                             1 << 24,
                                             std::int64_t{1} << 53,
                                             -32768,
                                             65536};
        return flag() ? one_of(edges) : std::int64_t{static_cast<std::int8_t>(byte())};
    }

private:
    double bits()
    {
        unsigned char raw[sizeof(double)];
        for (unsigned char &b : raw) b = byte();
        double v;
        std::memcpy(&v, raw, sizeof v);
        return v;
    }

    const std::uint8_t *at, *end;
};
