// The processor's mode on audio threads: denormal numbers count as 0.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace host {

/// While it lives, denormal operands and results are 0. Arithmetic on them is many times slower,
/// and every long decay ends in them, far below anything heard.
class flush_denormals {
public:
    flush_denormals() : before(mode()) { set_mode(before | bits); }
    ~flush_denormals() { set_mode(before); }
    flush_denormals(const flush_denormals &) = delete;

private:
#if defined(__SSE2__)
    using word = unsigned;
    static constexpr word bits = 0x8040; // flush-to-zero for results, denormals-are-zero
    static word mode() { return _mm_getcsr(); }
    static void set_mode(word m) { _mm_setcsr(m); }
#elif defined(__aarch64__)
    using word = std::uint64_t;
    static constexpr word bits = 1 << 24; // flush-to-zero, for operands too
    static word mode()
    {
        word m;
        __asm__ __volatile__("mrs %0, fpcr" : "=r"(m));
        return m;
    }
    static void set_mode(word m) { __asm__ __volatile__("msr fpcr, %0" : : "r"(m)); }
#else
    using word = unsigned;
    static constexpr word bits = 0;
    static word mode() { return 0; }
    static void set_mode(word) {}
#endif

    const word before;
};

} // namespace host
