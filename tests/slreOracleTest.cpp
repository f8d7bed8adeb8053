#include "support/slreOracle.h"
#include "slre.h"
#include "support/testing.h"

#include <map>
#include <random>

namespace {

using namespace std::string_view_literals;

#ifdef __SANITIZE_THREAD__
/// There is but one thread, and the sanitizer makes it slow.
constexpr int EXPRESSIONS = 15000;
#else
constexpr int EXPRESSIONS = 40000;
#endif
constexpr int SUBJECTS_EACH = 3;
/// Far below the matcher's own budget, and it never needs more steps than the plain way.
constexpr long ORACLE_STEPS = 2000;

class Generator {
public:
  int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(engine_); }

  template <std::size_t N>
  std::string_view pick(const std::string_view (&list)[N]) {
    return list[static_cast<std::size_t>(below(static_cast<int>(N)))];
  }

  std::string subject() {
    static constexpr std::string_view bytes[] = {"a", "a", "b", "b",  "c", "A",    "B",   "1",
                                                 " ", "-", "|", "\\", ")", "\xE9", "\0"sv};
    return many(0, 10, [this] { return std::string(pick(bytes)); });
  }

  /// Mostly well-formed, now and then any pieces in a row or groups whose brackets the walk mistakes.
  std::string expression() {
    const int kind = below(8);
    if (kind == 0) return many(0, 8, [this] { return piece(); });
    if (kind == 1) return "^((" + atom() + "*))(" + atom() + branches(1) + ")" + sequence(1);
    if (kind == 2) return (below(2) == 0 ? ".*((" : ".+((") + branches(1) + ")" + sequence(1) + ")" + sequence(0);
    return branches(3);
  }

private:
  template <class F>
  std::string many(int least, int most, F make) {
    std::string all;
    for (int count = least + below(most - least + 1); count > 0; --count) all += make();
    return all;
  }

  std::string branches(int depth) {
    std::string all = sequence(depth);
    while (below(4) == 0) all += "|" + sequence(depth);
    return all;
  }

  std::string sequence(int depth) {
    return many(below(8) == 0 ? 0 : 1, 4, [this, depth] {
      static constexpr std::string_view quantifiers[] = {"*", "+", "?", "*?", "+?"};
      std::string element = depth > 0 && below(3) == 0 ? "(" + branches(depth - 1) + ")" : atom();
      if (below(3) == 0) element += pick(quantifiers);
      return element;
    });
  }

  std::string atom() {
    static constexpr std::string_view atoms[] = {"a", "a", "b",   "b",   "c",   "A",     ".",   ".",   "1",
                                                 "^", "$", "\\d", "\\S", "\\s", "\\x61", "\\.", "\xE9"};
    return below(6) == 0 ? set() : std::string(pick(atoms));
  }

  std::string set() {
    static constexpr std::string_view members[] = {"a",   "b",     "A-C",  "a-c", "-", "^", "1",        "\\d",
                                                   "\\]", "\\x41", "a-\\", "|",   ".", "$", "\x80-\x7F"};
    return (below(3) == 0 ? "[^" : "[") +
           many(below(8) == 0 ? 0 : 1, 3, [this] { return std::string(pick(members)); }) + (below(60) == 0 ? "" : "]");
  }

  std::string piece() {
    static constexpr std::string_view pieces[] = {"(", "(", ")", ")",  "|",    "[",   "]",
                                                  "*", "+", "?", "\\", "\\x4", "\\q", "^"};
    return below(2) == 0 ? std::string(pick(pieces)) : atom();
  }

  std::mt19937 engine_{20240607};
};

TEST(SlreOracleTest, AgreesWithThePlainRules) {
  Generator random;
  std::string expression;
  std::map<int, int> seen;
  int captured = 0, tooLong = 0;
  for (int pair = 0; pair < EXPRESSIONS * SUBJECTS_EACH; ++pair) {
    if (pair % SUBJECTS_EACH == 0) expression = random.expression();
    const std::string subject = random.subject();
    const int flags = random.below(2) == 0 ? 0 : SLRE_IGNORE_CASE;
    const int numCaps = random.below(16) == 0 ? 1 : 12;
    SlreOracle oracle(expression, subject, numCaps, flags);
    const auto expected = oracle.run(ORACLE_STEPS);
    const SlreCall call(expression, subject, numCaps, flags), uncaptured(expression, subject, 0, flags);
    if (!expected) {
      ++tooLong;
      continue;
    }
    SCOPED_TRACE(testing::Message() << expression << " on '" << subject << "', flags " << flags);
    ASSERT_EQ(call.result, *expected);
    ASSERT_EQ(call.captures, oracle.captures);
    if (*expected != SLRE_CAPS_ARRAY_TOO_SMALL) {
      ASSERT_EQ(uncaptured.result, *expected) << "without captures";
    }
    ++seen[std::min(call.result, 1)];
    for (const auto& capture : call.captures) captured += capture.second > 0;
  }
  for (const int result : {1, 0, -1, -2, -3, -4, -5, -6, -7})
    EXPECT_GT(seen[result], EXPRESSIONS / 800) << "hardly any pair gives " << result;
  EXPECT_GT(captured, EXPRESSIONS / 10);
  EXPECT_LT(tooLong, EXPRESSIONS / 5);
}

}  // namespace
