#include "arith_128bit.h"
#include "support/testing.h"

#include <random>

namespace {

__extension__ using Native = unsigned __int128;

uint128_t split(Native value) {
  return {static_cast<unsigned long long>(value >> 64), static_cast<unsigned long long>(value)};
}

Native join(const uint128_t& value) {
  return static_cast<Native>(value.Hi) << 64 | value.Lo;
}

// Powers of two and their neighbours, and random numbers of every width: the borders of the halves and of the 32-bit
// columns are all among them.
std::vector<Native> interestingNumbers() {
  std::vector<Native> numbers = {0};
  for (unsigned bit : {0U, 1U, 31U, 32U, 33U, 63U, 64U, 65U, 95U, 96U, 126U, 127U}) {
    const Native power = static_cast<Native>(1) << bit;
    numbers.insert(numbers.end(), {power - 1, power, power + 1, ~power, 0 - power});
  }
  std::mt19937_64 random(20201020);
  for (unsigned width = 1; width <= 128; ++width) {
    const Native bits = static_cast<Native>(random()) << 64 | random();
    numbers.push_back(bits >> (128 - width));
  }
  return numbers;
}

// Results overwrite their operands, which is allowed.
TEST(Arith128, AgreesWithTheCompilerOnEveryPair) {
  constexpr unsigned long long UNTOUCHED = 0x5A5A;
  const std::vector<Native> numbers = interestingNumbers();
  for (const Native a : numbers) {
    for (const Native b : numbers) {
      uint128_t left = split(a);
      uint128_t right = split(b);
      const std::string pair = std::string(B128S_print_var(&left)).append(" ").append(B128S_print_var(&right));
      ASSERT_EQ(B128S_compare(&left, &right), a > b ? 1 : a < b ? -1 : 0) << pair;
      ASSERT_EQ(B128S_add(&left, &left, &right), a + b < a ? 1 : 0) << pair;
      ASSERT_TRUE(join(left) == a + b) << pair;
      left = split(a);
      ASSERT_EQ(B128S_sub(&right, &left, &right), a < b ? -1 : 0) << pair;
      ASSERT_TRUE(join(right) == a - b) << pair;
      right = split(b);
      uint128_t product;
      B128S_mul64x64(&product, left.Lo, right.Lo);
      const Native expectedProduct = static_cast<Native>(left.Lo) * right.Lo;
      ASSERT_TRUE(join(product) == expectedProduct) << pair;
      const Native scaled = left.Hi == 0 ? UNTOUCHED : expectedProduct / left.Hi;
      unsigned long long result = UNTOUCHED;
      ASSERT_EQ(B128S_mul_div(&result, left.Lo, right.Lo, left.Hi), left.Hi == 0        ? -1
                                                                    : scaled >> 64 != 0 ? 1
                                                                                        : 0)
          << pair;
      ASSERT_EQ(result, static_cast<unsigned long long>(scaled)) << pair;
      ASSERT_EQ(B128S_div(&right, &left, &left, &right), b == 0 ? -1 : 0) << pair;
      ASSERT_TRUE(join(right) == (b == 0 ? b : a / b)) << pair;
      ASSERT_TRUE(join(left) == (b == 0 ? a : a % b)) << pair;
    }
  }
}

TEST(Arith128, ShiftsByEveryDistance) {
  for (const Native value : interestingNumbers()) {
    for (unsigned shift = 0; shift < 131; ++shift) {
      uint128_t shifted = split(value);
      const Native lost = shift == 0 ? 0 : shift >= 128 ? value : value >> (128 - shift);
      ASSERT_EQ(B128S_shift_left(&shifted, shift), lost != 0 ? 1 : 0) << shift;
      ASSERT_TRUE(join(shifted) == (shift >= 128 ? 0 : value << shift)) << shift;
    }
  }
}

TEST(Arith128, PrintsFourGroups) {
  const uint128_t value = {0x0123456789ABCDEF, 0xF};
  EXPECT_STREQ(B128S_print_var(&value), "01234567-89ABCDEF-00000000-0000000F");
}

}  // namespace
