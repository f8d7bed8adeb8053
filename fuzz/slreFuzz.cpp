/// Fuzzes the matcher: no input may read outside its texts, run without end, or differ from the plain rules.
/// Input: a byte of options, the expression, a NUL, the subject.
#include "fuzz.h"
#include "slre.h"
#include "support/slreOracle.h"

namespace {

constexpr int MAX_CAPS = 99;
constexpr long ORACLE_STEPS = 2000;
/// Up to this length no expression reaches the matcher's depth limit, which the oracle doesn't have.
constexpr std::size_t COMPARED_LENGTH = 255;
/// What a match may cost that the oracle can't follow: enough for every kind of step, without hundredths of a second.
constexpr int COST = 1 << 15;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const int flags = data[0] & 1 ? SLRE_IGNORE_CASE : 0;
  const int numCaps = data[0] & 2 ? MAX_CAPS : 0;
  const std::string_view all(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::string expression(all.substr(0, all.find('\0')));
  const std::size_t used = std::min(all.size(), expression.size() + 1);

  // A copy of exactly its size makes a read beyond the subject visible.
  const int length = static_cast<int>(all.size() - used);
  const auto subject = std::make_unique<char[]>(all.size() - used);
  std::copy(all.begin() + static_cast<std::ptrdiff_t>(used), all.end(), subject.get());
  SlreOracle oracle(expression, {subject.get(), static_cast<std::size_t>(length)}, numCaps, flags);
  const auto expected = expression.size() <= COMPARED_LENGTH ? oracle.run(ORACLE_STEPS) : std::nullopt;
  if (!expected) {
    const int result = slre_match_within(COST, expression.c_str(), subject.get(), length);
    require(result >= SLRE_TOO_MANY_BRACKETS && result <= length, "result out of range");
    return 0;
  }
  std::array<slre_cap, MAX_CAPS> caps{};
  const int result =
      slre_match(expression.c_str(), subject.get(), length, numCaps > 0 ? caps.data() : nullptr, numCaps, flags);
  require(result == *expected, "result differs from the oracle's");
  for (std::size_t i = 0; i < oracle.captures.size(); ++i) {
    const auto [offset, len] = oracle.captures[i];
    require(caps[i].len == len && (len == 0 || caps[i].ptr == subject.get() + offset),
            "capture differs from the oracle's");
  }
  return 0;
}
