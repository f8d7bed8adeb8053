/// Unsigned 128-bit integers made of two 64-bit halves, for compilers without a type of that width.
///
/// Every operation touches its arguments only, except B128S_print_var, whose buffer is shared. A result may be the same
/// object as an operand.
#pragma once

#include "export.h"

extern "C" {

/// The value Hi * 2^64 + Lo.
struct uint128_t {
  unsigned long long Hi;
  unsigned long long Lo;
};

QVVISA_API void B128S_load_var(uint128_t* load, unsigned long long v_high, unsigned long long v_low);

/// Copies `b` to `a`.
QVVISA_API void B128S_assign(uint128_t* a, const uint128_t* b);

/// The value as four groups of eight hexadecimal digits. The text stands in a static buffer until the next call; not
/// for two threads at once.
QVVISA_API char* B128S_print_var(const uint128_t* load);

/// Shifts in place by any number of bits. Returns 1 if a set bit was lost at the top, else 0.
QVVISA_API int B128S_shift_left(uint128_t* load, unsigned int shift);

/// a + b modulo 2^128. Returns 1 on a carry out of bit 127, else 0.
QVVISA_API int B128S_add(uint128_t* sum, const uint128_t* a, const uint128_t* b);

/// a - b modulo 2^128. Returns -1 if `a` is below `b`, else 0.
QVVISA_API int B128S_sub(uint128_t* diff, const uint128_t* a, const uint128_t* b);

/// Returns 1 if `a` is above `b`, 0 if they are equal, -1 if `a` is below `b`.
QVVISA_API int B128S_compare(const uint128_t* a, const uint128_t* b);

/// The exact product.
QVVISA_API void B128S_mul64x64(uint128_t* prod, unsigned long long a, unsigned long long b);

/// a / b, cut to an integer, and its remainder. Returns 0, or -1 for a divisor of 0, which leaves both results alone.
QVVISA_API int B128S_div(uint128_t* quot, uint128_t* rem, const uint128_t* a, const uint128_t* b);

/// a * b / c, cut to an integer, the product in full width. Returns 0; 1 if the quotient exceeds 64 bits, of which
/// `result` then holds the lower ones; -1 if `c` is 0, which leaves `result` alone.
QVVISA_API int B128S_mul_div(unsigned long long* result, unsigned long long a, unsigned long long b,
                             unsigned long long c);
}
