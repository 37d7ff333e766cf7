// The precision of the x87, in which this compiler's C library computes exp, cos, sin and pow. Its
// programs begin with 64 bits. The threads of a real host have what Windows gives every new one:
// 53, in which exp rounds otherwise.
#pragma once

enum : unsigned short { x87_53_bits = 0x27F, x87_64_bits = 0x37F };

inline void set_x87(unsigned short precision)
{
    __asm__ __volatile__("fldcw %0" : : "m"(precision));
}
