#include "arith_128bit.h"

#include <cstdint>
#include <cstdio>

namespace {

constexpr unsigned int HALF_BITS = 64;
constexpr unsigned long long TOP_BIT = 1ULL << 63;

constexpr unsigned long long lower32(unsigned long long value) {
  return value & 0xFFFFFFFF;
}
constexpr unsigned long long upper32(unsigned long long value) {
  return value >> 32;
}

void halve(uint128_t* value) {
  value->Lo = (value->Lo >> 1) | (value->Hi << 63);
  value->Hi >>= 1;
}

/// Doubles `multiple` until the next doubling would exceed `limit` or lose the top bit. Returns the number of
/// doublings.
unsigned int doubleUpTo(uint128_t* multiple, const uint128_t& limit) {
  unsigned int shift = 0;
  while ((multiple->Hi & TOP_BIT) == 0) {
    uint128_t doubled = *multiple;
    B128S_shift_left(&doubled, 1);
    if (B128S_compare(&doubled, &limit) > 0) break;
    *multiple = doubled;
    ++shift;
  }
  return shift;
}

}  // namespace

void B128S_load_var(uint128_t* load, unsigned long long v_high, unsigned long long v_low) {
  *load = {v_high, v_low};
}

void B128S_assign(uint128_t* a, const uint128_t* b) {
  *a = *b;
}

char* B128S_print_var(const uint128_t* load) {
  static char text[40];
  std::snprintf(text, sizeof text, "%08X-%08X-%08X-%08X", static_cast<unsigned int>(upper32(load->Hi)),
                static_cast<unsigned int>(lower32(load->Hi)), static_cast<unsigned int>(upper32(load->Lo)),
                static_cast<unsigned int>(lower32(load->Lo)));
  return text;
}

int B128S_shift_left(uint128_t* load, unsigned int shift) {
  if (shift == 0) return 0;
  const uint128_t before = *load;
  if (shift >= 2 * HALF_BITS) {
    *load = {0, 0};
    return (before.Hi | before.Lo) != 0;
  }
  if (shift > HALF_BITS) {
    *load = {before.Lo << (shift - HALF_BITS), 0};
    return (before.Hi | (before.Lo >> (2 * HALF_BITS - shift))) != 0;
  }
  if (shift == HALF_BITS) {
    *load = {before.Lo, 0};
    return before.Hi != 0;
  }
  *load = {(before.Hi << shift) | (before.Lo >> (HALF_BITS - shift)), before.Lo << shift};
  return (before.Hi >> (HALF_BITS - shift)) != 0;
}

int B128S_add(uint128_t* sum, const uint128_t* a, const uint128_t* b) {
  const uint128_t left = *a;
  const uint128_t right = *b;
  *sum = {left.Hi + right.Hi, left.Lo + right.Lo};
  bool carry = sum->Hi < left.Hi;
  if (sum->Lo < left.Lo && ++sum->Hi == 0) carry = true;
  return carry;
}

int B128S_sub(uint128_t* diff, const uint128_t* a, const uint128_t* b) {
  const uint128_t left = *a;
  const uint128_t right = *b;
  const unsigned long long borrow = left.Lo < right.Lo;
  *diff = {left.Hi - right.Hi - borrow, left.Lo - right.Lo};
  return B128S_compare(&left, &right) < 0 ? -1 : 0;
}

int B128S_compare(const uint128_t* a, const uint128_t* b) {
  if (a->Hi != b->Hi) return a->Hi > b->Hi ? 1 : -1;
  if (a->Lo != b->Lo) return a->Lo > b->Lo ? 1 : -1;
  return 0;
}

void B128S_mul64x64(uint128_t* prod, unsigned long long a, unsigned long long b) {
  const unsigned long long lowLow = lower32(a) * lower32(b);
  const unsigned long long lowHigh = lower32(a) * upper32(b);
  const unsigned long long highLow = upper32(a) * lower32(b);
  const unsigned long long highHigh = upper32(a) * upper32(b);
  const unsigned long long column1 = upper32(lowLow) + lower32(lowHigh) + lower32(highLow);
  const unsigned long long column2 = upper32(column1) + upper32(lowHigh) + upper32(highLow) + lower32(highHigh);
  const unsigned long long column3 = upper32(column2) + upper32(highHigh);
  *prod = {column3 << 32 | lower32(column2), column1 << 32 | lower32(lowLow)};
}

int B128S_div(uint128_t* quot, uint128_t* rem, const uint128_t* a, const uint128_t* b) {
  const uint128_t divisor = *b;
  uint128_t im_a = *a;
  if ((divisor.Hi | divisor.Lo) == 0) return -1;

  // Long division. The largest doubling that fits is sought once; the multiples of the later rounds lie below it, so
  // that halving finds them without a new search from the divisor up.
  uint128_t im_b = divisor;
  *quot = {0, 0};
  if (B128S_compare(&im_a, &divisor) >= 0) {
    for (unsigned int digits = doubleUpTo(&im_b, im_a) + 1; digits > 0; --digits) {
      B128S_shift_left(quot, 1);
      if (B128S_compare(&im_a, &im_b) >= 0) {
        B128S_sub(&im_a, &im_a, &im_b);
        quot->Lo |= 1;
      }
      halve(&im_b);
    }
  }
  *rem = im_a;
  return 0;
}

int B128S_mul_div(unsigned long long* result, unsigned long long a, unsigned long long b, unsigned long long c) {
  uint128_t product;
  uint128_t quotient;
  uint128_t remainder;
  const uint128_t divisor = {0, c};
  B128S_mul64x64(&product, a, b);
  if (B128S_div(&quotient, &remainder, &product, &divisor) != 0) return -1;
  *result = quotient.Lo;
  return quotient.Hi != 0;
}
